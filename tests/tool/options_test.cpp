// SPDX-License-Identifier: MIT
#include "options.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <vector>

#include "help.h"
#include "json.h"
#include "validation.h"

namespace ssdp_peer {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::SizeIs;

Options Parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "ssdp-peer");
  return ParseOptions(static_cast<int>(arguments.size()), arguments.data());
}

// What is wrong with the command line, or "".
std::string Fault(const std::vector<const char*>& arguments) {
  try {
    Validate(Parse(arguments), {"lo", "eth0"});
    return "";
  } catch (const UsageError& error) {
    return error.what();
  }
}

TEST(Options, DefaultsLetUsLiveOnTheNetwork) {
  const Options options = Parse({"watch"});
  EXPECT_EQ(options.verb, Verb::kWatch);
  EXPECT_EQ(SearchTarget(options), "urn:example-org:device:Peer:1");
  EXPECT_THAT(options.uuid, MatchesRegex("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"));
  EXPECT_NE(options.uuid, Parse({"watch"}).uuid);
  EXPECT_GT(options.notify_timeout, options.every);
  EXPECT_GT(options.wait, options.mx);
  EXPECT_THAT(options.server, ContainsRegex("^Linux/[0-9.]+ UPnP/1.1 ssdp-peer/1"));
  EXPECT_EQ(options.server, options.user_agent);
  EXPECT_EQ(Fault({"watch"}), "");
}

TEST(Options, EveryOptionArrivesWhereItBelongs) {
  const Options options = Parse({"announce",  "--interface",      "eth0",    "--domain",
                                 "a",         "--device-type",    "b",       "--device-version",
                                 "c",         "--uuid",           "d",       "--status",
                                 "e",         "--server",         "f",       "--user-agent",
                                 "g",         "--notify-timeout", "60",      "--mx",
                                 "5",         "--json",           "--color", "never",
                                 "--verbose", "--every",          "7"});
  EXPECT_EQ(options.verb, Verb::kAnnounce);
  EXPECT_EQ(options.interface, "eth0");
  EXPECT_EQ(SearchTarget(options), "urn:a:device:b:c");
  EXPECT_EQ(options.uuid, "d");
  EXPECT_EQ(options.status, "e");
  EXPECT_EQ(options.server, "f");
  EXPECT_EQ(options.user_agent, "g");
  EXPECT_EQ(options.notify_timeout, 60);
  EXPECT_EQ(options.mx, 5);
  EXPECT_EQ(options.every, 7);
  EXPECT_TRUE(options.json);
  EXPECT_TRUE(options.verbose);
  EXPECT_EQ(options.color, Color::kNever);
}

TEST(Options, CommonOptionsMayStandBeforeTheVerb) {
  const Options options = Parse({"--uuid", "lamp", "search", "--json"});
  EXPECT_EQ(options.verb, Verb::kSearch);
  EXPECT_EQ(options.uuid, "lamp");
  EXPECT_TRUE(options.json);
}

TEST(Options, ASearchWaitsForItsAnswers) {
  EXPECT_EQ(Parse({"search", "--mx", "5"}).wait, 6);
  EXPECT_EQ(Parse({"search", "--wait", "1"}).mx, 1);
  EXPECT_EQ(Parse({"search", "--wait", "9"}).mx, 2);
  EXPECT_THAT(Fault({"search", "--wait", "2", "--mx", "3"}), HasSubstr("--wait"));
}

TEST(Options, ASearchMayEndAtTheFirstAndBeQuiet) {
  EXPECT_FALSE(Parse({"search"}).first);
  EXPECT_FALSE(Parse({"search"}).quiet);
  EXPECT_TRUE(Parse({"search", "--first"}).first);
  EXPECT_TRUE(Parse({"search", "-f"}).first);
  EXPECT_TRUE(Parse({"search", "--quiet"}).quiet);
  EXPECT_TRUE(Parse({"search", "-q"}).quiet);
  EXPECT_THAT(Fault({"watch", "-q"}), HasSubstr("-q"));
}

TEST(Options, AnnouncementsComeBeforeTheLastOneExpires) {
  EXPECT_EQ(Parse({"announce", "--notify-timeout", "60"}).every, 20);
  EXPECT_EQ(Parse({"announce", "--notify-timeout", "2"}).every, 1);
  EXPECT_THAT(Fault({"announce", "--every", "90"}), HasSubstr("--every"));
  EXPECT_EQ(Fault({"announce", "--every", "89"}), "");
}

TEST(Options, WhatCantBeUnderstoodIsNamed) {
  EXPECT_NE(Fault({}), "");
  EXPECT_THAT(Fault({"dance"}), HasSubstr("dance"));
  EXPECT_THAT(Fault({"watch", "--dance"}), HasSubstr("--dance"));
  EXPECT_THAT(Fault({"watch", "--wait", "3"}), HasSubstr("--wait"));
  EXPECT_THAT(Fault({"search", "--mx", "0"}), HasSubstr("--mx"));
  EXPECT_THAT(Fault({"search", "--mx", "many"}), HasSubstr("--mx"));
  EXPECT_THAT(Fault({"watch", "--notify-timeout", "1"}), HasSubstr("--notify-timeout"));
  EXPECT_THAT(Fault({"watch", "--notify-timeout", "-1"}), HasSubstr("--notify-timeout"));
  EXPECT_THAT(Fault({"watch", "--color", "pink"}), HasSubstr("--color"));
}

TEST(Options, AFaultIsToldInWordsOfThisProgram) {
  EXPECT_EQ(Fault({"watch", "--color", "pink"}), "--color: must be auto, always or never");
  EXPECT_EQ(Fault({"watch", "--color", "1"}), "--color: must be auto, always or never");
  EXPECT_EQ(Fault({"watch", "--color", ""}), "--color: must be auto, always or never");
  EXPECT_EQ(Fault({"watch", "--mx", ""}), "--mx: must be a whole number from 1 to 120");
  EXPECT_EQ(Fault({"search", "--wait", "1s"}), "--wait: must be a whole number from 1 to 3600");
  EXPECT_EQ(Fault({"watch", "--wait", "3"}), "watch has no \"--wait\"");
  EXPECT_EQ(Fault({"--wait", "3", "watch"}), "watch has no \"--wait\"");
  EXPECT_EQ(Fault({"search", "--json", "lamp"}), "search has no \"lamp\"");
  EXPECT_EQ(Fault({"dance"}), "there is no \"dance\"");
  EXPECT_EQ(Fault({"search", "--mx"}), "--mx needs a value");
  EXPECT_EQ(Fault({"search", "-w"}), "--wait needs a value");
}

TEST(Options, AFlagTakesNoValue) {
  EXPECT_THAT(Fault({"watch", "--json=7"}), HasSubstr("json"));
  EXPECT_THAT(Fault({"watch", "--verbose=no"}), HasSubstr("verbose"));
}

TEST(Options, ColorsAreKnownByTheirWords) {
  EXPECT_EQ(Parse({"watch", "--color", "auto"}).color, Color::kAuto);
  EXPECT_EQ(Parse({"watch", "--color", "always"}).color, Color::kAlways);
  EXPECT_EQ(Parse({"watch", "--color", "never", "--color", "always"}).color, Color::kAlways);
}

// What a script was given reaches the terminal through our message.
TEST(Options, AFaultShowsNoControlCharacter) {
  EXPECT_EQ(Fault({"\x1b[2J"}), "there is no \"\\x1b[2J\"");
  EXPECT_EQ(Fault({"watch", "--\x1b[2J"}), "watch has no \"--\\x1b[2J\"");
  EXPECT_EQ(Fault({"watch", "\r\n\x9b"}), "watch has no \"\\x0d\\x0a\\x9b\"");
  EXPECT_EQ(Fault({"watch", "--interface", "a\x9b"}),
            "--expect-interface: no interface \"a\\x9b\"; there are lo and eth0");
}

TEST(Validation, ALineEndInAValueIsRefusedByName) {
  for (const char* option : {"--domain", "--device-type", "--device-version", "--uuid", "--status",
                             "--server", "--user-agent", "--expect-interface"})
    for (const char* value : {"a\rb", "a\nb", "\r\n"})
      EXPECT_THAT(Fault({"watch", option, value}),
                  MatchesRegex(std::string(option) + ": must not contain a line end .*"));
  EXPECT_THAT(Fault({"watch", "--status", "\x1b[2J"}),
              HasSubstr("--status: must not contain control"));
}

TEST(Validation, AValueThatReadsAsAHeaderIsRefused) {
  EXPECT_THAT(Fault({"watch", "--server", "x ST: y"}), HasSubstr("--server"));
  EXPECT_THAT(Fault({"watch", "--status", "ssdp:alive"}), HasSubstr("--status"));
  EXPECT_THAT(Fault({"watch", "--domain", "Status: on"}), HasSubstr("--domain"));
}

TEST(Validation, AUuidIsNeededAndHasNoColon) {
  EXPECT_THAT(Fault({"watch", "--uuid", ""}), HasSubstr("--uuid: must not be empty"));
  EXPECT_THAT(Fault({"watch", "--uuid", "a:b"}), HasSubstr("--uuid: must not contain a colon"));
  EXPECT_THAT(Fault({"watch", "--domain", ""}), HasSubstr("--domain: must not be empty"));
  EXPECT_EQ(Fault({"watch", "--status", ""}), "");
}

TEST(Validation, AnUnknownInterfaceIsRefusedWithThoseThereAre) {
  EXPECT_EQ(Fault({"watch", "--interface", "wlan7"}),
            "--expect-interface: no interface \"wlan7\"; there are lo and eth0");
  EXPECT_EQ(Fault({"watch", "--interface", "eth0"}), "");
  EXPECT_EQ(Fault({"doctor", "--interface", "wlan7"}), "");
}

// By the limits of libssdp.h. The shortest kind there is counts 13 + 3 bytes, the UUID one, the
// notify time-out two digits, the search time-out one; `option` takes the rest.
std::string FaultOf(const char* option, size_t length) {
  const std::string value(length, 'x');
  std::vector<const char*> arguments = {
      "watch", "--domain", "d", "--device-type", "t", "--device-version", "v", "--uuid", "u"};
  for (const char* other : {"--status", "--server", "--user-agent"})
    if (other != std::string(option)) arguments.insert(arguments.end(), {other, ""});
  arguments.insert(arguments.end(), {option, value.c_str()});
  return Fault(arguments);
}

TEST(Validation, AStatusIsTakenToTheLastByteThatFits) {
  constexpr size_t longest = 389 - 2 * 16 - 1 - 2;  // the answer is a byte longer than the rest
  EXPECT_EQ(FaultOf("--status", longest), "");
  EXPECT_EQ(FaultOf("--status", longest + 1),
            "--status: the search response would be 513 bytes long, 1 more than a receiver reads");
  EXPECT_EQ(FaultOf("--status", longest + 2),
            "--status: the announcement would be 513 bytes long, 1 more than a receiver reads");
}

TEST(Validation, AServerIsTakenToTheLastByteThatFits) {
  constexpr size_t longest = 389 - 2 * 16 - 1 - 2;
  EXPECT_EQ(FaultOf("--server", longest), "");
  EXPECT_EQ(FaultOf("--server", longest + 1),
            "--server: the search response would be 513 bytes long, 1 more than a receiver reads");
}

TEST(Validation, AUserAgentIsTakenToTheLastByteThatFits) {
  constexpr size_t longest = 413 - 16 - 1;
  EXPECT_EQ(FaultOf("--user-agent", longest), "");
  EXPECT_EQ(FaultOf("--user-agent", longest + 1),
            "--user-agent: the search would be 513 bytes long, 1 more than a receiver reads");
}

TEST(Options, EachShortOptionIsItsLongOne) {
  const Options options =
      Parse({"announce", "-i", "eth0", "-d", "a",  "-t", "b",     "-u", "d",  "-s", "e",
             "-n",       "60", "-m",   "5",  "-j", "-c", "never", "-v", "-e", "7"});
  EXPECT_EQ(options.interface, "eth0");
  EXPECT_EQ(SearchTarget(options), "urn:a:device:b:1");
  EXPECT_EQ(options.uuid, "d");
  EXPECT_EQ(options.status, "e");
  EXPECT_EQ(options.notify_timeout, 60);
  EXPECT_EQ(options.mx, 5);
  EXPECT_EQ(options.every, 7);
  EXPECT_TRUE(options.json);
  EXPECT_TRUE(options.verbose);
  EXPECT_EQ(options.color, Color::kNever);
  EXPECT_EQ(Parse({"search", "-w", "9"}).wait, 9);
  EXPECT_EQ(Parse({"-V"}).answer, Parse({"--version"}).answer);
  EXPECT_EQ(Parse({"-h"}).answer, Parse({"--help"}).answer);
}

TEST(Options, WhatIsMisspeltIsGuessed) {
  EXPECT_EQ(Fault({"serach"}), "there is no \"serach\"; did you mean \"search\"?");
  EXPECT_EQ(Fault({"docter"}), "there is no \"docter\"; did you mean \"doctor\"?");
  EXPECT_EQ(Fault({"watch", "--statsu", "on"}),
            "watch has no \"--statsu\"; did you mean \"--status\"?");
  EXPECT_EQ(Fault({"search", "--wiat", "3"}), "search has no \"--wiat\"; did you mean \"--wait\"?");
  EXPECT_EQ(Fault({"help", "wacht"}), "there is no help on \"wacht\"; did you mean \"watch\"?");
  EXPECT_EQ(Fault({"halp"}), "there is no \"halp\"; did you mean \"help\"?");
  EXPECT_EQ(Fault({"x"}), "there is no \"x\"");
  EXPECT_EQ(Fault({"watch", "--ab"}), "watch has no \"--ab\"");  // half of "--mx" is no likeness
}

TEST(Options, TheExpectedInterfaceHasTwoNamesAndIsNeverEmpty) {
  EXPECT_EQ(Parse({"watch", "--expect-interface", "eth0"}).interface, "eth0");
  EXPECT_EQ(Parse({"watch", "--interface", "eth0"}).interface, "eth0");
  for (const char* name : {"-i", "--expect-interface", "--interface"})
    EXPECT_EQ(Fault({"doctor", name, ""}), "--expect-interface: must not be empty");
}

TEST(Help, IsThereForEachVerbAndFitsAScreen) {
  for (const std::string verb : {"", "watch", "search", "announce", "doctor"}) {
    const std::string help = Help(verb);
    std::istringstream lines(help);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 80u) << line;
    EXPECT_LE(count, 24) << verb;
    if (verb.empty()) continue;
    EXPECT_NE(help, Help(""));
    EXPECT_EQ(Parse({verb.c_str(), "--help"}).answer, help);
    EXPECT_EQ(Parse({"-h", verb.c_str()}).answer, help);
    EXPECT_EQ(Parse({"help", verb.c_str()}).answer, help);
  }
  EXPECT_EQ(Parse({"--help"}).answer, Help(""));
  EXPECT_EQ(Parse({"help"}).answer, Help(""));
  EXPECT_THAT(Parse({"--version"}).answer, MatchesRegex("ssdp-peer [0-9.]+\n"));
}

// A document as plain text: without troff's escapes, and its flags as they are typed.
std::string ReadDocument(const std::string& name) {
  std::ifstream stream(std::string(SSDP_PEER_SOURCE) + "/" + name);
  EXPECT_TRUE(stream) << name;
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  return std::regex_replace(text, std::regex("Fl Fl "), "--");
}

TEST(Help, EveryDocumentNamesEveryOptionAndVerb) {
  const std::map<std::string, std::string> documents = {
      {"help", Help("") + Help("search") + Help("announce")},
      {"manual", ReadDocument("ssdp-peer.1")},
      {"bash", ReadDocument("ssdp-peer.bash")},
      {"zsh", ReadDocument("_ssdp-peer")}};
  const auto names = OptionNames();
  EXPECT_EQ(names.size(), 20u + 5u);
  for (const auto& [title, text] : documents)
    for (const auto& name : names)
      EXPECT_TRUE(text.find(name) != std::string::npos) << title << " lacks " << name;
}

// The words that the manual shows as they are printed, in its chapter on the output.
std::set<std::string> PrintedWords() {
  const std::string manual = ReadDocument("ssdp-peer.1");
  const size_t start = manual.find(".Sh OUTPUT");
  std::istringstream lines(manual.substr(start, manual.find(".Sh", start + 1) - start));
  std::set<std::string> words;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream line_words(line);
    std::string word;
    if (!(line_words >> word) || word != ".Li") continue;
    while (line_words >> word) words.insert(word);
  }
  return words;
}

TEST(Help, TheManualNamesEveryKeyAndEventOfTheJsonObjects) {
  std::set<std::string> words = {"started", "announced", "searched"};
  for (const Change change : {Change::kNone, Change::kNew, Change::kChanged, Change::kLeft,
                              Change::kExpired, Change::kDropped})
    words.insert(ChangeName(change));
  const std::string objects = JsonStarted(Options(), "", "", 0) + JsonStatus("", 0) +
                              JsonPeer("new", Peer(), 0) + JsonFinding("", Finding());
  const std::regex key("\"([a-z]+)\":");
  for (std::sregex_iterator found(objects.begin(), objects.end(), key), end; found != end; ++found)
    words.insert(found->str(1));
  EXPECT_THAT(words, SizeIs(9 + 13));
  EXPECT_THAT(PrintedWords(), IsSupersetOf(words));
}

}  // namespace
}  // namespace ssdp_peer
