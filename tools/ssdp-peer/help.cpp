// SPDX-License-Identifier: MIT
#include "help.h"

#include <algorithm>
#include <numeric>

namespace ssdp_peer {

namespace {

constexpr char kProgram[] = R"(Usage: ssdp-peer VERB [OPTION]...
Takes part in SSDP discovery as one device and shows the others of its kind.

  watch         a live table of the others
  search        one search: who is there?
  announce      stay on the network; each line of input is the new status
  doctor        why does nobody find me?
  help VERB     the verb's own options

)";

constexpr char kWatch[] = R"(Usage: ssdp-peer watch [OPTION]...
Stays on the network as a device and shows the others: on a terminal as a live
table, elsewhere as one line an event (new, changed, left, expired, dropped).

  up, down, PgUp, PgDn, Home, End   scroll          q   quit
  /   filter: Enter keeps it, Esc ends it           s   search
  o   order by UUID, address or last seen           a   announce

)";

constexpr char kSearch[] = R"(Usage: ssdp-peer search [OPTION]...
Searches once. On a terminal it ends with a table; elsewhere each device is
printed as it answers: UUID, address, status. Exit status 0: a device is there.

  -w, --wait S     how long to wait for responses (a second more than --mx)
  -f, --first      end at the first response
  -q, --quiet      print nothing, end at the first response: see the exit status

)";

constexpr char kAnnounce[] = R"(Usage: ssdp-peer announce [OPTION]...
Stays on the network as a device until a signal (Ctrl-C) ends it. Each line of
input is the new status: it is announced at once, and again some seconds later.

  -e, --every S    time between two announcements (a third of --notify-timeout)

)";

constexpr char kDoctor[] = R"(Usage: ssdp-peer doctor [OPTION]...
Looks for what keeps this device from being found: one line a check, and what
to do about it. Exit status 0: all is well, 1: a warning, 3: a problem.

)";

constexpr char kCommon[] = R"(  -d, --domain D, -t, --device-type T, --device-version V
                   the search target urn:D:device:T:V (example-org, Peer, 1)
  -u, --uuid U     the device's UUID (a new one)
  -s, --status TEXT           its status (up)
  -n, --notify-timeout S      how long others remember it (90)
  -m, --mx S                  how long others may take to answer a search (2)
  -i, --expect-interface NAME   warn when multicast leaves through another one;
                   --interface is its old name
  --server TEXT, --user-agent TEXT   the product in responses, in searches
  -j, --json       one JSON object a line
  -c, --color W    auto, always or never
  -v, --verbose    tell more          -h, --help       this text
  -V, --version    the version        More: man ssdp-peer
)";

struct VerbHelp {
  const char* verb;
  const char* text;
};
constexpr VerbHelp kVerbs[] = {
    {"watch", kWatch}, {"search", kSearch}, {"announce", kAnnounce}, {"doctor", kDoctor}};

// How many letters must be put in, left out or replaced.
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<size_t> last(b.size() + 1);
  std::iota(last.begin(), last.end(), 0);
  for (size_t i = 1; i <= a.size(); ++i) {
    std::vector<size_t> row(1, i);
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row.push_back(std::min({replaced, last[j] + 1, row[j - 1] + 1}));
    }
    last = row;
  }
  return last.back();
}

}  // namespace

std::vector<std::string> VerbNames() {
  std::vector<std::string> names;
  for (const auto& [verb, text] : kVerbs) names.emplace_back(verb);
  return names;
}

std::string Help(const std::string& verb) {
  for (const auto& [name, text] : kVerbs)
    if (name == verb) return std::string(text) + kCommon;
  return std::string(kProgram) + kCommon;
}

std::string Closest(const std::string& word, const std::vector<std::string>& candidates) {
  constexpr size_t kMost = 2;
  constexpr size_t kLongest = 40;
  std::string closest;
  if (word.size() > kLongest) return closest;
  size_t least = kMost + 1;
  for (const auto& candidate : candidates) {
    const size_t distance = Distance(word, candidate);
    if (distance >= least || distance * 2 >= candidate.size()) continue;
    least = distance;
    closest = candidate;
  }
  return closest;
}

}  // namespace ssdp_peer
