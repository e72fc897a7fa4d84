// SPDX-License-Identifier: MIT
// cost ROUNDS [SUBJECT]: what a datagram costs an application of the library and what it costs a
// bare loop, in CPU time of the whole process. Prints one line for each batch: subject, known
// peers, round, nanoseconds a datagram, the bare loop's.
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "bench.h"

namespace {

using namespace bench;

constexpr int kBatches = 120;

std::vector<std::string> Peers(int count, std::string (*uuid)(int) = Uuid) {
  std::vector<std::string> datagrams;
  for (int peer = 1; peer <= count; ++peer) datagrams.push_back(Notify(kTarget, uuid(peer)));
  return datagrams;
}

struct Subject {
  const char* name;
  void (*loop)(Gate&);
  int peers;  // known before the measurement
  std::vector<std::string> datagrams;
  bool unicast;      // to the socket that the application searches with
  size_t responses;  // the length of each, or 0
};

// The address that the application's search comes from.
sockaddr_in AwaitSearch(int group_socket) {
  alarm(30);  // ends this program if none comes
  sockaddr_in from{};
  for (char text[512] = ""; text[0] != 'M';) {
    socklen_t size = sizeof(from);
    recvfrom(group_socket, text, sizeof(text), 0, reinterpret_cast<sockaddr*>(&from), &size);
  }
  alarm(0);
  close(group_socket);
  return from;
}

// A loop in a process of its own. Between its batches it waits at its gate.
class Measured {
 public:
  Measured(const Subject& subject, uint16_t port);
  ~Measured() { EndChild(m_child), close(m_socket); }
  Measured(const Measured&) = delete;
  Measured& operator=(const Measured&) = delete;

  // Nanoseconds for each datagram of a batch.
  double NextBatch();

 private:
  int64_t MeasureBatch();

  const Subject& m_subject;
  Gate& m_gate;
  sockaddr_in m_to;
  pid_t m_child;
  const std::string m_gate_text;
  const int m_socket;
  size_t m_next = 0;  // datagram
};

Measured::Measured(const Subject& subject, uint16_t port)
    : m_subject(subject),
      m_gate(Gate::Create()),
      m_to(GroupAddress(port)),
      m_gate_text((subject.unicast ? SearchResponse : Notify)(kTarget, kGateUuid)),
      m_socket(socket(AF_INET, SOCK_DGRAM, 0)) {
  m_gate.m_port = port;
  const int group_socket = subject.unicast ? OpenGroupSocket() : -1;
  m_child = StartChild(subject.loop, m_gate);
  if (subject.unicast) m_to = AwaitSearch(group_socket);
  SendTo(m_socket, m_gate_text, m_to);
  m_gate.Await();
  for (int sent = 0; sent < subject.peers; sent += kBatch) MeasureBatch();
}

// The next kBatch datagrams, round and round, and the gate behind them.
int64_t Measured::MeasureBatch() {
  const auto& datagrams = m_subject.datagrams;
  for (int i = 0; i < kBatch; ++i) SendTo(m_socket, datagrams[m_next++ % datagrams.size()], m_to);
  SendTo(m_socket, m_gate_text, m_to);
  return m_gate.Measure();
}

double Measured::NextBatch() {
  SendTo(m_socket, m_gate_text, m_to);
  const int64_t gate_alone = m_gate.Measure();
  const int64_t took = MeasureBatch();
  for (int i = 0; i < kBatch && m_subject.responses > 0; ++i) {
    char text[1024];
    const ssize_t length = recv(m_socket, text, sizeof(text), MSG_DONTWAIT);
    Require(length == static_cast<ssize_t>(m_subject.responses), "a search response is missing");
  }
  return static_cast<double>(took - gate_alone) / kBatch;
}

// Takes turns with the bare loop, batch by batch: the machine's other load changes within a second.
void Compare(const Subject& subject, int round) {
  Subject as_bare = subject;
  as_bare.loop = subject.responses > 0 ? BareResponseLoop : BareLoop;
  as_bare.peers = 0;
  as_bare.unicast = false;
  Measured bare(as_bare, 1901);
  Measured measured(subject, 1900);
  for (int i = 0; i < kBatches; ++i) {
    const double bare_cost = bare.NextBatch();
    std::printf("%s %d %d %.1f %.1f\n", subject.name, subject.peers, round, measured.NextBatch(),
                bare_cost);
  }
}

std::vector<Subject> Subjects() {
  const std::vector<std::string> other = {Notify(kOtherTarget, Uuid(1))};
  const std::vector<std::string> response = {SearchResponse(kTarget, Uuid(1))};
  return {
      {"bare_thread", BareThreadLoop, 0, other, false, 0},
      {"notify_other", Application, 0, other, false, 0},
      {"notify_known", Application, 1, Peers(1), false, 0},
      {"notify_known", Application, 100, Peers(100), false, 0},
      {"notify_known", Application, 10000, Peers(10000), false, 0},
      {"notify_alike", Application, 100, Peers(100, UuidOfOneMaker), false, 0},
      {"notify_alike", Application, 10000, Peers(10000, UuidOfOneMaker), false, 0},
      {"search_response", Application, 1, response, true, 0},
      {"msearch_answered", Application, 0, {MSearch(kTarget)}, false, response[0].size()},
  };
}

}  // namespace

int main(int argc, char** argv) {
  RequirePrivateNetwork();
  KeepTo(sched_getcpu());  // else chance decides whether datagrams lie in another processor's cache
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 1;
  for (int round = 0; round < rounds; ++round) {
    for (const Subject& subject : Subjects()) {
      if (argc <= 2 || std::string(argv[2]) == subject.name) Compare(subject, round);
      std::fflush(stdout);
    }
  }
}
