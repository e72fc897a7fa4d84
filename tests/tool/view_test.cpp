// SPDX-License-Identifier: MIT
#include "view.h"

#include <gmock/gmock.h>

#include "text.h"

namespace ssdp_peer {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

std::vector<KeyKind> Kinds(const std::vector<Key>& keys) {
  std::vector<KeyKind> kinds;
  for (const auto& key : keys) kinds.push_back(key.kind);
  return kinds;
}

TEST(Keys, SequencesOfSeveralTerminalsAreKnown) {
  KeyReader reader;
  EXPECT_THAT(Kinds(reader.Feed("\x1b[A\x1b[B\x1bOA\x1bOB")),
              ElementsAre(KeyKind::kUp, KeyKind::kDown, KeyKind::kUp, KeyKind::kDown));
  EXPECT_THAT(Kinds(reader.Feed("\x1b[5~\x1b[6~")),
              ElementsAre(KeyKind::kPageUp, KeyKind::kPageDown));
  EXPECT_THAT(Kinds(reader.Feed("\x1b[H\x1bOH\x1b[1~\x1b[F\x1bOF\x1b[4~")),
              ElementsAre(KeyKind::kHome, KeyKind::kHome, KeyKind::kHome, KeyKind::kEnd,
                          KeyKind::kEnd, KeyKind::kEnd));
  EXPECT_THAT(reader.Feed("\x1b[1;5C\x01"), IsEmpty());  // an unknown one types nothing
  EXPECT_THAT(Kinds(reader.Feed("q\r\x7f")),
              ElementsAre(KeyKind::kText, KeyKind::kEnter, KeyKind::kErase));
}

TEST(Keys, ASequenceMayComeInPieces) {
  KeyReader reader;
  EXPECT_THAT(reader.Feed("\x1b"), IsEmpty());
  EXPECT_TRUE(reader.Pending());
  EXPECT_THAT(reader.Feed("["), IsEmpty());
  EXPECT_THAT(Kinds(reader.Feed("5~")), ElementsAre(KeyKind::kPageUp));
  EXPECT_FALSE(reader.Pending());
}

TEST(Keys, AnEscapeThatNothingFollowsIsTheKey) {
  KeyReader reader;
  reader.Feed("\x1b");
  EXPECT_THAT(Kinds(reader.Flush()), ElementsAre(KeyKind::kEscape));
  EXPECT_THAT(Kinds(reader.Feed("\x1bq")), ElementsAre(KeyKind::kEscape, KeyKind::kText));
}

class ViewTest : public testing::Test {
 protected:
  // Devices named 001, 002 and so on.
  void Hear(int count) {
    for (int i = 1; i <= count; ++i) {
      libSSDP::DeviceInfo device;
      device.m_uuid = std::string(i < 10 ? "00" : i < 100 ? "0" : "") + std::to_string(i);
      device.m_address = "10.77.0.2";
      device.m_expiry = 190;
      m_roster.Heard(device, 100);
    }
    m_roster.Settle(105);
  }
  std::vector<std::string> Lines(size_t rows = 12, size_t columns = 80) {
    const Scene scene = {m_options, m_roster, "eth0 10.77.0.1", m_message, 105};
    return m_view.Lines(scene, {columns, rows}, false);
  }
  // The UUIDs of the rows on a terminal of 12 lines.
  std::vector<std::string> Rows() {
    auto lines = Lines();
    std::vector<std::string> uuids;
    for (size_t i = 2; i + 2 < lines.size(); ++i) uuids.push_back(lines[i].substr(2, 3));
    return uuids;
  }
  bool Press(KeyKind kind) { return m_view.Press({kind, 0}); }
  void Type(const std::string& text) {
    for (const char byte : text) EXPECT_TRUE(m_view.Press({KeyKind::kText, byte}));
  }

  Options m_options;
  Roster m_roster;
  std::string m_message;
  View m_view;
};

TEST_F(ViewTest, NeverHasMoreLinesThanTheTerminal) {
  for (const int devices : {0, 3}) {
    Hear(devices);
    for (size_t rows = 1; rows < 7; ++rows) EXPECT_LE(Lines(rows).size(), rows);
    EXPECT_THAT(Lines(5), SizeIs(5));
  }
  EXPECT_THAT(Lines(24), SizeIs(1 + 4 + 2));
  for (size_t columns = 1; columns < 100; ++columns)
    for (const auto& line : Lines(24, columns))
      EXPECT_LE(line.size(), std::max<size_t>(columns, 2));
}

TEST_F(ViewTest, ArrowsPagesHomeAndEndScroll) {
  Hear(300);
  EXPECT_THAT(Rows(), ElementsAre("001", "002", "003", "004", "005", "006", "007", "008"));
  Press(KeyKind::kUp);
  EXPECT_EQ(Rows().front(), "001");
  Press(KeyKind::kDown);
  EXPECT_EQ(Rows().front(), "002");
  EXPECT_EQ(Rows().back(), "009");
  Press(KeyKind::kPageDown);
  EXPECT_EQ(Rows().front(), "010");
  EXPECT_THAT(Lines().back(), StartsWith("300 here, 9 above, 283 more rows   q quit  s search"));
  Press(KeyKind::kPageUp);
  EXPECT_EQ(Rows().front(), "002");
  Press(KeyKind::kEnd);
  EXPECT_EQ(Rows().back(), "300");
  EXPECT_THAT(Rows(), SizeIs(8));
  Press(KeyKind::kDown);
  EXPECT_EQ(Rows().back(), "300");
  Press(KeyKind::kUp);
  EXPECT_EQ(Rows().back(), "299");
  EXPECT_THAT(Lines().back(), HasSubstr(", 1 more row "));
  Press(KeyKind::kHome);
  EXPECT_EQ(Rows().front(), "001");
}

TEST_F(ViewTest, StaysWithinATableThatHasBecomeShorter) {
  Hear(20);
  Rows();
  Press(KeyKind::kEnd);
  m_roster = Roster();
  Hear(9);
  EXPECT_EQ(Rows().front(), "002");
}

TEST_F(ViewTest, AFilterIsTypedKeptAndEnded) {
  Hear(30);
  Type("/02");
  EXPECT_EQ(Lines()[10], Fit("filter: 02_   Enter keeps it, Esc ends it", 80));
  EXPECT_EQ(Rows().front(), "002");
  Type("9");
  EXPECT_THAT(Rows(), ElementsAre("029"));
  Press(KeyKind::kErase);
  Type("q");  // a letter of the filter now
  Press(KeyKind::kErase);
  Press(KeyKind::kEnter);
  EXPECT_THAT(Lines().back(), StartsWith("30 here, 11 with \"02\", 3 more rows   q quit"));
  Press(KeyKind::kEscape);
  EXPECT_THAT(Lines().back(), StartsWith("30 here, 22 more rows   q quit"));
  Type("/none");
  EXPECT_THAT(Lines(), Contains(StartsWith("  No device matches.")));
  Press(KeyKind::kEscape);
  EXPECT_FALSE(m_view.Press({KeyKind::kText, 'q'}));  // not of the filter any more
}

TEST_F(ViewTest, EraseTakesAWholeCharacter) {
  Type("/a\xc3\xbc");
  Press(KeyKind::kErase);
  EXPECT_THAT(Lines(12), Contains(StartsWith("filter: a_ ")));
}

TEST_F(ViewTest, TheOrderGoesRound) {
  Hear(1);
  for (const char* heading : {"ADDRESS^", "SEEN^", "  UUID "}) {
    Type("o");
    EXPECT_THAT(Lines()[1], HasSubstr(heading));
  }
}

TEST_F(ViewTest, AnEmptyTableSaysWhatIsListenedForAndWhatToTry) {
  EXPECT_THAT(Lines(24), Contains(StartsWith("    urn:example-org:device:Peer:1 ")));
  EXPECT_THAT(Lines(24), Contains(HasSubstr("\"ssdp-peer doctor\"")));
  Hear(1);
  EXPECT_THAT(Lines(24), SizeIs(1 + 2 + 2));
}

TEST_F(ViewTest, TheHeaderShortensTheUuidThenTheStatusAndNeverTheTarget) {
  m_options.uuid = "b4fe4982-964c-4b84-8bfd-4ddd7dedbd01";
  m_options.status = "on and warm, 21 C";
  const std::string target = "urn:example-org:device:Peer:1";
  EXPECT_EQ(Lines(24, 120)[0],
            Fit("eth0 10.77.0.1  " + m_options.uuid + "  on and warm, 21 C  " + target, 120));
  EXPECT_EQ(Lines(24, 80)[0], "eth0 10.77.0.1  b4fe4982-96...  on and warm, 21 C  " + target);
  EXPECT_EQ(Lines(24, 70)[0], "eth0 10.77.0.1  b4fe4...  on and war...  " + target);
  EXPECT_EQ(Lines(24, 40)[0], Fit(target, 40));
  EXPECT_THAT(Lines(24, 20)[0] + Lines(24, 20)[1], StartsWith(target + " "));
}

TEST_F(ViewTest, TheHeaderSaysThatThereWasNoRoom) {
  Hear(4096 + 3);
  m_roster.Trim();
  m_options.uuid = "me";
  EXPECT_EQ(Lines(24, 80)[0],
            Fit("eth0 10.77.0.1  me  up  urn:example-org:device:Peer:1  full, 3 dropped", 80));
}

}  // namespace
}  // namespace ssdp_peer
