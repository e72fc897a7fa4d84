// SPDX-License-Identifier: MIT
// cost ROUNDS [SUBJECT]: what a datagram of each kind costs a host of the library and what it
// costs a bare loop that receives the same, in CPU time of the whole process, in one private
// network. Prints one line for each batch: subject, known peers, round, nanoseconds a datagram, the
// bare loop's; of an announcement, which is compared inside its host, one ratio for each round.
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "group.h"
#include "loops.h"
#include "messages.h"
#include "private_network.h"

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
  bool unicast;    // to the socket that the host searches with
  size_t answers;  // the length of each, or 0
};

// Where the host's search came from: its replies go there.
sockaddr_in Searcher(int group_socket) {
  sockaddr_in from;
  Load::WaitOnGroup(group_socket, "M-SEARCH", from);
  return from;
}

// A loop in a process of its own. Between its batches it stands at its gate.
class Measured {
 public:
  Measured(const Subject& subject, uint16_t port);
  ~Measured() { EndChild(m_child); }
  Measured(const Measured&) = delete;
  Measured& operator=(const Measured&) = delete;

  // Nanoseconds for each datagram of a batch.
  double NextBatch();

 private:
  void LetKnowPeers();

  const Subject& m_subject;
  Gate& m_gate;
  sockaddr_in m_to;
  pid_t m_child;
  const std::string m_gate_text;
  Load m_load;
};

Measured::Measured(const Subject& subject, uint16_t port)
    : m_subject(subject),
      m_gate(*Gate::Create()),
      m_to(GroupAddress(port)),
      m_gate_text(subject.unicast ? SearchReply(kTarget, kGateUuid) : Notify(kTarget, kGateUuid)) {
  m_gate.m_port = port;
  const int group_socket = subject.unicast ? OpenGroupSocket() : -1;
  m_child = StartChild(subject.loop, m_gate);
  if (subject.unicast) {
    m_to = Searcher(group_socket);
    close(group_socket);
  } else {
    usleep(100000);  // until it has joined
  }
  m_load.Send(m_gate_text, m_to);
  m_gate.Await();
  if (!subject.unicast) LetKnowPeers();
}

void Measured::LetKnowPeers() {
  for (int sent = 0; sent < m_subject.peers; sent += kBatch) {
    m_load.Queue(m_subject.datagrams, m_gate_text, m_to);
    m_gate.Measure();
  }
}

double Measured::NextBatch() {
  m_load.Send(m_gate_text, m_to);
  const auto gate_alone = static_cast<double>(m_gate.Measure());
  m_load.Queue(m_subject.datagrams, m_gate_text, m_to);
  const auto took = static_cast<double>(m_gate.Measure());
  if (m_subject.answers > 0) m_load.TakeAnswers(m_subject.answers);
  return (took - gate_alone) / kBatch;
}

// What receives the same, and answers as long, but does nothing else.
Subject Bare(const Subject& subject) {
  Subject bare = subject;
  bare.loop = subject.answers > 0 ? BareReplyLoop : BareLoop;
  bare.peers = 0;
  bare.unicast = false;
  return bare;
}

// Batch by batch in turn with the bare loop, for what else goes on in the machine changes in less
// than a second.
void Compare(const Subject& subject, int round) {
  const Subject as_bare = Bare(subject);
  Measured bare(as_bare, 1901);
  Measured measured(subject, 1900);
  for (int i = 0; i < kBatches; ++i) {
    const double bare_cost = bare.NextBatch();
    std::printf("%s %d %d %.1f %.1f\n", subject.name, subject.peers, round, measured.NextBatch(),
                bare_cost);
  }
}

double MeasureAnnouncement() {
  Gate& gate = *Gate::Create();
  const pid_t child = StartChild(AnnouncingHost, gate);
  usleep(300000);  // until it has joined
  Load load;
  load.Send(Notify(kTarget, kGateUuid), GroupAddress());
  for (int i = 0; i < 600 && gate.m_result == 0; ++i) usleep(50000);
  EndChild(child);
  if (gate.m_result == 0) {
    std::fprintf(stderr, "the host announced nothing\n");
    std::exit(1);
  }
  return gate.m_result;
}

std::vector<Subject> Subjects() {
  const std::vector<std::string> other = {Notify(kOtherTarget, Uuid(1))};
  const std::vector<std::string> reply = {SearchReply(kTarget, Uuid(1))};
  const std::vector<std::string> search = {MSearch(kTarget)};
  const size_t answer = reply[0].size();
  return {
      {"bare_thread", BareThreadLoop, 0, other, false, 0},
      {"fixed", FixedLoop, 0, other, false, 0},
      {"notify_other", LibraryHost, 0, other, false, 0},
      {"notify_known", LibraryHost, 1, Peers(1), false, 0},
      {"notify_known", LibraryHost, 10, Peers(10), false, 0},
      {"notify_known", LibraryHost, 100, Peers(100), false, 0},
      {"notify_known", LibraryHost, 1000, Peers(1000), false, 0},
      {"notify_known", LibraryHost, 10000, Peers(10000), false, 0},
      {"notify_alike", LibraryHost, 100, Peers(100, UuidOfOneMaker), false, 0},
      {"notify_alike", LibraryHost, 10000, Peers(10000, UuidOfOneMaker), false, 0},
      {"notify_known", LibraryHost, 100000, Peers(100000), false, 0},
      {"search_reply", LibraryHost, 1, reply, true, 0},
      {"msearch_answered", LibraryHost, 0, search, false, answer},
  };
}

// Otherwise it would be chance whether the datagrams lie in another processor's cache.
void KeepToOneProcessor() {
  cpu_set_t processor;
  CPU_ZERO(&processor);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &processor);
  if (sched_setaffinity(0, sizeof(processor), &processor) != 0)
    std::fprintf(stderr, "not kept to one processor\n");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  KeepToOneProcessor();
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 5;
  const auto subjects = Subjects();
  for (int round = 0; round < rounds; ++round) {
    for (const Subject& subject : subjects) {
      if (argc > 2 && std::string(argv[2]) != subject.name) continue;
      Compare(subject, round);
      std::fflush(stdout);
    }
    std::printf("announcement %.3f\n", MeasureAnnouncement());
  }
}
