// SPDX-License-Identifier: MIT
#include "options.h"

#include <sys/utsname.h>
#include <uuid/uuid.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

#include "text.h"

namespace ssdp_peer {

// Written by hand, so that it fits a screen of 24 lines and 80 columns.
const char* const kHelp =
    R"(Usage: ssdp-peer VERB [OPTION]...
Takes part in SSDP discovery as one device and shows the others of its kind.

  watch               a live table of the others; s search, a announce, q quit
  search              one search: who is there? [--wait S] seconds (MX + 1);
                      [--first] ends it; [--quiet] tells by the exit status only
  announce            stay on the network; each line of input is our new status
                      [--every S] seconds (a third of the notify time-out)
  doctor              why does nobody find me?

  --domain D, --device-type T, --device-version V
                      our kind, urn:D:device:T:V (example-org, Peer, 1)
  --uuid U            who we are (a new UUID)     --status TEXT  how we are (up)
  --interface NAME    where we expect the others (where the multicast goes)
  --notify-timeout S  how long the others remember us (90)
  --mx S              how long the others may take to answer a search (2)
  --server TEXT, --user-agent TEXT  the product named in answers and searches
  --json, --color auto|always|never, --verbose  how it is shown
  --help, --version   this text; the version. More: man ssdp-peer

  ssdp-peer search --device-type Lamp && echo "a lamp is there"
  (while sleep 60; do cut -d' ' -f1 /proc/loadavg; done) | ssdp-peer announce
)";

namespace {

// Product text as the UPnP Device Architecture wants it: system, UPnP version, product.
std::string ProductText() {
  utsname system = {};
  uname(&system);
  const std::string release = system.release;
  return std::string(system.sysname) + "/" + release.substr(0, release.find('-')) +
         " UPnP/1.1 ssdp-peer/" SSDP_PEER_VERSION;
}

std::string NewUuid() {
  uuid_t uuid;
  uuid_generate(uuid);
  char text[UUID_STR_LEN];
  uuid_unparse_lower(uuid, text);
  return text;
}

// A transformation of the word into the number that stands for it.
std::string ReadColor(std::string& word) {
  static const char* const kWords[] = {"auto", "always", "never"};
  const auto* const known = std::find(std::begin(kWords), std::end(kWords), word);
  if (known == std::end(kWords)) return "must be auto, always or never";
  word = std::to_string(known - std::begin(kWords));
  return "";
}

CLI::Validator Number(int least, int most) {
  const auto check = [least, most](std::string& text) -> std::string {
    int number = 0;
    if (CLI::detail::lexical_cast(text, number) && number >= least && number <= most) return "";
    return "must be a whole number from " + std::to_string(least) + " to " + std::to_string(most);
  };
  return {check, ""};
}

struct Given {
  CLI::Option* uuid;
  CLI::Option* server;
  CLI::Option* user_agent;
  CLI::Option* mx;
  CLI::Option* wait;
  CLI::Option* every;
};

Given Describe(CLI::App& app, Options& options) {
  Given given = {};
  app.option_defaults()->take_last();  // so that an alias's options can be overruled
  app.add_option("-i,--interface", options.interface);
  app.add_option("-d,--domain", options.domain);
  app.add_option("-t,--device-type", options.device_type);
  app.add_option("--device-version", options.device_version);
  given.uuid = app.add_option("-u,--uuid", options.uuid);
  app.add_option("-s,--status", options.status);
  given.server = app.add_option("--server", options.server);
  given.user_agent = app.add_option("--user-agent", options.user_agent);
  app.add_option("--notify-timeout", options.notify_timeout)->check(Number(2, 604800));
  given.mx = app.add_option("--mx", options.mx)->check(Number(1, 120));
  app.add_flag("--json", options.json)->disable_flag_override();
  app.add_option("--color", options.color)->transform(CLI::Validator(ReadColor, ""));
  app.add_flag("-v,--verbose", options.verbose)->disable_flag_override();

  const auto verb = [&](const char* name, Verb value) {
    CLI::App* command = app.add_subcommand(name);
    command->fallthrough();  // the common options may stand on either side of the verb
    command->set_help_flag();
    command->callback([&options, value] { options.verb = value; });
    return command;
  };
  verb("watch", Verb::kWatch);
  CLI::App* search = verb("search", Verb::kSearch);
  given.wait = search->add_option("--wait", options.wait)->check(Number(1, 3600));
  search->add_flag("-f,--first", options.first)->disable_flag_override();
  search->add_flag("-q,--quiet", options.quiet)->disable_flag_override();
  given.every = verb("announce", Verb::kAnnounce)
                    ->add_option("--every", options.every)
                    ->check(Number(1, 604800));
  verb("doctor", Verb::kDoctor);
  app.require_subcommand(1);
  app.set_help_flag("-h,--help");
  app.set_version_flag("--version", "ssdp-peer " SSDP_PEER_VERSION "\n");
  return given;
}

std::string FindStranger(const CLI::App& app) {
  const auto strangers = app.remaining(true);
  if (strangers.empty()) return "a verb is needed: watch, search, announce or doctor";
  const auto verbs = app.get_subcommands();
  const std::string who = verbs.empty() ? "there is" : verbs[0]->get_name() + " has";
  return who + " no \"" + Printable(strangers[0]) + "\"";
}

// A search waits a second longer than the others may take, for the way of the answers.
void SettleWaiting(const Given& given, Options& options) {
  if (*given.wait && !*given.mx) options.mx = std::clamp(options.wait - 1, 1, options.mx);
  if (!*given.wait) options.wait = options.mx + 1;
  if (options.wait < options.mx)
    throw UsageError("--wait: must not be shorter than --mx, in which the answers come");
  if (!*given.every) options.every = std::max(1, options.notify_timeout / 3);
  if (options.every >= options.notify_timeout)
    throw UsageError("--every: must be shorter than --notify-timeout, or the others forget us");
}

}  // namespace

Options ParseOptions(int argc, const char* const* argv) {
  Options options;
  CLI::App app;
  const Given given = Describe(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    options.answer = kHelp;
    return options;
  } catch (const CLI::CallForVersion& version) {
    options.answer = version.what();
    return options;
  } catch (const CLI::RequiredError&) {
    throw UsageError(FindStranger(app));
  } catch (const CLI::ExtrasError&) {
    throw UsageError(FindStranger(app));
  } catch (const CLI::ParseError& error) {
    throw UsageError(Printable(error.what()));
  }
  if (!*given.uuid) options.uuid = NewUuid();
  if (!*given.server) options.server = ProductText();
  if (!*given.user_agent) options.user_agent = ProductText();
  SettleWaiting(given, options);
  return options;
}

std::vector<std::string> OptionNames() {
  Options options;
  CLI::App app;
  Describe(app, options);
  std::vector<std::string> names;
  const auto add = [&names](const CLI::App& from) {
    for (const auto* option : from.get_options())
      for (const auto& name : option->get_lnames()) names.push_back("--" + name);
  };
  add(app);
  for (const auto* verb : app.get_subcommands(nullptr)) {
    names.push_back(verb->get_name());
    add(*verb);
  }
  return names;
}

std::string SearchTarget(const Options& options) {
  return "urn:" + options.domain + ":device:" + options.device_type + ":" + options.device_version;
}

}  // namespace ssdp_peer
