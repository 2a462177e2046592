// calculateFileMd5 in the box against OpenSSL's digest of the same files:
// random contents of many lengths, around the 1024-byte read blocks and up
// to several MiB.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "phonecore/md5.h"

namespace {

std::string openssl_md5(const std::string& path) {
  const std::string command = "openssl dgst -md5 -r " + path;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "";
  char line[256] = {};
  const bool got = std::fgets(line, sizeof line, pipe) != nullptr;
  pclose(pipe);
  return got ? std::string(line).substr(0, 32) : "";
}

TEST(Md5File, AgreesWithOpensslAcrossBlockBordersAndLargeFiles) {
  std::mt19937 random(64);
  for (size_t length :
       {size_t{0}, size_t{1}, size_t{63}, size_t{64}, size_t{1023}, size_t{1024}, size_t{1025}, size_t{2047},
        size_t{2048}, size_t{2049}, size_t{65536}, size_t{1} << 20, (size_t{3} << 20) + 17, size_t{6} << 20}) {
    std::vector<unsigned char> data(length);
    for (unsigned char& byte : data) byte = static_cast<unsigned char>(random());
    const std::string path = "/tmp/md5_" + std::to_string(length) + ".bin";
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    if (length > 0) std::fwrite(data.data(), 1, length, f);
    std::fclose(f);

    char from_file[ZKMD5_TEXT_SIZE] = {};
    ASSERT_EQ(calculateFileMd5(path.c_str(), from_file), 0);
    EXPECT_EQ(std::string(from_file), openssl_md5(path)) << length;
    char from_memory[ZKMD5_TEXT_SIZE] = {};
    calculateStringMd5(data.data(), static_cast<unsigned int>(length), from_memory);
    EXPECT_STREQ(from_memory, from_file) << length;
    std::remove(path.c_str());
  }
}

TEST(Md5File, AMissingFileGivesTheFailedOpen) {
  char out[ZKMD5_TEXT_SIZE] = "untouched";
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(calculateFileMd5("/tmp/no_such_file", out), -1);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("open: No such file or directory"), std::string::npos);
  EXPECT_STREQ(out, "untouched");
}

TEST(Md5File, AFolderGivesTheFailedRead) {
  ASSERT_EQ(mkdir("/tmp/md5_folder", 0755), 0);
  char out[ZKMD5_TEXT_SIZE] = "untouched";
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(calculateFileMd5("/tmp/md5_folder", out), -1);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("read: Is a directory"), std::string::npos);
  EXPECT_STREQ(out, "untouched");
}

}  // namespace
