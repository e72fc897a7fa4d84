// SPDX-License-Identifier: MIT
#include "text.h"

#include <gmock/gmock.h>

#include <clocale>
#include <cstdint>

namespace ssdp_peer {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Text, PrintableAsciiStaysAsItIs) {
  EXPECT_EQ(Printable("on, 21 C ~ \"x\" 'y'"), "on, 21 C ~ \"x\" 'y'");
}

TEST(Text, WhateverATerminalCouldObeyIsEscaped) {
  EXPECT_EQ(Printable("\x1b[2J\a\r\n\t\x7f"), "\\x1b[2J\\x07\\x0d\\x0a\\x09\\x7f");
  EXPECT_EQ(Printable("\x9b\x32J"), "\\x9b2J");             // the 8-bit form of escape [
  EXPECT_EQ(Printable("\xc2\x9b"), "\\xc2\\x9b");           // the same in UTF-8
  EXPECT_EQ(Printable("\xe2\x80\xae"), "\\xe2\\x80\\xae");  // turns the writing direction
  EXPECT_EQ(Printable(std::string_view("a\0b", 3)), "a\\x00b");
}

class Utf8Text : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(Utf8Text, ValidUtf8IsShown) {
  EXPECT_EQ(Printable("K\xc3\xbc\x63he \xe6\x9d\xb1 \xf0\x9f\x92\xa1"),
            "K\xc3\xbc\x63he \xe6\x9d\xb1 \xf0\x9f\x92\xa1");
  EXPECT_EQ(Printable("back\\slash"), "back\\\\slash");
}

TEST_F(Utf8Text, WhatIsNoUtf8IsEscaped) {
  EXPECT_EQ(Printable("\xff\xc3(\xe6\x9d"), "\\xff\\xc3(\\xe6\\x9d");
  EXPECT_EQ(Printable("\xc0\xaf"), "\\xc0\\xaf");                  // too long a form of "/"
  EXPECT_EQ(Printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");         // half a surrogate pair
  EXPECT_EQ(Printable(std::string_view("\xc3\xbc", 1)), "\\xc3");  // reads no further
}

TEST_F(Utf8Text, ControlBidirectionalAndZeroWidthCharactersAreEscaped) {
  EXPECT_EQ(Printable("\x1b[2J\x7f"), "\\x1b[2J\\x7f");
  EXPECT_EQ(Printable("\xc2\x9b"), "\\xc2\\x9b");                    // the 8-bit form of escape [
  EXPECT_EQ(Printable("e\xcc\x81"), "e\\xcc\\x81");                  // an accent of its own
  EXPECT_EQ(Printable("\xf3\xa0\x81\x81"), "\\xf3\\xa0\\x81\\x81");  // a tag
  for (const char* code :
       {"\xc2\xad", "\xd8\x9c", "\xe1\x85\x9f", "\xe2\x80\x8b", "\xe2\x80\x8e", "\xe2\x80\x8f",
        "\xe2\x80\xa8", "\xe2\x80\xaa", "\xe2\x80\xae", "\xe2\x81\xa0", "\xe2\x81\xa6",
        "\xe2\x81\xa9", "\xe3\x85\xa4", "\xef\xb8\x8f", "\xef\xbb\xbf", "\xef\xbe\xa0"})
    EXPECT_EQ(Printable(code)[0], '\\') << Printable(code);
}

TEST_F(Utf8Text, AWordHasNoSpaceOfAnyKind) {
  EXPECT_EQ(PrintableWord("a\xc2\xa0\x62\xe3\x80\x80\xc3\xbc"),
            "a\\xc2\\xa0\x62\\xe3\\x80\\x80\xc3\xbc");
}

TEST_F(Utf8Text, FitCountsColumns) {
  EXPECT_EQ(Columns("\xc3\xbc\xe6\x9d\xb1"), 3u);
  EXPECT_EQ(Fit("\xe6\x9d\xb1\xe4\xba\xac", 5), "\xe6\x9d\xb1\xe4\xba\xac ");
  EXPECT_EQ(Fit("\xe6\x9d\xb1\xe4\xba\xac\xe6\x9d\xb1", 5), "\xe6\x9d\xb1...");
  EXPECT_EQ(Fit("\xe6\x9d\xb1\xe4\xba\xac\xe6\x9d\xb1", 4), "... ");
  EXPECT_EQ(Fit("\xe6\x9d\xb1", 1), " ");
}

TEST(Text, ABackslashCantFakeAnEscape) {
  EXPECT_EQ(Printable("\\x1b"), "\\\\x1b");
}

TEST(Text, AWordHasNoSpaceAndIsNeverEmpty) {
  EXPECT_EQ(PrintableWord("a b"), "a\\x20b");
  EXPECT_EQ(PrintableWord(""), "-");
}

TEST(Text, FitCutsAndFills) {
  EXPECT_EQ(Fit("lamp", 6), "lamp  ");
  EXPECT_EQ(Fit("lamp", 4), "lamp");
  EXPECT_EQ(Fit("kitchen", 6), "kit...");
  EXPECT_EQ(Fit("kitchen", 3), "kit");
  EXPECT_EQ(Fit("kitchen", 0), "");
}

TEST(Text, DurationsAreShort) {
  EXPECT_EQ(Duration(-5), "0s");
  EXPECT_EQ(Duration(59), "59s");
  EXPECT_EQ(Duration(60), "1m00s");
  EXPECT_EQ(Duration(3599), "59m59s");
  EXPECT_EQ(Duration(3600), "1h00m");
  EXPECT_EQ(Duration(86399), "23h59m");
  EXPECT_EQ(Duration(86400 + 5 * 3600), "1d05h");
  EXPECT_EQ(Duration(INT32_MAX), "24855d03h");
}

TEST(Text, TimesAreUtc) {
  EXPECT_EQ(TimeText(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(TimeText(1000000000), "2001-09-09T01:46:40Z");
}

TEST(LineReader, PutsTheBytesOfALineTogether) {
  LineReader reader;
  EXPECT_THAT(reader.Feed("on"), IsEmpty());
  EXPECT_THAT(reader.Feed(" fire\nof"), ElementsAre("on fire"));
  EXPECT_THAT(reader.Feed("f\n\nlast"), ElementsAre("off", ""));
  EXPECT_THAT(reader.Finish(), ElementsAre("last"));
  EXPECT_THAT(reader.Finish(), IsEmpty());
}

TEST(LineReader, ALineMayEndWithCrLf) {
  LineReader reader;
  EXPECT_THAT(reader.Feed("on\r\no\rff\r\r"), ElementsAre("on"));
  EXPECT_THAT(reader.Feed("\n\r\n"), ElementsAre("o\rff\r", ""));
}

TEST(LineReader, AnEndlessLineTakesNoMemoryAndStaysTooLong) {
  LineReader reader;
  for (int i = 0; i < 100; ++i) reader.Feed(std::string(1000, 'x'));
  const auto lines = reader.Feed("\nshort\n");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_GT(lines[0].size(), 512u);
  EXPECT_LT(lines[0].size(), 2000u);
  EXPECT_EQ(lines[1], "short");
}

}  // namespace
}  // namespace ssdp_peer
