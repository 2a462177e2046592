// Exported functions that use standard containers inside answer their own
// failure result when memory runs out; nothing reaches the C caller, and
// the process goes on. Operator new of this test program throws on demand.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "phonecore/phonecore.h"

namespace {
std::atomic<bool> g_refuse{false};
}  // namespace

// new and delete are replaced as a pair, on malloc and free.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(std::size_t size) {
  if (g_refuse.load()) throw std::bad_alloc();
  if (void* p = std::malloc(size != 0 ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

// Every exported function is noexcept to a C++ caller.
static_assert(noexcept(str_replace_me(nullptr, nullptr, nullptr, nullptr)));
static_assert(noexcept(request_pc_connect(0, 0, nullptr, nullptr)));
static_assert(noexcept(read_profile_string(nullptr, nullptr, nullptr, 0, nullptr, nullptr)));
static_assert(noexcept(voip_warnningist_get(nullptr, 0, nullptr)));
static_assert(noexcept(find_pid_by_name(nullptr, nullptr, nullptr)));

class Refused {
 public:
  Refused() { g_refuse = true; }
  ~Refused() { g_refuse = false; }
};

TEST(AllocationFailure, TextToolsAnswerFailure) {
  char out[STR_REPLACE_ME_OUT_SIZE];
  {
    Refused r;
    EXPECT_EQ(str_replace_me("a-b-c", "-", "+", out), -1);
  }
  EXPECT_EQ(str_replace_me("a-b-c", "-", "+", out), 2);
  EXPECT_STREQ(out, "a+b+c");

  char work[32] = "x.y";
  {
    Refused r;
    EXPECT_EQ(strReplace(work, ".", ":", sizeof work), -1);
  }
  EXPECT_STREQ(work, "x.y") << "a refused replacement leaves the text";
}

TEST(AllocationFailure, SplitWithEscapesKeepsWhatItHad) {
  std::vector<unsigned char> room(STRING_ARRAY_BYTES(SPLIT_STRING_MAX));
  auto* out = reinterpret_cast<StringArray*>(room.data());
  // Tokens longer than a string keeps in itself need memory of their own.
  const char* text = "a token longer than sixteen;another token longer than sixteen;c";
  {
    Refused r;
    EXPECT_EQ(split_string_with_ESC(text, ';', out, 1, nullptr), 0);
  }
  EXPECT_EQ(split_string_with_ESC(text, ';', out, 1, nullptr), 3);
}

TEST(AllocationFailure, FileChecksAnswerTheirFailure) {
  char value[32] = "untouched";
  {
    Refused r;
    EXPECT_EQ(isFileUTF8("/proc/self/status"), 0);
    EXPECT_EQ(read_profile_string("s", "k", value, sizeof value, nullptr, "/proc/self/status"), 0);
    EXPECT_EQ(write_profile_string("s", "k", "v", "/proc/self/nonexistent/file"), 0);
  }
  EXPECT_STREQ(value, "untouched");
}

}  // namespace
