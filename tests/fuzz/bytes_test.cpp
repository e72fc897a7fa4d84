// SPDX-License-Identifier: MIT
// Bytes that a text is seldom tested with.
#include "catalogue.h"

namespace hostile {
namespace {

const char* const kHeaders[] = {"Host", "Cache-Control", "NTS", "NT", "USN", "Status"};

// `text` with a NUL where `place` first stands, `offset` bytes on.
std::string WithNulAt(const std::string& text, const std::string& place, size_t offset) {
  std::string changed = text;
  return changed.insert(text.find("\r\n" + place + ": ") + 2 + offset, 1, '\0');
}

// The status is the last header and all are needed: whichever the NUL cuts, the rest is missing.
Cases NulCases(const std::string& text) {
  Cases cases = {{"NulFirst", '\0' + text, kNothing},
                 {"NulAfterTheEnd", text + '\0' + kByebye, Added(Usual())}};
  for (const std::string header : kHeaders) {
    std::string name = header == "Cache-Control" ? "CacheControl" : header;
    if (text.find("\r\n" + header + ": ") == std::string::npos) continue;
    cases.push_back({"NulBefore" + name, WithNulAt(text, header, 0), kNothing});
    cases.push_back({"NulInside" + name, WithNulAt(text, header, 2), kNothing});
    if (header == "Status") continue;
    cases.push_back({"NulAfter" + name, WithNulAt(text, header, header.size() + 2), kNothing});
  }
  return cases;
}

const std::string kNul(1, '\0');

const Cases kGroupNul =
    NulCases(kAlive) +
    Cases{
        {"NulDirectlyBehindStatus", With(kAlive, "Status: ", "Status: " + kNul), kNothing},
        {"NulWithinAShortStatus", With(kAlive, "Status: on", "Status: on" + kNul), kNothing},
        {"NulWithinALongStatus", With(kAlive, "Status: on", "Status: on fire" + kNul),
         Added(Record("1234", 2800, "on "))},
        {"NulBehindASearch", kSearch + kNul, Answered(1567)},
        {"NulBehindTheTargetOfASearch", With(kSearch, "\r\nUSER", kNul + "\r\nUSER"),
         Answered(1567)},
        {"NulBehindTheMx", With(kSearch, "MX: 3", "MX: 3" + kNul), kNothing},
    };
GROUP_CASES(Nul, kGroupNul);

const Cases kUnicastNul =
    NulCases(kReply) +
    Cases{
        {"NulDirectlyBehindStatus", With(kReply, "Status: ", "Status: " + kNul),
         Added(Record("1234", 2800, ""))},
        {"NulWithinAShortStatus", With(kReply, "Status: on", "Status: on" + kNul),
         Added(Record("1234", 2800, ""))},
    };
UNICAST_CASES(Nul, kUnicastNul);

// Every line's end but the start line's.
std::string WithLineEnds(const std::string& end, const std::string& text) {
  std::string changed = text;
  for (size_t at = text.find("\r\n") + 2; (at = changed.find("\r\n", at)) != std::string::npos;
       at += end.size())
    changed.replace(at, 2, end);
  return changed;
}

const Cases kGroupLines = {
    {"BareLfEverywhere", With(WithLineEnds("\n", kAlive), "\r\n", "\n"), kNothing},
    {"BareCrEverywhere", With(WithLineEnds("\r", kAlive), "\r\n", "\r"), kNothing},
    {"LfCrEverywhere", With(WithLineEnds("\n\r", kAlive), "\r\n", "\n\r"), kNothing},
    // The last 4 bytes are dropped, whatever they are.
    {"BareLfBehindTheHeaders", WithLineEnds("\n", kAlive), Added(Record("1234", 2800, ""))},
    {"BareCrBehindTheHeaders", WithLineEnds("\r", kAlive), Added(Record("1234", 2800, ""))},
    {"LfCrBehindTheHeaders", WithLineEnds("\n\r", kAlive), Added(Usual())},
    {"NothingBehindTheHeaders", WithLineEnds("", kAlive), kNothing},
    {"OneLineEndAtTheEnd", With(kAlive, "Status: on\r\n\r\n", "Status: ready\r\n"),
     Added(Record("1234", 2800, "rea"))},
    {"SearchWithBareLf", With(WithLineEnds("\n", kSearch), "\r\n", "\n"), kNothing},
    {"SearchWithBareLfBehindTheHeaders", WithLineEnds("\n", kSearch), Answered(1567)},
    {"SearchWithBareCrBehindTheHeaders", WithLineEnds("\r", kSearch), Answered(1567)},
};
GROUP_CASES(LineEnd, kGroupLines);

// The start line isn't looked at here.
const Cases kUnicastLines = {
    {"BareLfEverywhere", With(WithLineEnds("\n", kReply), "\r\n", "\n"),
     Added(Record("1234", 2800, ""))},
    {"BareCrEverywhere", With(WithLineEnds("\r", kReply), "\r\n", "\r"),
     Added(Record("1234", 2800, ""))},
    {"LfCrEverywhere", With(WithLineEnds("\n\r", kReply), "\r\n", "\n\r"), Added(Usual())},
    {"NoStartLine", kReply.substr(kReply.find("\r\n") + 2), Added(Usual())},
};
UNICAST_CASES(LineEnd, kUnicastLines);

// Header names are matched letter by letter, with one blank behind the colon.
const Cases kGroupNames = {
    {"LowerCaseNt", With(kAlive, "NT: ", "nt: "), kNothing},
    {"LowerCaseUsn", With(kAlive, "USN: ", "usn: "), kNothing},
    {"LowerCaseStatus", With(kAlive, "Status: ", "status: "), kNothing},
    {"UpperCaseStatus", With(kAlive, "Status: ", "STATUS: "), kNothing},
    {"UpperCaseCacheControl", With(kAlive, "Cache-Control: ", "CACHE-CONTROL: "), kNothing},
    {"LowerCaseNts", With(kAlive, "NTS: ", "nts: "), Added(Usual())},
    {"UpperCaseAlive", With(kAlive, "ssdp:alive", "SSDP:ALIVE"), Removed(Usual())},
    {"UpperCaseHost", With(kAlive, "Host: ", "HOST: "), Added(Usual())},
    {"UpperCaseUuid", With(kAlive, "USN: uuid:", "USN: UUID:"), kNothing},
    {"UpperCaseTarget", With(kAlive, "NT: urn:schemas", "NT: URN:SCHEMAS"), kNothing},
    {"LowerCaseNotify", With(kAlive, "NOTIFY", "notify"), kNothing},
    {"NotifyOfHttp10", With(kAlive, "HTTP/1.1", "HTTP/1.0"), kNothing},
    {"NotifyOfAPath", With(kAlive, "NOTIFY *", "NOTIFY /"), kNothing},
    {"BytesBeforeTheStartLine", "\x01\xff" + kAlive, Added(Usual())},
    {"NoBlankBehindNt", With(kAlive, "NT: ", "NT:"), kNothing},
    {"NoBlankBehindUsn", With(kAlive, "USN: ", "USN:"), kNothing},
    {"NoBlankBehindStatus", With(kAlive, "Status: ", "Status:"), kNothing},
    {"NoBlankBehindCacheControl", With(kAlive, "Cache-Control: ", "Cache-Control:"), kNothing},
    {"NoBlankBehindNts", With(kAlive, "NTS: ", "NTS:"), Added(Usual())},
    {"TabBehindNt", With(kAlive, "NT: ", "NT:\t"), kNothing},
    {"TabBehindUsn", With(kAlive, "USN: ", "USN:\t"), kNothing},
    {"TabBehindStatus", With(kAlive, "Status: ", "Status:\t"), kNothing},
    {"TabBehindCacheControl", With(kAlive, "Cache-Control: ", "Cache-Control:\t"), kNothing},
    {"TwoBlanksBehindNt", With(kAlive, "NT: ", "NT:  "), kNothing},
    {"TwoBlanksBehindStatus", With(kAlive, "Status: ", "Status:  "),
     Added(Record("1234", 2800, " on"))},
    {"SearchWithLowerCaseSt", With(kSearch, "\r\nST: ", "\r\nst: "), kNothing},
    {"SearchWithNoBlankBehindSt", With(kSearch, "\r\nST: ", "\r\nST:"), kNothing},
    {"SearchWithTabBehindSt", With(kSearch, "\r\nST: ", "\r\nST:\t"), kNothing},
    {"SearchWithLowerCaseMx", With(kSearch, "MX: ", "mx: "), kNothing},
    {"SearchWithNoBlankBehindMx", With(kSearch, "MX: ", "MX:"), kNothing},
    {"SearchWithTabBehindMx", With(kSearch, "MX: ", "MX:\t"), kNothing},
    {"SearchOfHttp10", With(kSearch, "HTTP/1.1", "HTTP/1.0"), kNothing},
    {"SearchInLowerCase", With(kSearch, "M-SEARCH", "m-search"), kNothing},
};
GROUP_CASES(HeaderName, kGroupNames);

const Cases kUnicastNames = {
    {"LowerCaseSt", With(kReply, "\r\nST: ", "\r\nst: "), kNothing},
    {"LowerCaseUsn", With(kReply, "USN: ", "usn: "), kNothing},
    {"LowerCaseStatus", With(kReply, "Status: ", "status: "), kNothing},
    {"UpperCaseCacheControl", With(kReply, "Cache-Control: ", "CACHE-CONTROL: "), kNothing},
    {"NoBlankBehindSt", With(kReply, "\r\nST: ", "\r\nST:"), kNothing},
    {"TabBehindSt", With(kReply, "\r\nST: ", "\r\nST:\t"), kNothing},
};
UNICAST_CASES(HeaderName, kUnicastNames);

struct Nasty {
  const char* name;
  const char* bytes;
};
const Nasty kNasty[] = {
    {"PrintfConversions", "%s%n%99999999d%x"},
    {"TerminalEscapes", "\x1b[2J\x1b]0;owned\a\x1b[6n"},
    {"InvalidUtf8", "\xff\xfe\xc3(\xed\xa0\x80\xf8"},
    {"Quotes", "\"'`$(id);\\"},
    {"ControlCharacters", "\x01\x7f\b\v\f"},
};

// Each of them in each value: taken as it is, read as no number, printed nowhere.
Cases NastyCases(const std::string& text, const std::string& target_header) {
  Cases cases;
  for (const auto& [name, bytes] : kNasty) {
    const std::string nasty = bytes;
    const std::string ours = target_header + kTarget;
    cases.push_back({std::string(name) + "InTheUuid", With(text, "uuid:1234", "uuid:" + nasty),
                     Added(Record(nasty, 2800, "on"))});
    cases.push_back({std::string(name) + "InTheStatus",
                     With(text, "Status: on", "Status: " + nasty),
                     Added(Record("1234", 2800, nasty))});
    cases.push_back({std::string(name) + "AsTheMaxAge",
                     With(text, "max-age=1800", "max-age=" + nasty),
                     Added(Record("1234", 1000, "on"))});
    cases.push_back(
        {std::string(name) + "BehindTheTarget", With(text, ours, ours + nasty), Added(Usual())});
    cases.push_back(
        {std::string(name) + "AsTheTarget", With(text, ours, target_header + nasty), kNothing});
  }
  return cases;
}

Cases NastySearches() {
  Cases cases;
  for (const auto& [name, bytes] : kNasty) {
    cases.push_back({std::string(name) + "AsTheUserAgent",
                     With(kSearch, "AGENT: lamp", std::string("AGENT: ") + bytes), Answered(1567)});
    cases.push_back({std::string(name) + "BehindTheMx",
                     With(kSearch, "MX: 3", std::string("MX: 3") + bytes), Answered(1567)});
    cases.push_back({std::string(name) + "AsTheMx",
                     With(kSearch, "MX: 3", std::string("MX: ") + bytes), kNothing});
  }
  return cases;
}

const Cases kGroupNasty = NastyCases(kAlive, "NT: ") + NastySearches();
GROUP_CASES(Nasty, kGroupNasty);
const Cases kUnicastNasty = NastyCases(kReply, "\r\nST: ");
UNICAST_CASES(Nasty, kUnicastNasty);

}  // namespace
}  // namespace hostile
