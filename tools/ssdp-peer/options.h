// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_OPTIONS_H
#define SSDP_PEER_OPTIONS_H

#include <stdexcept>
#include <string>
#include <vector>

namespace ssdp_peer {

enum ExitStatus {
  kDone = 0,
  kNothing = 1,  // nobody answered; the doctor has a warning
  kUsage = 2,
  kNetwork = 3,  // the network, or the output, could not be used; the doctor has a problem
};

enum class Verb { kWatch, kSearch, kAnnounce, kDoctor, kHelp };
enum class Color { kAuto, kAlways, kNever };

struct Options {
  Verb verb = Verb::kWatch;
  std::string interface;  // expected to carry the multicast; empty: any
  std::string domain = "example-org";
  std::string device_type = "Peer";
  std::string device_version = "1";
  std::string uuid;
  std::string status = "up";
  std::string server;
  std::string user_agent;
  int notify_timeout = 90;
  int mx = 2;
  int wait = 3;
  int every = 30;
  bool first = false;  // a search ends at the first response
  bool quiet = false;  // a search tells its result by the exit status alone
  bool json = false;
  bool verbose = false;
  Color color = Color::kAuto;
  std::string topic;   // of the help
  std::string answer;  // not empty: print this and do nothing else
};

// The command line can't be understood, or asks for what can't work.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Reads the command line and puts a value into every setting; whether the values make sense is
// validation.h's business. Throws UsageError.
Options ParseOptions(int argc, const char* const* argv);

// The long names of all options and the verbs, so that the documents can be checked against them.
std::vector<std::string> OptionNames();

std::string SearchTarget(const Options& options);

}  // namespace ssdp_peer

#endif
