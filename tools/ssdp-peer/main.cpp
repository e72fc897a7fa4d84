// SPDX-License-Identifier: MIT
// ssdp-peer: one device on the network, shown and steered from a terminal or a script.
#include <cstdlib>
#include <exception>

#include "network.h"
#include "options.h"
#include "output.h"
#include "session.h"
#include "signals.h"
#include "text.h"
#include "validation.h"
#include "verbs.h"

namespace ssdp_peer {

namespace {

// Whether anything can work at all, and whether the multicast goes where the user expects it to.
bool NetworkIsFit(const Options& options) {
  const std::string fault = FindNetworkFault();
  if (!fault.empty()) {
    Complain(fault + "; \"ssdp-peer doctor\" says more");
    return false;
  }
  const Route route = MulticastRoute();
  if (!options.interface.empty() && route.interface != options.interface)
    Complain("warning: multicast leaves through " + Printable(route.interface) + ", not " +
             Printable(options.interface) + "; \"ssdp-peer doctor\" says what to do");
  return true;
}

int RunVerb(const Options& options, Output& output) {
  if (options.verb == Verb::kDoctor) return Doctor(options, output);
  if (!NetworkIsFit(options)) return kNetwork;
  switch (options.verb) {
    case Verb::kSearch:
      return Search(options, output);
    case Verb::kAnnounce:
      return Announce(options, output);
    default:
      return Watch(options, output);
  }
}

void TellFailures(const Options& options, Output& output) {
  Failures& failures = output.LibraryFailures();
  failures.Read();
  if (failures.Count() == 0 || options.verbose) return;
  const bool one = failures.Count() == 1;
  Complain(std::to_string(failures.Count()) + (one ? " failure line" : " failure lines") +
           " of the library " + (one ? "is" : "are") + " hidden; --verbose shows " +
           (one ? "it" : "them"));
}

int Run(int argc, char** argv, Output& output) {
  UseLocale();
  try {
    const Options options = ParseOptions(argc, argv);
    if (!options.answer.empty()) return output.Write(options.answer) ? kDone : kNetwork;
    Validate(options, Names(Interfaces()));
    CatchSignals();
    if (options.verbose) output.LibraryFailures().Show();
    const int status = RunVerb(options, output);
    TellFailures(options, output);
    return output.Failed() ? kNetwork : status;
  } catch (const UsageError& error) {
    Complain(error.what());
    Complain("\"ssdp-peer help\" says what it understands");
    return kUsage;
  } catch (const std::exception& error) {
    Complain(error.what());
    return kNetwork;
  }
}

}  // namespace

}  // namespace ssdp_peer

int main(int argc, char** argv) {
  ssdp_peer::Output output;
  const int status = ssdp_peer::Run(argc, argv, output);
  if (ssdp_peer::Session::IsStuck())
    std::_Exit(status);  // its threads still use what exit destroys
  return status;
}
