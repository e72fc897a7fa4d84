// SPDX-License-Identifier: MIT
#include "options.h"

#include <sys/utsname.h>
#include <uuid/uuid.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

#include "help.h"
#include "text.h"

namespace ssdp_peer {

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
  CLI::Option* interface;
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
  // Named after what it does; the old name, which promised a choice, is kept.
  given.interface = app.add_option("-i,--expect-interface,--interface", options.interface);
  app.add_option("-d,--domain", options.domain);
  app.add_option("-t,--device-type", options.device_type);
  app.add_option("--device-version", options.device_version);
  given.uuid = app.add_option("-u,--uuid", options.uuid);
  app.add_option("-s,--status", options.status);
  given.server = app.add_option("--server", options.server);
  given.user_agent = app.add_option("--user-agent", options.user_agent);
  app.add_option("-n,--notify-timeout", options.notify_timeout)->check(Number(2, 604800));
  given.mx = app.add_option("-m,--mx", options.mx)->check(Number(1, 120));
  app.add_flag("-j,--json", options.json)->disable_flag_override();
  app.add_option("-c,--color", options.color)->transform(CLI::Validator(ReadColor, ""));
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
  given.wait = search->add_option("-w,--wait", options.wait)->check(Number(1, 3600));
  search->add_flag("-f,--first", options.first)->disable_flag_override();
  search->add_flag("-q,--quiet", options.quiet)->disable_flag_override();
  given.every = verb("announce", Verb::kAnnounce)
                    ->add_option("-e,--every", options.every)
                    ->check(Number(1, 604800));
  verb("doctor", Verb::kDoctor);
  verb("help", Verb::kHelp)->add_option("verb", options.topic);
  app.require_subcommand(1);
  app.set_help_flag("-h,--help");
  app.set_version_flag("-V,--version", "ssdp-peer " SSDP_PEER_VERSION "\n");
  return given;
}

std::vector<std::string> LongNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const auto* option : app.get_options())
    for (const auto& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

std::string DidYouMean(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string closest = Closest(word, candidates);
  return closest.empty() ? "" : "; did you mean \"" + closest + "\"?";
}

std::string FindStranger(const CLI::App& app) {
  const auto strangers = app.remaining(true);
  if (strangers.empty()) return "a verb is needed: watch, search, announce or doctor";
  const auto verbs = app.get_subcommands();
  const std::string who = verbs.empty() ? "there is" : verbs[0]->get_name() + " has";
  auto candidates = LongNames(app);
  for (const auto& name : verbs.empty() ? VerbNames() : LongNames(*verbs[0]))
    candidates.push_back(name);
  if (verbs.empty()) candidates.emplace_back("help");
  return who + " no \"" + Printable(strangers[0]) + "\"" + DidYouMean(strangers[0], candidates);
}

// The help of the verb that was named, if any.
std::string FindHelp(const CLI::App& app, const Options& options) {
  const auto verbs = app.get_subcommands();
  const auto known = VerbNames();
  const std::string topic = verbs.empty()                    ? ""
                            : verbs[0]->get_name() != "help" ? verbs[0]->get_name()
                                                             : options.topic;
  if (!topic.empty() && std::find(known.begin(), known.end(), topic) == known.end())
    throw UsageError("there is no help on \"" + Printable(topic) + "\"" + DidYouMean(topic, known));
  return Help(topic);
}

// In our words: "--mx: 1 required INT missing" is CLI11's.
std::string ValueFault(const CLI::ArgumentMismatch& error) {
  const std::string text = error.what();
  const size_t colon = text.find(": ");
  if (colon == std::string::npos || text.find(" missing") == std::string::npos)
    return Printable(text);
  return text.substr(0, colon) + " needs a value";
}

// A search waits a second longer than others may take to respond, for the way of the responses.
void SettleWaiting(const Given& given, Options& options) {
  if (*given.wait && !*given.mx) options.mx = std::clamp(options.wait - 1, 1, options.mx);
  if (!*given.wait) options.wait = options.mx + 1;
  if (options.wait < options.mx)
    throw UsageError("--wait: must not be shorter than --mx, in which the responses come");
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
    options.answer = FindHelp(app, options);
    return options;
  } catch (const CLI::CallForVersion& version) {
    options.answer = version.what();
    return options;
  } catch (const CLI::RequiredError&) {
    throw UsageError(FindStranger(app));
  } catch (const CLI::ExtrasError&) {
    throw UsageError(FindStranger(app));
  } catch (const CLI::ArgumentMismatch& error) {
    throw UsageError(ValueFault(error));
  } catch (const CLI::ParseError& error) {
    throw UsageError(Printable(error.what()));
  }
  if (options.verb == Verb::kHelp) {
    options.answer = FindHelp(app, options);
    return options;
  }
  if (*given.interface && options.interface.empty())
    throw UsageError("--expect-interface: must not be empty");
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
  auto names = LongNames(app);
  for (const auto* verb : app.get_subcommands(nullptr)) {
    names.push_back(verb->get_name());
    for (const auto& name : LongNames(*verb)) names.push_back(name);
  }
  return names;
}

std::string SearchTarget(const Options& options) {
  return "urn:" + options.domain + ":device:" + options.device_type + ":" + options.device_version;
}

}  // namespace ssdp_peer
