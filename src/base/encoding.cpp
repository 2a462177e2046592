// GBK and UTF-8: the checks that the phone book and the web pages use to
// decide what a text is, conversion between the two through iconv, and
// copies that don't cut a character in two.

#include <iconv.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "base/c_boundary.h"
#include "phonecore/text.h"

namespace phonecore::base {
namespace {

int leading_ones(unsigned char byte) {
  int n = 0;
  while (n < 8 && (byte & (0x80u >> n)) != 0) ++n;
  return n;
}

bool followers_ok(const unsigned char* bytes, int at, int count, int length) {
  if (at + count > length) return false;
  for (int k = 0; k < count; ++k)
    if ((bytes[at + k] & 0xC0) != 0x80) return false;
  return true;
}

// The walk of utf8_check: leads of two to six bytes with complete
// followers. Notes whether a non-ASCII byte occurred.
bool complete_sequences(const unsigned char* bytes, int length, bool* non_ascii) {
  for (int i = 0; i < length;) {
    const int ones = leading_ones(bytes[i]);
    if (ones == 0) {
      ++i;
      continue;
    }
    if (ones < 2 || ones > 6 || !followers_ok(bytes, i + 1, ones - 1, length)) return false;
    *non_ascii = true;
    i += ones;
  }
  return true;
}

int convert(const char* to, const char* from, const char* in, int in_size, char* out, int out_size) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) return -2;
  if (out == nullptr || out_size <= 0 || in == nullptr || in_size < 0) {
    iconv_close(cd);
    return -3;
  }
  std::memset(out, 0, static_cast<size_t>(out_size));
  char* in_at = const_cast<char*>(in);
  size_t in_left = static_cast<size_t>(in_size);
  char* out_at = out;
  size_t out_left = static_cast<size_t>(out_size) - 1;
  const size_t done = iconv(cd, &in_at, &in_left, &out_at, &out_left);
  iconv_close(cd);
  if (done == static_cast<size_t>(-1)) {
    std::perror("iconvyyy");
    return -3;
  }
  return 0;
}

// Bytes of the UTF-8 character that begins with lead; unknown forms count
// as one.
int sequence_length(unsigned char lead) {
  const int ones = leading_ones(lead);
  return ones >= 2 && ones <= 6 ? ones : 1;
}

}  // namespace
}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

int has_Chinese_GBK(const char* text) noexcept {
  if (text == nullptr) return 0;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != '\0'; ++p) {
    const bool letter_or_digit = (*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'z') || (*p >= 'A' && *p <= 'Z');
    if (!letter_or_digit && *p >= 0x81 && *p <= 0xFE) return 1;
  }
  return 0;
}

int isGBK(const unsigned char* bytes, int length) noexcept {
  if (bytes == nullptr) return 0;
  for (int i = 0; i < length;) {
    const unsigned char lead = bytes[i];
    if (lead < 0x80) {
      ++i;
      continue;
    }
    if (lead < 0x81 || lead > 0xFE) return 0;
    // The trail is taken even at the end: there it is the terminator of a
    // text, which fails.
    const unsigned char trail = i + 1 < length ? bytes[i + 1] : 0;
    if (trail < 0x40 || trail > 0xFE || trail == 0xF7) return 0;
    i += 2;
  }
  return 1;
}

int isUtf8(const unsigned char* bytes, int length) noexcept {
  if (bytes == nullptr) return 0;
  for (int i = 0; i < length;) {
    const int ones = leading_ones(bytes[i]);
    if (ones == 0) {
      ++i;
      continue;
    }
    // One or two leading ones refuse the text: two-byte letters are not
    // taken for UTF-8 here.
    if (ones <= 2 || !followers_ok(bytes, i + 1, ones - 1, length)) return 0;
    i += ones;
  }
  return 1;
}

int utf8_check(const unsigned char* bytes, int length) noexcept {
  if (bytes == nullptr) return 0;
  bool non_ascii = false;
  return complete_sequences(bytes, length, &non_ascii) && non_ascii ? 1 : 0;
}

int isFileUTF8(const char* path) noexcept {
  if (path == nullptr) return 0;
  // A file too large for memory reads as one that can't be checked.
  return phonecore::base::or_failure(0, [&] {
    std::ifstream in(path, std::ios::binary);
    if (!in) return 0;
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.empty()) return 0;
    bool non_ascii = false;
    return complete_sequences(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()),
                              &non_ascii)
               ? 1
               : 0;
  });
}

int zlt_UTF8toGBK(const char* in, int in_size, char* out, int out_size) noexcept {
  return convert("gbk", "utf-8", in, in_size, out, out_size);
}

int zlt_GBKtoUTF8(const char* in, int in_size, char* out, int out_size) noexcept {
  return convert("utf-8", "gbk", in, in_size, out, out_size);
}

int Utf8MaxCopy(char* out, const char* in, int max) noexcept {
  if (out == nullptr) return -1;
  int n = 0;
  if (in != nullptr) {
    while (in[n] != '\0') {
      const int length = sequence_length(static_cast<unsigned char>(in[n]));
      if (n + length > max || strnlen(in + n, static_cast<size_t>(length)) < static_cast<size_t>(length)) break;
      std::memcpy(out + n, in + n, static_cast<size_t>(length));
      n += length;
    }
  }
  out[n] = '\0';
  return n;
}

char* vorn_strcpy(char* out, const char* in) noexcept {
  if (out == nullptr || in == nullptr) return nullptr;
  std::memset(out, 0, 64);
  std::strncpy(out, in, 63);
  const int length = static_cast<int>(std::strlen(out));
  for (int i = 0; i < length;) {
    if (static_cast<unsigned char>(out[i]) < 0x80) {
      ++i;
      continue;
    }
    // A high byte is taken for a three-byte character.
    if (length - i < 3) {
      out[i] = '\0';
      break;
    }
    i += 3;
  }
  return out;
}

}  // extern "C"
