#include "phoned/io/line_reader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace {

using phoned::LineReader;
using Event = phoned::LineReader::Event;

class LineReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pipe(ends_), 0); }
  void TearDown() override {
    close(ends_[0]);
    hang_up();
  }

  void put(const std::string& text) const {
    ASSERT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void hang_up() {
    if (ends_[1] >= 0) {
      close(ends_[1]);
    }
    ends_[1] = -1;
  }
  Event read() { return reader_.read(ends_[0]); }

  int ends_[2] = {-1, -1};
  LineReader reader_;
};

TEST_F(LineReaderTest, PutsALineTogether) {
  EXPECT_EQ(read(), Event::kNothing) << "does not wait";
  for (const char* piece : {"t", "r s", "how"}) {
    put(piece);
    EXPECT_EQ(read(), Event::kNothing);
  }
  put("\n");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "tr show");
  EXPECT_EQ(read(), Event::kNothing);
}

TEST_F(LineReaderTest, LeavesTheNextLineInTheDescriptor) {
  put("a\n\nb\r\n\r");
  char rest[8] = {};
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "a");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "");
  EXPECT_EQ(::read(ends_[0], rest, 1), 1);
  EXPECT_EQ(rest[0], 'b');
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "") << "a carriage return ends a line, and so does the line feed with it";
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "") << "a carriage return alone";
  put("\nc\rd\r");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "c") << "the first character belongs to the previous line end";
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "d");
}

TEST_F(LineReaderTest, TakesSoMuchAndNoMore) {
  put(std::string(254, 'x') + "\n" + std::string(255, 'y') + "\n" + std::string(256, 'z') + "\nnext\n");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), std::string(254, 'x'));
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), std::string(255, 'y'));
  EXPECT_EQ(read(), Event::kTooLong);
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "next");
}

TEST_F(LineReaderTest, SaysOnceThatALineIsTooLong) {
  put(std::string(10000, 'x'));
  EXPECT_EQ(read(), Event::kTooLong);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(read(), Event::kNothing);
  }
  put("x\r\nnext\n");
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "next");
}

TEST_F(LineReaderTest, TellsTheEnd) {
  put("half");
  hang_up();
  EXPECT_EQ(read(), Event::kLine);
  EXPECT_EQ(reader_.line(), "half");
  EXPECT_EQ(read(), Event::kEnd);
  EXPECT_EQ(reader_.read(-1), Event::kNothing);
}

}  // namespace
