// SPDX-License-Identifier: MIT
#include "text.h"

#include <gmock/gmock.h>

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
