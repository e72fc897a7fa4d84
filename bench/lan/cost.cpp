// SPDX-License-Identifier: MIT
// cost ROUNDS [SUBJECT]: what a datagram of each kind costs a host of the library and what it costs
// a bare loop, in CPU time of the whole process, in turn in one private network. Prints one line
// each: subject, known peers, nanoseconds a datagram.
#include <unistd.h>

#include <algorithm>
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

std::vector<std::string> Peers(int count) {
  std::vector<std::string> datagrams;
  for (int peer = 1; peer <= count; ++peer) datagrams.push_back(Notify(kTarget, Uuid(peer)));
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

void Batch(Load& load, const Subject& subject, const std::string& gate_text, const sockaddr_in& to,
           Gate& gate, std::vector<int64_t>& times) {
  load.Queue(subject.datagrams, gate_text, to);
  times.push_back(gate.Measure());
  if (subject.answers > 0) load.TakeAnswers(subject.answers);
}

void LetKnow(Load& load, int peers, const std::string& gate_text, Gate& gate) {
  const auto datagrams = Peers(peers);
  for (int sent = 0; sent < peers; sent += kBatch) {
    load.Queue(datagrams, gate_text, GroupAddress());
    gate.Measure();
  }
}

// Nanoseconds a datagram: the median of the batches, each with the gate's own datagram.
double Measure(const Subject& subject) {
  Gate& gate = *Gate::Create();
  int group_socket = OpenGroupSocket();
  const pid_t child = StartChild(subject.loop, gate);
  sockaddr_in to = GroupAddress();
  if (subject.unicast) to = Searcher(group_socket);
  if (!subject.unicast) usleep(100000);  // until it has joined
  close(group_socket);

  Load load;
  const std::string notify_gate = Notify(kTarget, kGateUuid);
  const std::string gate_text = subject.unicast ? SearchReply(kTarget, kGateUuid) : notify_gate;
  load.Send(gate_text, to);
  gate.Await();
  if (!subject.unicast) LetKnow(load, subject.peers, notify_gate, gate);
  std::vector<int64_t> times;
  for (int i = 0; i < kBatches; ++i) Batch(load, subject, gate_text, to, gate, times);
  EndChild(child);
  std::sort(times.begin(), times.end());
  return static_cast<double>(times[times.size() / 2]) / (kBatch + 1);
}

double MeasureAnnouncement() {
  Gate& gate = *Gate::Create();
  const pid_t child = StartChild(AnnouncingHost, gate);
  usleep(300000);  // until it has joined
  Load load;
  load.Send(Notify(kTarget, kGateUuid), GroupAddress());
  for (int i = 0; i < 600 && gate.m_result == 0; ++i) usleep(50000);
  EndChild(child);
  return gate.m_result;
}

std::vector<Subject> Subjects() {
  const auto one = Peers(1);
  const std::vector<std::string> other = {Notify(kOtherTarget, Uuid(1))};
  const std::vector<std::string> reply = {SearchReply(kTarget, Uuid(1))};
  const std::vector<std::string> search = {MSearch(kTarget)};
  const size_t answer = reply[0].size();
  return {
      {"bare", BareLoop, 0, other, false, 0},
      {"bare_thread", BareThreadLoop, 0, other, false, 0},
      {"notify_other", LibraryHost, 0, other, false, 0},
      {"notify_known", LibraryHost, 1, one, false, 0},
      {"search_reply", LibraryHost, 1, reply, true, 0},
      {"bare_reply", BareReplyLoop, 0, search, false, answer},
      {"msearch_answered", LibraryHost, 0, search, false, answer},
      {"notify_known", LibraryHost, 10, Peers(10), false, 0},
      {"notify_known", LibraryHost, 100, Peers(100), false, 0},
      {"notify_known", LibraryHost, 1000, Peers(1000), false, 0},
      {"notify_known", LibraryHost, 10000, Peers(10000), false, 0},
      {"notify_known", LibraryHost, 100000, Peers(100000), false, 0},
  };
}

}  // namespace

int main(int argc, char** argv) {
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 5;
  const auto subjects = Subjects();
  for (int round = 0; round < rounds; ++round) {
    for (const Subject& subject : subjects) {
      if (argc > 2 && std::string(argv[2]) != subject.name) continue;
      std::printf("%s %d %.1f\n", subject.name, subject.peers, Measure(subject));
      std::fflush(stdout);
    }
    std::printf("announcement 0 %.3f\n", MeasureAnnouncement());
  }
}
