#include "phoned/core/protocol.h"

#include <gtest/gtest.h>

#include "phoned/core/text.h"

namespace {

using phoned::Request;
using Event = phoned::Request::Event;

TEST(Protocol, ReadsEveryEvent) {
  const struct {
    const char* datagram;
    Event event;
    int line;
    const char* digits;
  } kCases[] = {
      {"0 offhook", Event::kOffHook, 0, ""},
      {"255 onhook", Event::kOnHook, 255, ""},
      {"3 digit 0", Event::kDial, 3, "0"},
      {"3 digit D", Event::kDial, 3, "D"},
      {"3 dial 1", Event::kDial, 3, "1"},
      {"3 dial 0123456789ABCD#*", Event::kDial, 3, "0123456789ABCD#*"},
      // Blanks separate words, however many there are.
      {"  3   dial   110  ", Event::kDial, 3, "110"},
      {"003 onhook", Event::kOnHook, 3, ""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.datagram);
    phoned::OwnedFrame datagram(row.datagram);
    const auto request = phoned::parse_request(datagram);
    ASSERT_TRUE(request) << request.error().why;
    EXPECT_EQ(request->event, row.event);
    EXPECT_EQ(request->line, row.line);
    EXPECT_EQ(request->digits, row.digits);
  }
}

TEST(Protocol, SaysWhatIsWrongWithADatagram) {
  const std::string events = "must be offhook, digit, dial or onhook";
  const std::string long_word(1000, 'y');
  const struct {
    std::string datagram;
    std::string why;
  } kCases[] = {
      {" ", "nothing but blanks: must be a line and an event, such as '3 offhook'"},
      {"256 offhook", "unknown line '256': must be a number from 0 to 255"},
      {"-1 offhook", "unknown line '-1': must be a number from 0 to 255"},
      {"+1 offhook", "unknown line '+1': must be a number from 0 to 255"},
      {"3x offhook", "unknown line '3x': must be a number from 0 to 255"},
      {"4294967299 offhook", "unknown line '4294967299': must be a number from 0 to 255"},
      {"offhook", "unknown line 'offhook': must be a number from 0 to 255"},
      {"7", "no event for line 7: " + events},
      {"7 Offhook", "unknown word 'Offhook': " + events},
      {"7 offhook now", "'offhook' takes nothing more, not 'now'"},
      {"7 onhook 1", "'onhook' takes nothing more, not '1'"},
      {"7 digit", "'digit' takes exactly one digit; 'dial' takes more of them, in one word"},
      {"7 digit 12", "'digit' takes exactly one digit; 'dial' takes more of them, in one word"},
      {"7 digit 1 2", "'digit' takes exactly one digit; 'dial' takes more of them, in one word"},
      {"7 digit E", "'E' is no digit: 0-9, A-D, # and * are"},
      {"7 dial", "'dial' takes its digits in one word, such as 'dial 110'"},
      {"7 dial 1 2", "'dial' takes its digits in one word, such as 'dial 110'"},
      {"7 dial 11a", "'a' is no digit: 0-9, A-D, # and * are"},
      {"7 dial -1", "'-' is no digit: 0-9, A-D, # and * are"},
      {"7 offhook\n", "byte 10 behind '7 offhook' is no text: printable ASCII is, without a line end"},
      {std::string("7\0offhook", 9), "byte 0 behind '7' is no text: printable ASCII is, without a line end"},
      {"\x7f", "byte 127 behind '' is no text: printable ASCII is, without a line end"},
      {"7 \xff", "byte 255 behind '7 ' is no text: printable ASCII is, without a line end"},
      // What comes back is cut.
      {"7 " + long_word, "unknown word '" + std::string(40, 'y') + "...': " + events},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(phoned::printable(row.datagram));
    phoned::OwnedFrame datagram(row.datagram);
    const auto request = phoned::parse_request(datagram);
    ASSERT_FALSE(request);
    EXPECT_EQ(request.error().why, row.why);
  }
}

TEST(Protocol, WritesEveryAnswer) {
  EXPECT_EQ(phoned::ready(3), "3 ready");
  EXPECT_EQ(phoned::more(3, "12"), "3 more 12");
  EXPECT_EQ(phoned::complete(255, "012", "0x.T"), "255 complete 012 0x.T");
  EXPECT_EQ(phoned::reject(0, "9"), "0 reject 9");
  EXPECT_EQ(phoned::idle(3), "3 idle");
  EXPECT_EQ(phoned::error("because"), "error because");
}

TEST(Text, QuotesAreBoundedAndHarmless) {
  EXPECT_EQ(phoned::quote(""), "''");
  EXPECT_EQ(phoned::quote("a b~"), "'a b~'");
  EXPECT_EQ(phoned::quote("a\x1b[2J\n"), "'a?[2J?'");
  EXPECT_EQ(phoned::quote(std::string_view("\0\x7f\x80\xff", 4)), "'" + std::string(4, '?') + "'");
  EXPECT_EQ(phoned::quote(std::string(40, 'x')), "'" + std::string(40, 'x') + "'");
  EXPECT_EQ(phoned::quote(std::string(41, 'x')), "'" + std::string(40, 'x') + "...'");
}

TEST(Text, QuotesPathsWhole) {
  EXPECT_EQ(phoned::quote_path(std::string(300, 'x') + "\n"), "'" + std::string(300, 'x') + "?'");
}

TEST(Text, ReadsNumbersWithinTheirLimits) {
  EXPECT_EQ(phoned::to_number("10", 10, 20), 10U);
  EXPECT_EQ(phoned::to_number("20", 10, 20), 20U);
  EXPECT_EQ(phoned::to_number("4294967295", 0, UINT32_MAX), UINT32_MAX);
  for (const char* text : {"", " ", "9", "21", " 15", "15 ", "+15", "-15", "0x0f", "1e1", "4294967296"}) {
    EXPECT_EQ(phoned::to_number(text, 10, 20), std::nullopt) << text;
  }
}

}  // namespace
