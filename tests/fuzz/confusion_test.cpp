// SPDX-License-Identifier: MIT
// Messages are searched whole for the first occurrence of each text: what stands where decides.
#include "catalogue.h"

namespace hostile {
namespace {

// The other device type, at the place of ours.
const std::string kFan = "urn:schemas-example-org:device:Fan:1";

const Cases kMarkers = {
    {"TargetInHost",
     With(With(kSearch, "Host: ", "HOST: " + kTarget + "\r\nHost: "), "\r\nST: " + kTarget,
          "\r\nST: ssdp:all"),
     Answered(1567)},
    {"TargetInUserAgent",
     With(With(kAlive, "NT: " + kTarget, "NT: " + kFan),
          "USN: ", "USER-AGENT: " + kTarget + "\r\nUSN: "),
     Added(Usual())},
    {"TargetInTheStatus",
     With(With(kAlive, "NT: " + kTarget, "NT: " + kFan), "Status: on", "Status: NT: " + kTarget),
     Added(Record("1234", 2800, "NT: " + kTarget))},
    {"UuidInAnotherHeaderBefore", With(kAlive, "USN: ", "X-USN: uuid:forged:\r\nUSN: "),
     Added(Record("forged", 2800, "on"))},
    {"UuidInTheStatus", With(kAlive, "Status: on", "Status: USN: uuid:forged:"),
     Added(Record("1234", 2800, "USN: uuid:forged:"))},
    {"OnlyUuidInTheStatus",
     With(With(kAlive, "USN: uuid:1234::", "USN: 1234::"), "Status: on",
          "Status: USN: uuid:forged:"),
     Added(Record("forged", 2800, "USN: uuid:forged:"))},
    {"AliveInTheStatusOfAByebye", With(kByebye, "Status: on", "Status: ssdp:alive"),
     Added(Record("1234", 2800, "ssdp:alive"))},
    {"AliveInTheUuidOfAByebye", With(kByebye, "uuid:1234:", "uuid:NTS: ssdp:alive:"),
     Added(Record("NTS", 2800, "on"))},
    {"MaxAgeInTheStatus", With(kAlive, "Status: on", "Status: Cache-Control: max-age=7"),
     Added(Record("1234", 2800, "Cache-Control: max-age=7"))},
    {"MaxAgeInAHeaderBefore", With(kAlive, "Host: ", "X-Cache-Control: max-age=7\r\nHost: "),
     Added(Record("1234", 1007, "on"))},
    {"StatusInAHeaderBefore", With(kAlive, "NTS: ssdp:alive", "X-Status: a\r\nNTS: ssdp:alive"),
     Added(Record("1234", 2800,
                  "a\r\nNTS: ssdp:alive\r\nNT: urn:schemas-example-org:device:Light:1\r\n"
                  "USN: uuid:1234::urn:schemas-example-org:device:Light:1\r\nStatus: on"))},
    {"MxInAHeaderBefore", With(kSearch, "MX: 3", "X-MX: 1\r\nMX: 3"), Answered(567)},
    {"StartLineInAHeader", "GET / HTTP/1.1\r\nX: " + kAlive, Added(Usual())},
    {"SearchInTheUserAgentOfNothing",
     "X: M-SEARCH * HTTP/1.1\r\n" + kSearch.substr(kSearch.find("\r\n")), Answered(1567)},
    {"MarkersInsideEachOther", With(kAlive, "USN: uuid:", "USN: USN: uuid:"), Added(Usual())},
};
GROUP_CASES(Marker, kMarkers);

const Cases kEnds = {
    {"ColonOnlyBeforeTheUuid",
     "NOTIFY * HTTP/1.1\r\nNT: urn:schemas-example-org:device:Light:1\r\nNTS: ssdp:alive\r\n"
     "Cache-Control: max-age=1800\r\nStatus: on\r\nUSN: uuid:1234\r\n\r\n",
     kNothing},
    {"UuidWithoutColonTakesTheNextHeadersName",
     With(kAlive, "1234::urn:schemas-example-org:device:Light:1", "1234"),
     Added(Record("1234\r\nStatus", 2800, "on"))},
    {"UuidEmpty", With(kAlive, "uuid:1234:", "uuid::"), Added(Record("", 2800, "on"))},
    {"UuidOfOneByte", With(kAlive, "uuid:1234:", "uuid:x:"), Added(Record("x", 2800, "on"))},
    {"UuidOfABlank", With(kAlive, "uuid:1234:", "uuid: :"), Added(Record(" ", 2800, "on"))},
    {"UuidOf450Bytes", With(kAlive, "uuid:1234:", "uuid:" + std::string(450, 'u') + ":"), kNothing},
    {"StatusEmpty", With(kAlive, "Status: on", "Status: "), Added(Record("1234", 2800, ""))},
    {"StatusAndAHalfEnd", With(kAlive, "Status: on\r\n\r\n", "Status: \r\n\r"), kNothing},
    {"HeadersBehindTheStatus", With(kAlive, "Status: on\r\n", "Status: on\r\nX: y\r\n"),
     Added(Record("1234", 2800, "on\r\nX: y"))},
    {"ABodyBehindTheHeaders", kAlive + "body", Added(Record("1234", 2800, "on\r\n\r\n"))},
    {"NoMaxAge", With(kAlive, "Cache-Control: max-age=1800\r\n", ""), kNothing},
    {"NoStatus", With(kAlive, "Status: on\r\n", ""), kNothing},
    {"NoUsn", With(kAlive, "USN: uuid:1234::urn:schemas-example-org:device:Light:1\r\n", ""),
     kNothing},
    {"NoNts", With(kAlive, "NTS: ssdp:alive\r\n", ""), Removed(Usual())},
    {"UnknownNts", With(kAlive, "ssdp:alive", "ssdp:update"), Removed(Usual())},
    {"NoNt", With(kAlive, "NT: urn:schemas-example-org:device:Light:1\r\n", ""), kNothing},
    {"StartLineAlone", "NOTIFY * HTTP/1.1\r\n", kNothing},
    {"SearchLineAlone", "M-SEARCH * HTTP/1.1\r\n", kNothing},
    {"MarkersAlone",
     "NOTIFY * HTTP/1.1\r\nNT: " + kTarget + "Cache-Control: max-age=Status: USN: uuid::",
     Removed(Record("", 1000, "USN: uu"))},
};
GROUP_CASES(End, kEnds);

const Cases kTwice = {
    {"TwoMaxAges", With(kAlive, "NTS: ", "Cache-Control: max-age=7\r\nNTS: "), Added(Usual())},
    {"TwoNts", With(kByebye, "NTS: ", "NTS: ssdp:alive\r\nNTS: "), Added(Usual())},
    {"TwoNtTheFirstOurs", With(kAlive, "USN: ", "NT: " + kFan + "\r\nUSN: "), Added(Usual())},
    {"TwoNtTheSecondOurs", With(kAlive, "NT: ", "NT: " + kFan + "\r\nNT: "), Added(Usual())},
    {"TwoUsn", With(kAlive, "USN: ", "USN: uuid:first::\r\nUSN: "),
     Added(Record("first", 2800, "on"))},
    {"TwoStatus", With(kAlive, "Status: on", "Status: on\r\nStatus: off"),
     Added(Record("1234", 2800, "on\r\nStatus: off"))},
    {"TwoHosts", With(kAlive, "Host: ", "Host: 192.0.2.1\r\nHost: "), Added(Usual())},
    {"TwoMx", With(kSearch, "MX: 3", "MX: 1\r\nMX: 3"), Answered(567)},
    {"TwoMxTheFirstZero", With(kSearch, "MX: 3", "MX: 0\r\nMX: 3"), kNothing},
    {"TwoStTheSecondOurs", With(kSearch, "\r\nST: ", "\r\nST: ssdp:all\r\nST: "), Answered(1567)},
    {"TwoSearches", kSearch + kSearch, Answered(1567)},
    {"AliveThenByebye", kAlive + kByebye,
     Added(Record("1234", 2800, "on\r\n\r\n" + kByebye.substr(0, kByebye.size() - 4)))},
    {"ByebyeThenAlive", kByebye + kAlive,
     Added(Record("1234", 2800, "on\r\n\r\n" + kAlive.substr(0, kAlive.size() - 4)))},
    {"TwoByebyes", kByebye + kByebye,
     Removed(Record("1234", 2800, "on\r\n\r\n" + kByebye.substr(0, kByebye.size() - 4)))},
    // A search is answered before an announcement in the same datagram is taken in.
    {"SearchThenAlive", kSearch + kAlive, Answered(1567) + Added(Usual())},
    {"AliveThenSearch", kAlive + kSearch,
     Answered(1567) +
         Added(Record("1234", 2800, "on\r\n\r\n" + kSearch.substr(0, kSearch.size() - 4)))},
    {"SearchThenByebye", kSearch + kByebye, Answered(1567) + Removed(Usual())},
};
GROUP_CASES(Twice, kTwice);

Cases Targets() {
  Cases cases;
  const struct {
    const char* name;
    std::string target;
    bool ours;
  } targets[] = {
      {"Extended", kTarget + "0", true},
      {"ExtendedByAPart", kTarget + ":more", true},
      {"WithoutItsLastByte", kTarget.substr(0, kTarget.size() - 1), false},
      {"WithoutItsFirstByte", kTarget.substr(1), false},
      {"Prefixed", "x" + kTarget, false},
      {"OfAnotherVersion", kTarget.substr(0, kTarget.size() - 1) + "2", false},
      {"OfAnotherType", kFan, false},
      {"All", "ssdp:all", false},
      {"RootDevice", "upnp:rootdevice", false},
      {"OurUuid", "uuid:own", false},
      {"Empty", "", false},
      {"Twice", kTarget + kTarget, true},
  };
  for (const auto& [name, target, ours] : targets) {
    cases.push_back({std::string("Search") + name,
                     With(kSearch, "\r\nST: " + kTarget, "\r\nST: " + target),
                     ours ? Answered(1567) : kNothing});
    cases.push_back({std::string("Alive") + name, With(kAlive, "NT: " + kTarget, "NT: " + target),
                     ours ? Added(Usual()) : kNothing});
  }
  return cases;
}
const Cases kTargets = Targets();
GROUP_CASES(Target, kTargets);

const Cases kReplies = {
    {"Ordinary", kReply, Added(Usual())},
    {"OfAnotherType", With(kReply, "\r\nST: " + kTarget, "\r\nST: " + kFan), kNothing},
    {"OfALongerVersion", With(kReply, "\r\nST: " + kTarget, "\r\nST: " + kTarget + "0"),
     Added(Usual())},
    {"WithAnError", With(kReply, "200 OK", "404 Not Found"), Added(Usual())},
    {"TargetInTheServer",
     With(With(kReply, "\r\nST: " + kTarget, "\r\nST: " + kFan), "SERVER: lamp",
          "SERVER: HOST: " + kTarget),
     Added(Usual())},
    {"StatusShorterThanItsEnd", With(kReply, "Status: on\r\n\r\n", "Status: on\r"),
     Added(Record("1234", 2800, ""))},
    {"StatusHeaderAtTheEnd", With(kReply, "on\r\n\r\n", ""), Added(Record("1234", 2800, ""))},
    {"NoMaxAge", With(kReply, "Cache-Control: max-age=1800\r\n", ""), kNothing},
    {"NoStatus", With(kReply, "Status: on\r\n", ""), kNothing},
    {"NoUsn", With(kReply, "USN: uuid:1234::urn:schemas-example-org:device:Light:1\r\n", ""),
     kNothing},
    {"UuidEmpty", With(kReply, "uuid:1234:", "uuid::"), Added(Record("", 2800, "on"))},
    // At this socket anything with our search target is a reply.
    {"ByebyeWithAnSt", With(kByebye, "NT: ", "ST: "), Added(Usual())},
    {"Notify", kAlive, kNothing},
    {"Search", kSearch, kNothing},
    {"SearchWithADevice", kSearch + kReply, Added(Usual())},
    {"TwoReplies", kReply + kReply,
     Added(Record("1234", 2800, "on\r\n\r\n" + kReply.substr(0, kReply.size() - 4)))},
};
UNICAST_CASES(Reply, kReplies);

// Other protocols' datagrams, as they look on a LAN.
const std::string kMdns("\0\0\0\0\0\1\0\0\0\0\0\0\x05_http\x04_tcp\x05local\0\0\x0c\0\1", 34);
const std::string kTls("\x16\x03\x01\0\x2f\x01\0\0\x2b\x03\x03USN: uuid:\0\x02\x13\x01\x01\0", 27);
const std::string kRtp("\x80\x60\x12\x34\0\0\0\x01\xde\xad\xbe\xef\xff\xd5\x55", 15);
const std::string kHttp = "GET / HTTP/1.1\r\nHost: 239.255.255.250:1900\r\n\r\n";

const Cases kForeign = {
    {"Mdns", kMdns, kNothing},
    {"TlsClientHello", kTls, kNothing},
    {"Rtp", kRtp, kNothing},
    {"Http", kHttp, kNothing},
    {"AReplyAtTheGroup", kReply, kNothing},
    {"OurOwnAnswer", kAnswer, kNothing},
    {"AllBytes",
     [] {
       std::string bytes;
       for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
       return bytes;
     }(),
     kNothing},
    {"OnlyNul", std::string(512, '\0'), kNothing},
    {"OnlyColons", std::string(512, ':'), kNothing},
    {"OnlyLineEnds",
     [] {
       std::string ends;
       while (ends.size() < 512) ends += "\r\n";
       return ends;
     }(),
     kNothing},
};
GROUP_CASES(Foreign, kForeign);
const Cases kForeignReplies = {{"Mdns", kMdns, kNothing},
                               {"TlsClientHello", kTls, kNothing},
                               {"Rtp", kRtp, kNothing},
                               {"Http", kHttp, kNothing}};
UNICAST_CASES(Foreign, kForeignReplies);

}  // namespace
}  // namespace hostile
