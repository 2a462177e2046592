// Profile (INI) files in the box's /tmp: the sectioned reader and writer,
// the plain line reader, and files at the size limit.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "base/profile_internal.h"
#include "phonecore/profile.h"
#include "support/files.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::slurp;

constexpr const char* kFile = "/tmp/profile_test.ini";

// Writes the profile file (kFile unless another is named).
void put(const std::string& text, const char* path = kFile) { phonecore::testing::put_file(path, text); }

std::string read(const char* section, const char* key, int size = 64, const char* fallback = "dflt",
                 int* result = nullptr) {
  char out[256];
  std::memset(out, '#', sizeof out);
  const int r = read_profile_string(section, key, out, size, fallback, kFile);
  if (result != nullptr) *result = r;
  return out[0] == '#' ? std::string("<untouched>") : std::string(out);
}

class Profile : public ::testing::Test {
 protected:
  void SetUp() override { std::remove(kFile); }
};

constexpr const char* kSample =
    "; xl2tpd settings\n"
    "[global]\n"
    "port = 1701\n"
    "\n"
    "[lns default]\n"
    "ip range = 10.0.0.2-10.0.0.20\n"
    "name=phone vpn\n"
    ";hidden=yes\n"
    "[lns]\n"
    "name=short\n";

TEST_F(Profile, ReadsValuesWholeWithBlanks) {
  put(kSample);
  int r = 0;
  EXPECT_EQ(read("lns default", "name", 64, "dflt", &r), "phone vpn");
  EXPECT_EQ(r, 1);
  EXPECT_EQ(read("global", "port"), "1701");
  EXPECT_EQ(read("lns", "name"), "short");
}

TEST_F(Profile, AKeyEndsAtTheFirstBlank) {
  put(kSample);
  EXPECT_EQ(read("lns default", "ip"), "10.0.0.2-10.0.0.20") << "the key of \"ip range = ...\" is \"ip\"";
  int r = 1;
  EXPECT_EQ(read("lns default", "ip range", 64, "dflt", &r), "dflt");
  EXPECT_EQ(r, 0);
}

TEST_F(Profile, ASectionWithALongerNameDoesNotMatch) {
  put("[network2]\nmode=1\n[network]\nmode=2\n");
  EXPECT_EQ(read("network", "mode"), "2");
  put("[network2]\nmode=1\n");
  EXPECT_EQ(read("network", "mode"), "dflt");
  put("[net]\nmode=1\n");
  EXPECT_EQ(read("network", "mode"), "dflt");
}

TEST_F(Profile, ACommentedKeyIsNotFound) {
  put(kSample);
  int r = 1;
  EXPECT_EQ(read("lns default", "hidden", 64, nullptr, &r), "<untouched>");
  EXPECT_EQ(r, 0);
}

TEST_F(Profile, TheSearchStaysInItsSection) {
  put(kSample);
  EXPECT_EQ(read("global", "name"), "dflt");
}

TEST_F(Profile, CrLfLinesReadWithoutTheirEnds) {
  put("[a]\r\nk1=v1\r\nk2 = two words\r\n[b]\r\nk1=other\r\n");
  EXPECT_EQ(read("a", "k1"), "v1");
  EXPECT_EQ(read("a", "k2"), "two words");
  EXPECT_EQ(read("b", "k1"), "other");
}

TEST_F(Profile, TrailingBlanksStayInTheValue) {
  put("[a]\nk=v  \n");
  EXPECT_EQ(read("a", "k"), "v  ");
}

TEST_F(Profile, ValuesAreCutAtTheOutSize) {
  put("[a]\nk=0123456789\n");
  EXPECT_EQ(read("a", "k", 5), "0123");
  EXPECT_EQ(read("a", "missing", 3, "long default"), "lo");
}

TEST_F(Profile, RefusedArgumentsGiveZeroWithoutTouchingOut) {
  put(kSample);
  char out[8] = "keep";
  EXPECT_EQ(read_profile_string(nullptr, "port", out, 8, "d", kFile), 0);
  EXPECT_EQ(read_profile_string("", "port", out, 8, "d", kFile), 0);
  EXPECT_EQ(read_profile_string("global", "", out, 8, "d", kFile), 0);
  EXPECT_EQ(read_profile_string("global", "port", out, 0, "d", kFile), 0);
  EXPECT_EQ(read_profile_string("global", "port", out, 8, "d", nullptr), 0);
  EXPECT_EQ(read_profile_string("global", "port", nullptr, 8, "d", kFile), 0);
  EXPECT_STREQ(out, "keep");
}

TEST_F(Profile, AMissingFileGivesTheDefault) {
  int r = 1;
  EXPECT_EQ(read("a", "b", 64, "fallback", &r), "fallback");
  EXPECT_EQ(r, 0);
}

TEST_F(Profile, ReadProfileInt) {
  put("[a]\nn=42\nbig=123456789012345678901234567890123456789\nword=x\n");
  EXPECT_EQ(read_profile_int("a", "n", -1, kFile), 42);
  EXPECT_EQ(read_profile_int("a", "missing", -7, kFile), -7);
  EXPECT_EQ(read_profile_int("a", "word", -7, kFile), 0);
  EXPECT_EQ(read_profile_int("a", "n", -7, "/tmp/no_such.ini"), -7);
}

TEST_F(Profile, WritingToAMissingFileCreatesItWithoutALeadingBlankLine) {
  EXPECT_EQ(write_profile_string("lns", "name", "vpn", kFile), 1);
  EXPECT_EQ(slurp(kFile), "[lns]\nname=vpn\n");
}

TEST_F(Profile, ANewSectionIsAppendedAfterABlankLine) {
  put("[a]\nk=1\n");
  EXPECT_EQ(write_profile_string("b", "x", "2", kFile), 1);
  EXPECT_EQ(slurp(kFile), "[a]\nk=1\n\n[b]\nx=2\n");
}

TEST_F(Profile, ANewKeyInAnExistingSectionComesFirst) {
  put("[a]\nk=1\n[b]\ny=3\n");
  EXPECT_EQ(write_profile_string("a", "new", "v", kFile), 1);
  EXPECT_EQ(slurp(kFile), "[a]\nnew=v\nk=1\n[b]\ny=3\n");
}

TEST_F(Profile, AnExistingValueIsReplacedInPlace) {
  put("; c\n[a]\nk = old value  \nz=9\n");
  EXPECT_EQ(write_profile_string("a", "k", "new", kFile), 1);
  EXPECT_EQ(slurp(kFile), "; c\n[a]\nk = new\nz=9\n");
  put("[a]\r\nk=1\r\nz=9\r\n");
  EXPECT_EQ(write_profile_string("a", "k", "22", kFile), 1);
  EXPECT_EQ(slurp(kFile), "[a]\r\nk=22\r\nz=9\r\n");
}

TEST_F(Profile, RoundTripOnSimilarSections) {
  put("; top\n[lns]\nname=a\n[lns default]\nname=b\n[lns2]\nname=c\n");
  EXPECT_EQ(write_profile_string("lns default", "name", "B", kFile), 1);
  EXPECT_EQ(write_profile_string("lns2", "extra", "E", kFile), 1);
  EXPECT_EQ(write_profile_string("ln", "k", "v", kFile), 1);
  EXPECT_EQ(read("lns", "name"), "a");
  EXPECT_EQ(read("lns default", "name"), "B");
  EXPECT_EQ(read("lns2", "name"), "c");
  EXPECT_EQ(read("lns2", "extra"), "E");
  EXPECT_EQ(read("ln", "k"), "v");
  EXPECT_EQ(slurp(kFile), "; top\n[lns]\nname=a\n[lns default]\nname=B\n[lns2]\nextra=E\nname=c\n\n[ln]\nk=v\n");
}

TEST_F(Profile, WriteRefusals) {
  EXPECT_EQ(write_profile_string(nullptr, "k", "v", kFile), 0);
  EXPECT_EQ(write_profile_string("s", "", "v", kFile), 0);
  EXPECT_EQ(write_profile_string("s", "k", "v", nullptr), 0);
  EXPECT_EQ(write_profile_string("s", "k", "v", "/no_such_dir/x.ini"), 0);
  EXPECT_NE(access(kFile, F_OK), 0);
}

TEST_F(Profile, FilesOf65536BytesOrMoreAreUnreadable) {
  const std::string head = "[a]\nk=v\n;";
  put(head + std::string(65535 - head.size() - 1, 'x') + "\n");
  EXPECT_EQ(slurp(kFile).size(), 65535u);
  EXPECT_EQ(read("a", "k"), "v") << "65535 bytes still load";
  put(head + std::string(65536 - head.size() - 1, 'x') + "\n");
  EXPECT_EQ(read("a", "k"), "dflt");
  EXPECT_EQ(write_profile_string("a", "k", "w", kFile), 0);
  EXPECT_EQ(slurp(kFile).size(), 65536u) << "an unreadable file is not rewritten";
}

TEST_F(Profile, AWriteThatWouldReachTheLimitIsRefused) {
  const std::string head = "[a]\nk=v\n;";
  const std::string text = head + std::string(65530 - head.size() - 1, 'x') + "\n";
  put(text);
  EXPECT_EQ(write_profile_string("a", "k", "0123456789", kFile), 0);
  EXPECT_EQ(slurp(kFile), text);
  EXPECT_EQ(write_profile_string("a", "k", "vv", kFile), 1);
}

TEST_F(Profile, AByteFFEndsTheFile) {
  put("[a]\nk=1\n\xff[b]\nk=2\n");
  EXPECT_EQ(read("a", "k"), "1");
  EXPECT_EQ(read("b", "k"), "dflt");
}

TEST(ProfileImage, FindsKeysInMemory) {
  using phonecore::base::find_profile_key;
  const std::string image = "[s]\n  \nk=v\n";
  const auto hit = find_profile_key(image, "s", "k");
  EXPECT_TRUE(hit.section_found);
  EXPECT_TRUE(hit.key_found);
  EXPECT_EQ(image.substr(hit.value_start, hit.value_end - hit.value_start), "v");
  EXPECT_EQ(hit.content_start, 7u) << "white space past \"]\" is skipped, line ends included";
  EXPECT_FALSE(find_profile_key("[s", "s", "k").section_found);
  EXPECT_FALSE(find_profile_key("x[s]\nk=v", "s", "k").section_found) << "headers begin a line";
  EXPECT_FALSE(find_profile_key("[s]\nk", "s", "k").key_found);
}

TEST_F(Profile, IniReadTakesTheFirstWordOfAValue) {
  put("Original_OPR_DIR=/customer/opr\nname=two words\n");
  char out[INI_LINE_SIZE];
  EXPECT_EQ(IniRead(kFile, "name", out), out);
  EXPECT_STREQ(out, "two");
  EXPECT_EQ(IniRead(kFile, "Original_OPR_DIR", out), out);
  EXPECT_STREQ(out, "/customer/opr");
}

TEST_F(Profile, IniReadWritesOutForLinesOfOtherKeys) {
  put("a=1\nb=2\n");
  char out[INI_LINE_SIZE] = "before";
  EXPECT_EQ(IniRead(kFile, "missing", out), nullptr);
  EXPECT_STREQ(out, "2") << "the value of the last line read stays";
  EXPECT_EQ(IniRead("/tmp/no_such.ini", "a", out), nullptr);
}

TEST_F(Profile, IniReadHasNoSections) {
  put("[x]\nk=1\n[y]\nk=2\n");
  char out[INI_LINE_SIZE];
  EXPECT_EQ(IniRead(kFile, "k", out), out);
  EXPECT_STREQ(out, "1");
}

TEST_F(Profile, IniReadOnLongLines) {
  put("k=" + std::string(1000, 'v') + "\nz=1\n");
  char out[INI_LINE_SIZE];
  EXPECT_EQ(IniRead(kFile, "z", out), out);
  EXPECT_STREQ(out, "1");
  EXPECT_EQ(IniRead(kFile, "k", out), out);
  EXPECT_EQ(std::string(out), std::string(253, 'v')) << "a line keeps 255 bytes";
}

TEST_F(Profile, ReadcfgAndGetoprdirpath) {
  put("Original_OPR_DIR=/customer/opr\n");
  char out[INI_LINE_SIZE] = "";
  EXPECT_EQ(readcfg("Original_OPR_DIR", out, kFile), 1);
  EXPECT_EQ(readcfg("other", out, kFile), 0);
  EXPECT_EQ(getoprdirpath(kFile, out), 1);
  EXPECT_STREQ(out, "/customer/opr");
  EXPECT_EQ(getoprdirpath("/tmp/no_such.ini", out), 1) << "1 whether or not the key exists";
  EXPECT_EQ(getoprdirpath(kFile, nullptr), 0);
}

TEST_F(Profile, CreatWriteAndIniWriteReplaceTheFile) {
  put("old content\nmore\n");
  EXPECT_EQ(creat_write(kFile, "new"), 0);
  EXPECT_EQ(slurp(kFile), "new");
  EXPECT_EQ(IniWrite(kFile, "key", "value"), 0);
  EXPECT_EQ(slurp(kFile), "key=value\n");
  EXPECT_EQ(creat_write("/no_such_dir/f", "x"), -1);
  EXPECT_EQ(IniWrite("/no_such_dir/f", "k", "v"), -1);
}

}  // namespace
