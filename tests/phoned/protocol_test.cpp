#include "phoned/core/protocol.h"

#include <gtest/gtest.h>

#include <utility>

#include "phoned/core/text.h"

namespace {

using phoned::Event;
using phoned::take_word;
using userlib::Frame;
using Kind = phoned::Event::Kind;

sockaddr_in card_with(uint16_t port) {
  sockaddr_in card = {};
  card.sin_port = htons(port);
  return card;
}

Event event_of(std::string_view bytes) {
  Frame datagram = Frame::copy_of(bytes);
  return phoned::parse_event(datagram, card_with(5060));
}

TEST(Protocol, ReadsEveryEvent) {
  const struct {
    const char* datagram;
    Kind kind;
    int line;
    const char* digits;
  } kCases[] = {
      {"0 offhook", Kind::kOffHook, 0, ""},
      {"255 onhook", Kind::kOnHook, 255, ""},
      {"3 digit 0", Kind::kDial, 3, "0"},
      {"3 digit D", Kind::kDial, 3, "D"},
      {"3 dial 1", Kind::kDial, 3, "1"},
      {"3 dial 0123456789ABCD#*", Kind::kDial, 3, "0123456789ABCD#*"},
      // Any number of blanks separates words.
      {"  3   dial   110  ", Kind::kDial, 3, "110"},
      {"003 onhook", Kind::kOnHook, 3, ""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.datagram);
    Event event = event_of(row.datagram);
    EXPECT_EQ(event.kind(), row.kind);
    EXPECT_EQ(event.line(), row.line);
    EXPECT_EQ(event.text(), row.digits);
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
      {"7 digit E", "'E' is not a digit: must be one of 0-9, A-D, # and *"},
      {"7 dial", "'dial' takes its digits in one word, such as 'dial 110'"},
      {"7 dial 1 2", "'dial' takes its digits in one word, such as 'dial 110'"},
      {"7 dial 11a", "'a' is not a digit: must be one of 0-9, A-D, # and *"},
      {"7 dial -1", "'-' is not a digit: must be one of 0-9, A-D, # and *"},
      {"7 offhook\n", "byte 10 after '7 offhook' is not text: must be printable ASCII, without a line end"},
      {std::string("7\0offhook", 9), "byte 0 after '7' is not text: must be printable ASCII, without a line end"},
      {"\x7f", "byte 127 after '' is not text: must be printable ASCII, without a line end"},
      {"7 \xff", "byte 255 after '7 ' is not text: must be printable ASCII, without a line end"},
      // The quotation is cut.
      {"7 " + long_word, "unknown word '" + std::string(40, 'y') + "...': " + events},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(phoned::printable(row.datagram));
    Event event = event_of(row.datagram);
    EXPECT_EQ(event.kind(), Kind::kBad);
    EXPECT_EQ(event.text(), row.why);
  }
}

TEST(Protocol, AFrameLosesItsWordsFromTheFront) {
  Frame frame = Frame::copy_of("  3 dial   110 ");
  const std::string_view line = take_word(frame);
  EXPECT_EQ(line, "3");
  EXPECT_EQ(frame.text(), " dial   110 ");
  EXPECT_EQ(take_word(frame), "dial");
  EXPECT_EQ(take_word(frame), "110");
  EXPECT_EQ(take_word(frame), "");
  EXPECT_EQ(take_word(frame), "");
  EXPECT_EQ(frame.text(), "");
  EXPECT_EQ(line, "3") << "the parsed text is not modified";
}

TEST(Protocol, AFrameMayBeEmpty) {
  Frame frame = Frame::copy_of("");
  EXPECT_EQ(take_word(frame), "");
}

TEST(Protocol, AnEventCarriesWhatHasHappenedWhereAndWhoSaysSo) {
  Event dialled(Kind::kDial, 7, card_with(5060), "110");
  Event moved = std::move(dialled);
  EXPECT_EQ(moved.kind(), Kind::kDial);
  EXPECT_EQ(moved.line(), 7);
  EXPECT_EQ(moved.src_port(), 5060);
  EXPECT_EQ(ntohs(moved.card().sin_port), 5060);
  EXPECT_EQ(moved.text(), "110");
  Event lifted(Kind::kOffHook, 255, card_with(65535));
  EXPECT_EQ(lifted.kind(), Kind::kOffHook);
  EXPECT_EQ(lifted.line(), 255);
  EXPECT_EQ(lifted.src_port(), 65535);
  EXPECT_EQ(ntohs(lifted.card().sin_port), 65535);
  EXPECT_EQ(lifted.text(), "");
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
