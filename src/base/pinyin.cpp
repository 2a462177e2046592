// Pinyin initials of names, for finding a contact by the letters of a
// number keypad: the name goes to GBK, and each character of GB2312 level
// one is given the initial of its reading by the range its code lies in.

#include <array>
#include <cstdio>
#include <cstring>

#include "phonecore/text.h"

namespace phonecore::base {
namespace {

struct InitialRange {
  char letter;
  int from;
  int to;
};

// GB2312 level one is sorted by reading, so a letter is a range of codes.
// There are no I, U or V readings to begin a syllable; codes outside the
// ranges (level two, and the gap from 53641 to 53688) give a blank.
constexpr std::array<InitialRange, 23> kInitials{{
    {'A', 45217, 45252}, {'B', 45253, 45760}, {'C', 45761, 46317}, {'D', 46318, 46825}, {'E', 46826, 47009},
    {'F', 47010, 47296}, {'G', 47297, 47613}, {'H', 47614, 48118}, {'J', 48119, 49061}, {'K', 49062, 49323},
    {'L', 49324, 49895}, {'M', 49896, 50370}, {'N', 50371, 50613}, {'O', 50614, 50621}, {'P', 50622, 50905},
    {'Q', 50906, 51386}, {'R', 51387, 51445}, {'S', 51446, 52217}, {'T', 52218, 52697}, {'W', 52698, 52979},
    {'X', 52980, 53640}, {'Y', 53689, 54480}, {'Z', 54481, 55289},
}};

char initial_of(int code) {
  for (const InitialRange& range : kInitials)
    if (code >= range.from && code <= range.to) return range.letter;
  return ' ';
}

constexpr int kBufferSize = PINYIN_BUFFER_SIZE;

// The two process-wide buffers: the name in GBK, and the initials handed
// out to the caller.
char g_gbk[kBufferSize];
char g_initials[kBufferSize];

}  // namespace
}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

char* getpystring(const char* text) noexcept {
  std::memset(g_gbk, 0, sizeof g_gbk);
  std::memset(g_initials, 0, sizeof g_initials);
  if (text == nullptr) return g_initials;
  // A name keeps its first 63 bytes, cut between characters.
  char name[kBufferSize];
  const int length = Utf8MaxCopy(name, text, kBufferSize - 1);
  // Bad UTF-8 leaves what was converted before it.
  zlt_UTF8toGBK(name, length, g_gbk, kBufferSize);

  const auto* word = reinterpret_cast<const unsigned char*>(g_gbk);
  int i = 0;
  int j = 0;
  for (;;) {
    if (i >= kBufferSize || j >= kBufferSize - 1) {
      std::printf("%s,%d, i = %d, j = %d, CHARCODEBUFFER_LEN \n", __func__, __LINE__, i, j);
      break;
    }
    if (word[i] == 0) break;
    if (word[i] <= 160) {
      g_initials[j++] = static_cast<char>(word[i]);
      i += 1;
    } else if (word[i] == 0xA3) {
      // Full-width symbols: the walk ends.
      std::printf("%s,%d, check, i = %d, uword[i] = 0x%x\n", __func__, __LINE__, i, word[i]);
      break;
    } else {
      const int second = i + 1 < kBufferSize ? word[i + 1] : 0;
      g_initials[j++] = initial_of(word[i] * 256 + second);
      i += 2;
    }
  }
  g_initials[j] = '\0';
  return to_lowwer(g_initials);
}

int name_match(const char* name, const char* key) noexcept {
  if (name == nullptr || key == nullptr) return 0;
  return std::strstr(getpystring(name), key) != nullptr ? 1 : 0;
}

}  // extern "C"
