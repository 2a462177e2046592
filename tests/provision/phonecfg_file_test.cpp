// getFileAll on files of a scratch folder: whole contents, the length,
// empty files, a directory, a missing file and a large one.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "phonecore/phonecfg.h"

namespace {

namespace fs = std::filesystem;

class PhonecfgFile : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("phonecfg_file_" + std::to_string(getpid()));
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string put(const std::string& name, const std::string& bytes) {
    const std::string path = (dir_ / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  fs::path dir_;
};

TEST_F(PhonecfgFile, TheWholeFileWithItsLengthAndATerminator) {
  const std::string bytes = std::string("[Status]\nFirmwareVersion = 1.0\r\n") + '\0' + "tail";
  int length = -1;
  char* text = getFileAll(put("a.ini", bytes).c_str(), &length);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(length, static_cast<int>(bytes.size()));
  EXPECT_EQ(std::string(text, length), bytes);
  EXPECT_EQ(text[length], '\0');
  std::free(text);
}

TEST_F(PhonecfgFile, AnEmptyFileIsAnEmptyText) {
  int length = -1;
  char* text = getFileAll(put("empty", "").c_str(), &length);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(length, 0);
  EXPECT_STREQ(text, "");
  std::free(text);
}

TEST_F(PhonecfgFile, ADirectoryReadsAsEmpty) {
  int length = -1;
  char* text = getFileAll(dir_.c_str(), &length);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(length, 0);
  std::free(text);
}

TEST_F(PhonecfgFile, AMissingFileIsNullAfterItsWords) {
  int length = 7;
  testing::internal::CaptureStdout();
  EXPECT_EQ(getFileAll((dir_ / "none").c_str(), &length), nullptr);
  EXPECT_EQ(getFileAll(nullptr, &length), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nOpen file  fail\nOpen file  fail");
  EXPECT_EQ(length, 7);
}

TEST_F(PhonecfgFile, OneMebibyteAndNoLengthReceiver) {
  std::string bytes(1 << 20, 'x');
  for (size_t i = 0; i < bytes.size(); i += 997) bytes[i] = static_cast<char>(i);
  int length = 0;
  char* text = getFileAll(put("big", bytes).c_str(), &length);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(length, 1 << 20);
  EXPECT_EQ(std::string(text, length), bytes);
  std::free(text);
  text = getFileAll(put("small", "abc").c_str(), nullptr);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "abc");
  std::free(text);
}

}  // namespace
