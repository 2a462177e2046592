#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "phonecore/fifo.h"

namespace {

class NewFifoTest : public ::testing::Test {
 protected:
  void make(int size, int slots) { ASSERT_EQ(NEWFIFO_INIT(&fifo_, size, slots), 0); }
  void TearDown() override {
    if (fifo_ != nullptr) NEWFIFO_RELEASE(&fifo_);
  }
  int write(const std::string& s, uint64_t tag = 0) {
    return NEWFIFO_WRITE(fifo_, s.data(), static_cast<int>(s.size()), tag);
  }
  std::string read() {
    char buf[256];
    int len = -9;
    int r = NEWFIFO_READ(fifo_, buf, &len);
    if (r < 0) return "<" + std::to_string(r) + ">";
    EXPECT_EQ(r, len);
    return std::string(buf, static_cast<size_t>(r));
  }
  NewFifo* fifo_ = nullptr;
};

TEST_F(NewFifoTest, ReadsElementsWholeInWriteOrder) {
  make(64, 8);
  EXPECT_EQ(write("one"), 0);
  EXPECT_EQ(write("three"), 0);
  EXPECT_EQ(read(), "one");
  EXPECT_EQ(read(), "three");
  EXPECT_EQ(read(), "<-2>");
}

TEST_F(NewFifoTest, TwoSlotQueueHoldsOneElementUntilItIsRead) {
  make(64, 2);
  EXPECT_EQ(write("a"), 0);
  EXPECT_EQ(write("b"), -2);
  EXPECT_EQ(write("b"), -2);
  EXPECT_EQ(read(), "a");
  EXPECT_EQ(write("b"), 0);
  EXPECT_EQ(read(), "b");
}

TEST_F(NewFifoTest, TooLittleRoomAnswersMinusThreeEvenWithFreeDescriptors) {
  make(10, 32);
  EXPECT_EQ(write("12345678"), 0);
  EXPECT_EQ(write("abc"), -3);
  EXPECT_EQ(write("ab"), 0);
}

TEST_F(NewFifoTest, ElementThatDoesNotFitTheTailWrapsAndReadsBackIntact) {
  make(10, 8);
  EXPECT_EQ(write("1234567"), 0);
  EXPECT_EQ(read(), "1234567");
  // write_offset is 7: six bytes run past the ring's end.
  EXPECT_EQ(write("abcdef"), 0);
  EXPECT_EQ(fifo_->entries[1].offset, 7u);
  EXPECT_EQ(std::memcmp(fifo_->data, "def", 3), 0);
  EXPECT_EQ(read(), "abcdef");
  EXPECT_EQ(fifo_->write_offset, 3u);
}

TEST_F(NewFifoTest, FullQueueOfThirtyTwoSlotsReportsThirtyTwoWhileHoldingThirtyOne) {
  make(4096, 32);
  for (int i = 0; i < 31; ++i) ASSERT_EQ(write("x"), 0) << i;
  EXPECT_EQ(write("x"), -2);
  EXPECT_EQ(NEWFIFO_READ_LEFT(fifo_), 32);
  read();
  EXPECT_EQ(NEWFIFO_READ_LEFT(fifo_), 30);
}

TEST_F(NewFifoTest, ReadLeftCountsAcrossTheIndexWrap) {
  make(4096, 4);
  write("a"), write("b"), write("c");
  read(), read();
  write("d");  // write_index wraps to 0
  EXPECT_EQ(fifo_->write_index, 0);
  EXPECT_EQ(NEWFIFO_READ_LEFT(fifo_), 2);
}

TEST_F(NewFifoTest, HasDataAnswersZeroOrMinusTwo) {
  make(64, 4);
  EXPECT_EQ(NEWFIFO_READ_HASDATA(fifo_), -2);
  write("a");
  EXPECT_EQ(NEWFIFO_READ_HASDATA(fifo_), 0);
  EXPECT_EQ(NEWFIFO_READ_HASDATA(nullptr), -1);
  EXPECT_EQ(NEWFIFO_READ_LEFT(nullptr), 0);
}

TEST_F(NewFifoTest, Read2HandsBackTheWritersTag) {
  make(64, 4);
  write("tagged", 0x1122334455667788ull);
  char buf[16];
  int len = 0;
  uint64_t tag = 0;
  EXPECT_EQ(NEWFIFO_READ2(fifo_, buf, &len, &tag), 6);
  EXPECT_EQ(tag, 0x1122334455667788ull);
}

TEST_F(NewFifoTest, ZeroLengthElementReadsAsZero) {
  make(64, 4);
  EXPECT_EQ(NEWFIFO_WRITE(fifo_, "", 0, 0), 0);
  char buf[4];
  int len = 7;
  EXPECT_EQ(NEWFIFO_READ(fifo_, buf, &len), 0);
  EXPECT_EQ(len, 0);
  EXPECT_EQ(NEWFIFO_READ(fifo_, buf, &len), -2);
}

TEST_F(NewFifoTest, NullArgumentsAnswerMinusOne) {
  make(64, 4);
  char buf[4];
  int len;
  EXPECT_EQ(NEWFIFO_WRITE(nullptr, "a", 1, 0), -1);
  EXPECT_EQ(NEWFIFO_WRITE(fifo_, nullptr, 1, 0), -1);
  EXPECT_EQ(NEWFIFO_READ(nullptr, buf, &len), -1);
  EXPECT_EQ(NEWFIFO_READ(fifo_, nullptr, &len), -1);
}

TEST_F(NewFifoTest, ReleaseOfAReleasedHandleAnswersMinusOne) {
  make(64, 4);
  EXPECT_EQ(NEWFIFO_RELEASE(&fifo_), 0);
  EXPECT_EQ(fifo_, nullptr);
  EXPECT_EQ(NEWFIFO_RELEASE(&fifo_), -1);
}

TEST_F(NewFifoTest, ResetEmptiesTheQueue) {
  make(64, 4);
  write("a"), write("b");
  NEWFIFO_RESET(fifo_);
  EXPECT_EQ(fifo_->used, 0u);
  EXPECT_EQ(NEWFIFO_READ_LEFT(fifo_), 0);
  EXPECT_EQ(read(), "<-2>");
}

TEST_F(NewFifoTest, SlotCountAboveTheDescriptorTableIsCut) {
  make(1 << 16, 5000);
  EXPECT_EQ(fifo_->slots, NEWFIFO_MAX_ENTRIES);
  for (int i = 0; i < NEWFIFO_MAX_ENTRIES - 1; ++i) ASSERT_EQ(write("x"), 0) << i;
  EXPECT_EQ(write("x"), -2);
}

TEST_F(NewFifoTest, DegenerateSizesNeverCrash) {
  make(0, 0);
  EXPECT_EQ(write("a"), -2);  // one slot: always full
  NEWFIFO_RELEASE(&fifo_);
  make(0, 4);
  EXPECT_EQ(write("a"), -3);
  EXPECT_EQ(NEWFIFO_WRITE(fifo_, "", 0, 0), 0);
  EXPECT_EQ(NEWFIFO_WRITE(fifo_, "a", -1, 0), -1);
}

TEST_F(NewFifoTest, OneWriterAndOneReaderPassEveryElementOnce) {
  make(1024, 32);
  constexpr int kCount = 20000;
  std::thread writer([&] {
    for (int i = 0; i < kCount;) {
      if (NEWFIFO_WRITE(fifo_, &i, sizeof i, static_cast<uint64_t>(i)) == 0) ++i;
      else std::this_thread::yield();
    }
  });
  int expected = 0;
  while (expected < kCount) {
    int v = -1, len = 0;
    uint64_t tag = 0;
    if (NEWFIFO_READ_LEFT(fifo_) == 0) continue;
    if (NEWFIFO_READ2(fifo_, &v, &len, &tag) > 0) {
      ASSERT_EQ(v, expected);
      ASSERT_EQ(tag, static_cast<uint64_t>(expected));
      ++expected;
    }
  }
  writer.join();
}

class UnequalFifoTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(UNEQUAL_FIFO_INIT(&fifo_, 8), 0); }
  void TearDown() override {
    if (fifo_ != nullptr) UNEQUAL_FIFO_RELEASE(&fifo_);
  }
  UnequalFifo* fifo_ = nullptr;
};

TEST_F(UnequalFifoTest, BytesFlowWithoutElementBorders) {
  EXPECT_EQ(UNEQUAL_FIFO_WRITE(fifo_, "abc", 3), 0);
  EXPECT_EQ(UNEQUAL_FIFO_WRITE(fifo_, "de", 2), 0);
  char out[8] = {};
  EXPECT_EQ(UNEQUAL_FIFO_READ(fifo_, out, 4), 0);
  EXPECT_STREQ(out, "abcd");
}

TEST_F(UnequalFifoTest, ReadOfMoreThanHeldAnswersMinusTwoAndTakesNothing) {
  UNEQUAL_FIFO_WRITE(fifo_, "abc", 3);
  char out[8] = {};
  EXPECT_EQ(UNEQUAL_FIFO_READ(fifo_, out, 4), -2);
  EXPECT_EQ(fifo_->used, 3);
  EXPECT_EQ(UNEQUAL_FIFO_READ(fifo_, out, 3), 0);
  EXPECT_STREQ(out, "abc");
}

TEST_F(UnequalFifoTest, WriteBeyondTheFreeRoomAnswersMinusTwo) {
  EXPECT_EQ(UNEQUAL_FIFO_WRITE(fifo_, "1234567", 7), 0);
  EXPECT_EQ(UNEQUAL_FIFO_WRITE(fifo_, "ab", 2), -2);
  EXPECT_EQ(UNEQUAL_FIFO_WRITE(fifo_, "a", 1), 0);
}

TEST_F(UnequalFifoTest, WritesAndReadsWrapAtTheEnd) {
  char out[8] = {};
  UNEQUAL_FIFO_WRITE(fifo_, "123456", 6);
  UNEQUAL_FIFO_READ(fifo_, out, 6);
  EXPECT_EQ(UNEQUAL_FIFO_WRITE(fifo_, "abcde", 5), 0);
  EXPECT_EQ(fifo_->write_position, 3u);
  std::memset(out, 0, sizeof out);
  EXPECT_EQ(UNEQUAL_FIFO_READ(fifo_, out, 5), 0);
  EXPECT_STREQ(out, "abcde");
  EXPECT_EQ(fifo_->read_position, 3u);
}

TEST_F(UnequalFifoTest, ResetAndReleaseLeaveNothingBehind) {
  UNEQUAL_FIFO_WRITE(fifo_, "abc", 3);
  EXPECT_EQ(UNEQUAL_FIFO_RESET(fifo_), 0);
  EXPECT_EQ(fifo_->used, 0);
  EXPECT_EQ(UNEQUAL_FIFO_RELEASE(&fifo_), 0);
  EXPECT_EQ(fifo_, nullptr);
  EXPECT_EQ(UNEQUAL_FIFO_RELEASE(&fifo_), -1);
  EXPECT_EQ(UNEQUAL_FIFO_WRITE(nullptr, "a", 1), -1);
  char one[1];
  EXPECT_EQ(UNEQUAL_FIFO_READ(nullptr, one, 1), -1);
}

}  // namespace
