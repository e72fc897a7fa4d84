// SPDX-License-Identifier: MIT
// Everything that lies close to a message of ours: each beginning of it, each of its bytes changed
// to each other one, each pair of its lines exchanged, doubled or dropped. The model judges each,
// and after each a valid message must still be understood.
#include <utility>

#include "catalogue.h"

namespace hostile {
namespace {

struct Form {
  const char* name;
  std::string text;
};

void PrintTo(const Form& form, std::ostream* out) {
  *out << form.name;
}

// What the library sends, and what else it understands.
const Form kForms[] = {
    {"Alive", kAlive},
    {"Byebye", kByebye},
    {"Search", kSearch},
    {"Reply", kReply},
    {"AliveInAnotherOrder",
     "NOTIFY * HTTP/1.1\r\nUSN: uuid:1234::\r\nNT: urn:schemas-example-org:device:Light:1\r\n"
     "CACHE: 1\r\nCache-Control: max-age=60\r\nNTS: ssdp:alive\r\nStatus: ready\r\n\r\n"},
    {"ShortestSearch",
     "M-SEARCH * HTTP/1.1\r\nST: urn:schemas-example-org:device:Light:1\r\nMX: 1\r\n"},
    {"ShortestReply",
     "ST: urn:schemas-example-org:device:Light:1\r\nUSN: uuid:1234:Cache-Control: max-age=1\r\n"
     "Status: \r\n\r\n"},
};

class Neighbourhood : public testing::TestWithParam<Form> {
 protected:
  // Sends `texts` to a fresh service, at both sockets, each followed by a valid message.
  static void Send(const std::vector<std::string>& texts) {
    const Arrival alive = {support::Alive("valid")};
    const Arrival reply = {support::Response("valid")};
    fuzz::Trial trial;
    trial.chance.random = 1234567;
    trial.judges_tables = false;
    fuzz::Trial::Arrivals group;
    fuzz::Trial::Arrivals unicast;
    for (const auto& text : texts) {
      group.insert(group.end(), {{text}, alive});
      unicast.insert(unicast.end(), {{text}, reply});
    }
    trial.Group(group);
    trial.Unicast(unicast);
    trial.judges_tables = true;
    trial.Judge();
    EXPECT_GE(trial.happened, 2 * texts.size());  // the valid ones at the least
    EXPECT_EQ(trial.world.Devices().count("valid"), 1U);
  }
};

TEST_P(Neighbourhood, EachTruncation) {
  std::vector<std::string> texts;
  for (const auto& text : {GetParam().text, FilledTo(600, GetParam().text),
                           GetParam().text + std::string(600 - GetParam().text.size(), 's')})
    for (size_t length = 0; length <= 512; ++length) texts.push_back(text.substr(0, length));
  Send(texts);
}

TEST_P(Neighbourhood, EachByteAtEachPosition) {
  for (size_t at = 0; at < GetParam().text.size(); ++at) {
    std::vector<std::string> texts;
    for (int byte = 0; byte < 256; ++byte) {
      texts.push_back(GetParam().text);
      texts.back()[at] = static_cast<char>(byte);
    }
    Send(texts);
  }
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t at = 0, end; at < text.size(); at = end) {
    end = std::min(text.find("\r\n", at), text.size() - 2) + 2;
    lines.push_back(text.substr(at, end - at));
  }
  return lines;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines) text += line;
  return text;
}

TEST_P(Neighbourhood, EachPairOfLinesExchangedDoubledAndDropped) {
  const std::vector<std::string> lines = Lines(GetParam().text);
  std::vector<std::string> texts;
  for (size_t i = 0; i < lines.size(); ++i) {
    for (size_t j = i; j < lines.size(); ++j) {
      std::vector<std::string> exchanged = lines;
      std::vector<std::string> doubled = lines;
      std::vector<std::string> dropped = lines;
      std::swap(exchanged[i], exchanged[j]);
      for (const size_t at : {i, j}) doubled[at] += lines[at];
      for (const size_t at : {i, j}) dropped[at] = "";
      texts.insert(texts.end(), {Joined(exchanged), Joined(doubled), Joined(dropped)});
    }
  }
  Send(texts);
}

INSTANTIATE_TEST_SUITE_P(Of, Neighbourhood, testing::ValuesIn(kForms),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace hostile
