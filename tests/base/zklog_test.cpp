// The file log in the box, at its real path "/tmp/zk_log.tmp".

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "phonecore/zklog.h"
#include "support/files.h"

namespace {

using phonecore::testing::slurp;

constexpr const char* kLog = "/tmp/zk_log.tmp";

class Log : public ::testing::Test {
 protected:
  void SetUp() override {
    std::remove(kLog);
    log_switch_set(1);
    log_size_set(1048576);
    log_path_set("/tmp/zk_log.tmp");
  }
};

// "time:" YYYYmmdd-HHMMSS "..." message
std::string message_of(const std::string& line) {
  EXPECT_EQ(line.rfind("time:", 0), 0u) << line;
  EXPECT_EQ(line.substr(20, 3), "...") << line;
  return line.substr(23);
}

TEST_F(Log, WritesOneStampedLine) {
  EXPECT_EQ(log_write("hello"), 0);
  const std::string text = slurp(kLog);
  EXPECT_EQ(message_of(text), "hello\n");
  EXPECT_EQ(text[13], '-');
}

TEST_F(Log, ANullTextIsWrittenAsNull) {
  log_write(nullptr);
  EXPECT_EQ(message_of(slurp(kLog)), "(null)\n");
}

TEST_F(Log, WithTheSwitchOffNothingIsCreated) {
  log_switch_set(0);
  log_write("a");
  log_write_fm("%d", 1);
  log_write_curtime("a", "b", 1, nullptr, nullptr);
  EXPECT_NE(access(kLog, F_OK), 0);
}

TEST_F(Log, AtTheLimitTheFileIsStartedAnew) {
  log_size_set(1000);
  {
    FILE* f = std::fopen(kLog, "w");
    ASSERT_NE(f, nullptr);
    std::fputs(std::string(989, 'o').append("\n").c_str(), f);
    std::fclose(f);
  }
  log_write("appended");  // 990 bytes are below the limit
  const std::string first = slurp(kLog);
  EXPECT_EQ(first.substr(0, 990), std::string(989, 'o') + "\n");
  EXPECT_GT(first.size(), 1000u);  // past the limit by one line
  log_write("fresh");
  EXPECT_EQ(message_of(slurp(kLog)), "fresh\n");
}

TEST_F(Log, ALimitBelowOneIsRefusedAndKept) {
  log_size_set(1000);
  EXPECT_EQ(log_size_set(0), -1);
  EXPECT_EQ(log_size_set(-5), -1);
  {
    FILE* f = std::fopen(kLog, "w");
    std::fputs(std::string(1500, 'o').c_str(), f);
    std::fclose(f);
  }
  log_write("x");
  EXPECT_EQ(message_of(slurp(kLog)), "x\n");  // 1000 still held
}

TEST_F(Log, TheSmallFormatterKnowsFourConversions) {
  log_write_fm("%d|%ld|%c|%s|%s", -7, 1234567890123L, 'z', "text", static_cast<const char*>(nullptr));
  EXPECT_EQ(message_of(slurp(kLog)), "-7|1234567890123|z|text|(null)\n");
}

TEST_F(Log, OtherConversionsAreDropped) {
  log_write_fm("%x", 5);
  EXPECT_EQ(message_of(slurp(kLog)), "\n");
  std::remove(kLog);
  log_write_fm("a%5db%lxc%%d", 3);
  EXPECT_EQ(message_of(slurp(kLog)), "adbxcd\n");
}

TEST_F(Log, MessagesAndLinesAreCut) {
  const std::string long_text(2000, 'm');
  log_write_fm("%s", long_text.c_str());
  EXPECT_EQ(message_of(slurp(kLog)), std::string(511, 'm') + "\n");
  std::remove(kLog);
  log_write(long_text.c_str());
  const std::string line = slurp(kLog);
  EXPECT_EQ(line.size(), 511u);  // log_write cuts its whole line
}

TEST_F(Log, ANamedFileTakesTheLine) {
  log_write_fm_path("/tmp/other.log", "%s=%d", "a", 1);
  EXPECT_EQ(message_of(slurp("/tmp/other.log")), "a=1\n");
  EXPECT_NE(access(kLog, F_OK), 0);
}

TEST_F(Log, CurtimeStampsSecondsAndMicroseconds) {
  log_write_curtime("ui", "dial", 3, nullptr, nullptr);
  const std::string plain = message_of(slurp(kLog));
  EXPECT_EQ(plain.rfind("ui---dial_[3]. sec=", 0), 0u) << plain;
  EXPECT_NE(plain.find(", microsec="), std::string::npos);
  log_write_curtime("ui", "dial", 4, "extra", "/tmp/curtime.log");
  const std::string extra = message_of(slurp("/tmp/curtime.log"));
  EXPECT_EQ(extra.rfind("ui---dial_[4]. sec=", 0), 0u) << extra;
  EXPECT_EQ(extra.substr(extra.size() - 8), ", extra\n");
}

TEST_F(Log, APathSetMakesItsFolders) {
  log_path_set("/tmp/logs/deep/phone.log");
  struct stat info {};
  ASSERT_EQ(stat("/tmp/logs/deep", &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0777u);
  log_write("there");
  EXPECT_EQ(message_of(slurp("/tmp/logs/deep/phone.log")), "there\n");
}

TEST_F(Log, APathWithoutAFolderIsIgnored) {
  EXPECT_EQ(log_path_set("/rootfile"), 0);
  EXPECT_EQ(log_path_set("nofolder"), 0);
  EXPECT_EQ(log_path_set(nullptr), 0);
  log_write("kept");
  EXPECT_EQ(message_of(slurp(kLog)), "kept\n");
  const std::string long_path = "/tmp/" + std::string(400, 'p') + "/x.log";
  log_path_set(long_path.c_str());  // cut, never overrun
}

TEST_F(Log, FolderCreation) {
  EXPECT_EQ(log_dir_create(nullptr), 1);
  EXPECT_EQ(log_dir_create("/tmp"), 0);
  EXPECT_EQ(log_dir_create("/tmp/a/b/c"), 0);
  struct stat info {};
  EXPECT_EQ(stat("/tmp/a/b/c", &info), 0);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(log_dir_create("/proc/no/such"), 2);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("mkdir error:"), std::string::npos);
}

TEST_F(Log, AFileThatCantBeOpenedEndsTheProcess) {
  EXPECT_EXIT(writemyfile("/proc/no/such/file", "x", 1), ::testing::ExitedWithCode(1), "open fail-->");
}

TEST(SafeStrcat, CutsAtFiveHundredElevenAndRefusesAFullTarget) {
  char target[ZKLOG_TEXT_SIZE] = "ab";
  EXPECT_EQ(safe_strcat(target, "cd"), 0);
  EXPECT_STREQ(target, "abcd");
  const std::string long_text(600, 'x');
  EXPECT_EQ(safe_strcat(target, long_text.c_str()), -2);
  EXPECT_EQ(std::strlen(target), 511u);
  EXPECT_EQ(safe_strcat(target, "y"), -1);
  char almost[ZKLOG_TEXT_SIZE];
  std::memset(almost, 'a', 510);
  almost[510] = '\0';
  EXPECT_EQ(safe_strncat(almost, "bcd", 1), 0);
  EXPECT_EQ(std::strlen(almost), 511u);
  EXPECT_EQ(safe_strncat(almost, "e", 1), -1);
  char small[ZKLOG_TEXT_SIZE] = "";
  EXPECT_EQ(safe_strncat(small, "hello", 3), 0);
  EXPECT_STREQ(small, "hel");
}

}  // namespace
