// The string converters on arbitrary bytes: hexadecimal both ways, the
// splitters with their fixed slots, replacing, the GBK and UTF-8 checks,
// iconv both ways, whole-character copies and the pinyin initials. Every
// output buffer is exactly the size its function is given, so that any
// overrun is seen.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "phonecore/text.h"

namespace {

struct Array {
  explicit Array(int n) : bytes(STRING_ARRAY_BYTES(n)) {}
  StringArray* get() { return reinterpret_cast<StringArray*>(bytes.data()); }
  std::vector<char> bytes;
};

void check_slots(StringArray* a, int max) {
  if (a->count < 0 || a->count > max) std::abort();
  for (int i = 0; i < a->count; ++i)
    if (a->slot[i].length != static_cast<int32_t>(std::strlen(a->slot[i].text)) || a->slot[i].length > 511)
      std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char* c = text.c_str();  // up to the first zero byte
  const size_t n = std::strlen(c);

  std::vector<char> hex_out(n / 2 + 1);
  hexToStr(c, hex_out.data());
  std::vector<char> hex(2 * size + 1);
  if (size > 0) {
    strToHex(data, static_cast<int>(size), hex.data());
    std::vector<char> back(size + 1);
    if (hexToStr(hex.data(), back.data()) != 0 || std::memcmp(back.data(), data, size) != 0) std::abort();
  }
  uint32_t value = 0;
  hexstrToint(c, &value);
  checkValidIP(c);

  {
    Array a(STRING_TO_ARRAY_MAX);
    string_to_array(text.data(), static_cast<int>(size), a.get());
    check_slots(a.get(), STRING_TO_ARRAY_MAX);
    Array b(SPLIT_STRING_MAX);
    split_string(c, ',', b.get());
    check_slots(b.get(), SPLIT_STRING_MAX);
    split_string_with_ESC(c, ';', b.get(), 1, nullptr);
    check_slots(b.get(), SPLIT_STRING_MAX);
    Array d(3);
    split_string_with_outarraylen(c, ',', d.get(), 3);
    check_slots(d.get(), 3);
    split_string_with_2layer_splitchar(c, ',', '=', d.get(), 3);
    check_slots(d.get(), 3);
  }

  {
    char out[40];
    replace(c, "a", "xyz", out, sizeof out);
    char replaced[STR_REPLACE_ME_OUT_SIZE];
    str_replace_me(c, "ab", "", replaced);
    std::vector<char> in_place(n + 8);
    std::memcpy(in_place.data(), c, n + 1);
    strReplace(in_place.data(), ",", ";;", static_cast<int>(in_place.size()));
    char between[PARSE_SUB_STR_MAX];
    parseSubStr(c, "<", ">", between);
  }

  const auto* bytes = reinterpret_cast<const unsigned char*>(data);
  isGBK(bytes, static_cast<int>(size));
  isUtf8(bytes, static_cast<int>(size));
  utf8_check(bytes, static_cast<int>(size));
  has_Chinese_GBK(c);

  {
    std::vector<char> gbk(16);
    zlt_UTF8toGBK(text.data(), static_cast<int>(size), gbk.data(), static_cast<int>(gbk.size()));
    std::vector<char> utf8(24);
    zlt_GBKtoUTF8(text.data(), static_cast<int>(size), utf8.data(), static_cast<int>(utf8.size()));
    const int max = static_cast<int>(size % 16);
    std::vector<char> copy(static_cast<size_t>(max) + 1);
    if (Utf8MaxCopy(copy.data(), c, max) > max) std::abort();
    char out64[64];
    vorn_strcpy(out64, c);
  }

  const char* initials = getpystring(c);
  if (std::strlen(initials) > 63) std::abort();
  name_match(c, "zs");
  return 0;
}
