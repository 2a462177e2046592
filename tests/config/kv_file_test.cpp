// key=value files, edited in the box's /tmp.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <string>

#include "phonecore/config.h"
#include "support/files.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::put_file;
using phonecore::testing::slurp;

const char* kFile = "/tmp/kv.conf";

void write(const std::string& text) { put_file(kFile, text); }

std::string read(const char* key, const char* preset = "") {
  char value[256] = {};
  std::strcpy(value, preset);
  EXPECT_EQ(ReadConfig(kFile, key, value), 0);
  return value;
}

TEST(DeleteSpace, KeepsTheFirstWordOnly) {
  char text[] = "  ab cd";
  delete_space(text);
  EXPECT_STREQ(text, "ab");
  char tab[] = "a\tb c";
  delete_space(tab);
  EXPECT_STREQ(tab, "a\tb");  // only the space counts
}

TEST(ReadConfig, FindsTheKeyAndCutsTheValueAtItsFirstSpace) {
  write("# comment\nname = two words\nport=5060\n");
  EXPECT_EQ(read("name"), "two");
  EXPECT_EQ(read("port"), "5060");
}

TEST(ReadConfig, MissingKeyOrFileLeavesTheDestination) {
  write("port=5060\n");
  EXPECT_EQ(read("absent", "kept"), "kept");
  char value[16] = "kept";
  EXPECT_EQ(ReadConfig("/tmp/no-such.conf", "port", value), 0);
  EXPECT_STREQ(value, "kept");
}

TEST(ReadConfig, ShortLinesAndLinesWithoutEqualsArePassedOver) {
  write("a\n=\nx=1\n");
  EXPECT_EQ(read("x"), "1");
}

TEST(AddOrAltConfig, ChangedLineIsWrittenWithoutSpaces) {
  write("one = 1\ntwo=2\n");
  EXPECT_EQ(AddOrAltConfig(kFile, "one", "11"), 0);
  EXPECT_EQ(slurp(kFile), "one=11\ntwo=2\n");
}

TEST(AddOrAltConfig, NewKeyGoesToTheEnd) {
  write("one=1\n");
  EXPECT_EQ(AddOrAltConfig(kFile, "two", "2"), 0);
  EXPECT_EQ(slurp(kFile), "one=1\ntwo=2\n");
}

TEST(AddOrAltConfig, FileWithoutFinalLineFeedGetsTheNewPairOnItsLastLine) {
  write("one=1");
  EXPECT_EQ(AddOrAltConfig(kFile, "two", "2"), 0);
  EXPECT_EQ(slurp(kFile), "one=1two=2\n");
}

TEST(AddOrAltConfig, EveryLineWithTheKeyIsReplaced) {
  write("k=1\nother\nk = 2\n");
  EXPECT_EQ(AddOrAltConfig(kFile, "k", "a-much-longer-value"), 0);
  EXPECT_EQ(slurp(kFile), "k=a-much-longer-value\nother\nk=a-much-longer-value\n");
}

TEST(AddOrAltConfig, MissingFileIsNoError) { EXPECT_EQ(AddOrAltConfig("/tmp/nothing.conf", "k", "v"), 0); }

TEST(AddOrAltConfig, UnwritableFolderAnswersTwoAndTheFileIsGone) {
  // /tmp/ro is a folder we make read-only after the file is in it: the file
  // can be opened for reading and writing, but not created anew.
  ASSERT_EQ(system("mkdir -p /tmp/ro && echo k=1 > /tmp/ro/f && chmod 0555 /tmp/ro"), 0);
  if (access("/tmp/ro", W_OK) == 0) GTEST_SKIP() << "root without DAC restrictions can write the folder";
  EXPECT_EQ(AddOrAltConfig("/tmp/ro/f", "k", "2"), 2);
}

TEST(DeleteConfig, LeavesOutTheKeyAndKeepsTheRest) {
  write("a=1\nb=2\na=3\n");
  EXPECT_EQ(DeleteConfig(kFile, "a"), 0);
  EXPECT_EQ(slurp(kFile), "b=2\n");
  EXPECT_EQ(DeleteConfig(kFile, "zz"), 0);
  EXPECT_EQ(slurp(kFile), "b=2\n");
  EXPECT_EQ(DeleteConfig("/tmp/nothing.conf", "a"), 0);
}

TEST(KeyValueFiles, LinesLongerThanTheBufferAreCutIntoPieces) {
  std::string long_value(300, 'v');
  write("long=" + long_value + "\nnext=1\n");
  std::string value = read("long");
  EXPECT_EQ(value.size(), 250u);  // 255 characters of the line, less "long="
  EXPECT_EQ(read("next"), "1");
}

}  // namespace
