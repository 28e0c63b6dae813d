#include "nuv_messageheader.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "doubles/contract_recorder.h"
#include "nuv_message.h"

namespace {

using support::ContractRecorder;

constexpr char kGuard = '\x5A';

void expect_fields(const MessageHeader& header, int32_t type, int32_t dest, int32_t src) {
  EXPECT_EQ(header.m_iMsgType, type);
  EXPECT_EQ(header.m_iDestPort, dest);
  EXPECT_EQ(header.m_iSrcPort, src);
}

class MessageHeaderTest : public ::testing::Test {
 protected:
  ContractRecorder contracts_;
};

TEST_F(MessageHeaderTest, StoresThreeNumbers) {
  MessageHeader header = {};
  NUV_MessageHeader_set(&header, 1, 2, 3);
  expect_fields(header, 1, 2, 3);
  NUV_MessageHeader_set(&header, INT32_MIN, INT32_MAX, -1);
  expect_fields(header, INT32_MIN, INT32_MAX, -1);
}

TEST_F(MessageHeaderTest, SwapsAllThree) {
  MessageHeader one = {1, 2, 3};
  MessageHeader two = {-4, -5, -6};
  NUV_MessageHeader_swap(&one, &two);
  expect_fields(one, -4, -5, -6);
  expect_fields(two, 1, 2, 3);
  NUV_MessageHeader_swap(&one, &one);
  expect_fields(one, -4, -5, -6);
}

TEST_F(MessageHeaderTest, TracesALine) {
  const struct {
    MessageHeader header;
    const char* prefix;
    const char* dest;
    const char* src;
    const char* text;
    const char* line;
  } kCases[] = {
      {{9, 3, 1}, "tx", "dst", "src", "hello", "tx:dst#3:src#1:hello"},
      {{0, 0, 0}, "p", "d", "s", "t", "p:d#0:s#0:t"},
      {{0, 0, 0}, "", "", "", "", ":#0:#0:"},
      {{0, INT32_MIN, INT32_MAX}, "rx", "a", "b", "c", "rx:a#-2147483648:b#2147483647:c"},
      // The texts are not formats, and newlines are neither added nor removed.
      {{0, 1, 2}, "%s", "%n", "%d", "%x\n", "%s:%n#1:%d#2:%x\n"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.line);
    char buffer[64];
    EXPECT_EQ(NUV_MessageHeader_trace(buffer, sizeof buffer, &row.header, row.prefix, row.dest, row.src, row.text),
              static_cast<int32_t>(std::strlen(row.line)));
    EXPECT_STREQ(buffer, row.line);
  }
}

TEST_F(MessageHeaderTest, TracesAMessageThroughItsHeader) {
  Message message;
  NUV_Message_construct(&message, 9, 3, 1);
  char buffer[64];
  EXPECT_EQ(NUV_MessageHeader_trace(buffer, sizeof buffer, reinterpret_cast<const MessageHeader*>(&message), "tx",
                                    "dst", "src", "hello"),
            20);
  EXPECT_STREQ(buffer, "tx:dst#3:src#1:hello");
  NUV_Message_destruct(&message);
}

// "p:d#0:s#0:t" has 11 characters and is tried with every size from 0 to 13.
TEST_F(MessageHeaderTest, CutsTheLineToTheBuffer) {
  const std::string line = "p:d#0:s#0:t";
  const MessageHeader header = {};
  for (uint32_t size = 0; size <= 13; ++size) {
    SCOPED_TRACE(size);
    char buffer[16];
    std::memset(buffer, kGuard, sizeof buffer);
    EXPECT_EQ(NUV_MessageHeader_trace(buffer, size, &header, "p", "d", "s", "t"), 11);
    if (size > 0) {
      EXPECT_EQ(std::string(buffer), line.substr(0, size - 1));
    }
    for (size_t i = size; i < sizeof buffer; ++i) {
      EXPECT_EQ(buffer[i], kGuard) << i;
    }
  }
}

TEST_F(MessageHeaderTest, AcceptsSizesAboveIntMax) {
  const MessageHeader header = {};
  for (const uint32_t size : {static_cast<uint32_t>(INT_MAX), 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(size);
    char buffer[16];
    EXPECT_EQ(NUV_MessageHeader_trace(buffer, size, &header, "p", "d", "s", "t"), 11);
    EXPECT_STREQ(buffer, "p:d#0:s#0:t");
  }
}

TEST_F(MessageHeaderTest, NullTextCountsAsEmptyAndIsNotReported) {
  const MessageHeader header = {0, 3, 1};
  char buffer[32];
  EXPECT_EQ(NUV_MessageHeader_trace(buffer, sizeof buffer, &header, "tx", "dst", "src", nullptr), 15);
  EXPECT_STREQ(buffer, "tx:dst#3:src#1:");
}

}  // namespace
