// The text toolbox: hexadecimal conversion, the fixed-slot splitters of
// StringArray, replacing, and the small checks. Pure functions over the
// caller's buffers; the only limits are those of the slots and of the room
// the caller gives.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/c_boundary.h"
#include "phonecore/text.h"

namespace phonecore::base {
namespace {

// Fills the slots of a StringArray up to a maximum; a token is cut at 511
// bytes and an empty one is not stored.
class SlotWriter {
 public:
  SlotWriter(StringArray* out, int max) : out_(out), max_(max) { out_->count = 0; }

  bool full() const { return out_->count >= max_; }
  int count() const { return out_->count; }

  void add(std::string_view token) {
    if (token.empty() || full()) return;
    StringSlot& slot = out_->slot[out_->count++];
    const size_t n = std::min(token.size(), sizeof slot.text - 1);
    std::memcpy(slot.text, token.data(), n);
    slot.text[n] = '\0';
    slot.length = static_cast<int32_t>(n);
  }

 private:
  StringArray* out_;
  int max_;
};

bool is_array_separator(char c) { return c == '\t' || c == '\n' || c == ' ' || c == ','; }

// Splits at one character, the last of max tokens taking the rest of the
// text with its separators when keep_rest is set.
int split_at(const char* text, char separator, StringArray* out, int max, bool keep_rest) {
  if (out == nullptr) return -1;
  SlotWriter slots(out, max);
  if (text == nullptr) return 0;
  const std::string_view all(text);
  size_t start = 0;
  while (start <= all.size() && !slots.full()) {
    if (keep_rest && slots.count() == max - 1) {
      while (start < all.size() && all[start] == separator) ++start;
      slots.add(all.substr(start));
      break;
    }
    size_t end = all.find(separator, start);
    if (end == std::string_view::npos) end = all.size();
    slots.add(all.substr(start, end - start));
    start = end + 1;
  }
  return slots.count();
}

// Offsets of the non-overlapping occurrences of from in text, left to
// right. The table starts with room for 16 and grows by a step that is
// tripled each time, up to REPLACE_MAX_OCCURRENCES; occurrences past that
// are not taken. False when the room can't be had.
bool find_occurrences(std::string_view text, std::string_view from, std::vector<size_t>& found) {
  size_t step = 16;
  size_t room = step;
  try {
    found.reserve(room);
    for (size_t at = text.find(from); at != std::string_view::npos; at = text.find(from, at + from.size())) {
      if (found.size() == room) {
        if (room >= REPLACE_MAX_OCCURRENCES) break;
        step *= 3;
        room = std::min<size_t>(room + step, REPLACE_MAX_OCCURRENCES);
        found.reserve(room);
      }
      found.push_back(at);
    }
  } catch (...) {
    return false;
  }
  return true;
}

// Writes text with the occurrences replaced into out, cut at out_size - 1
// bytes and terminated.
void write_replaced(std::string_view text, std::string_view from, std::string_view to, const std::vector<size_t>& found,
                    char* out, int out_size) {
  if (out == nullptr || out_size <= 0) return;
  const size_t room = static_cast<size_t>(out_size) - 1;
  size_t n = 0;
  auto put = [&](std::string_view piece) {
    const size_t take = std::min(piece.size(), room - n);
    std::memcpy(out + n, piece.data(), take);
    n += take;
  };
  size_t from_at = 0;
  for (size_t at : found) {
    put(text.substr(from_at, at - from_at));
    put(to);
    from_at = at + from.size();
  }
  put(text.substr(from_at));
  out[n] = '\0';
}

}  // namespace
}  // namespace phonecore::base

using namespace phonecore::base;

extern "C" {

int hexCharToValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'z') return c - 'a' + 10;
  if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
  return -1;
}

char valueToHexCh(int value) noexcept {
  if (value < 0 || value > 15) return 0;
  return "0123456789ABCDEF"[value];
}

int hexToStr(const char* hex, char* out) noexcept {
  if (hex == nullptr || out == nullptr) return -1;
  const size_t length = std::strlen(hex);
  if (length % 2 != 0) return -2;
  size_t k = 0;
  for (size_t i = 0; i < length; i += 2, ++k) {
    const int high = hexCharToValue(hex[i]);
    const int low = hexCharToValue(hex[i + 1]);
    if (high < 0 || low < 0) {
      out[k] = '\0';
      return -3;
    }
    out[k] = static_cast<char>(high * 16 + low);
  }
  out[k] = '\0';
  return 0;
}

int strToHex(const void* data, int length, char* out) noexcept {
  if (data == nullptr || out == nullptr) return -1;
  if (length <= 0) return -2;
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (int i = 0; i < length; ++i) {
    out[2 * i] = valueToHexCh(bytes[i] >> 4);
    out[2 * i + 1] = valueToHexCh(bytes[i] & 0x0F);
  }
  out[2 * length] = '\0';
  return 0;
}

int hexstrToint(const char* hex, uint32_t* value) noexcept {
  if (hex == nullptr || value == nullptr) return -1;
  const size_t length = std::strlen(hex);
  if (length == 0 || length > 8) return -2;
  uint32_t result = 0;
  for (size_t i = 0; i < length; ++i) {
    const int digit = hexCharToValue(hex[i]);
    if (digit < 0) return -3;
    result = result * 16 + static_cast<uint32_t>(digit);
  }
  *value = result;
  return 0;
}

int string_to_array(const char* text, int length, StringArray* out) noexcept {
  if (out == nullptr) return -1;
  SlotWriter slots(out, STRING_TO_ARRAY_MAX);
  if (text == nullptr || length <= 0) return 0;
  const std::string_view all(text, strnlen(text, static_cast<size_t>(length)));
  size_t start = 0;
  for (size_t i = 0; i <= all.size() && !slots.full(); ++i) {
    if (i < all.size() && !is_array_separator(all[i]) && all[i] != '=') continue;
    slots.add(all.substr(start, i - start));
    if (i < all.size() && all[i] == '=') slots.add("=");
    start = i + 1;
  }
  return slots.count();
}

int split_string(const char* text, char separator, StringArray* out) noexcept {
  return split_at(text, separator, out, SPLIT_STRING_MAX, false);
}

int split_string_with_ESC(const char* text, char separator, StringArray* out, int escape,
                          const char* escape_set) noexcept {
  if (out == nullptr) return -1;
  if (escape_set == nullptr) escape_set = "=;:\\";
  SlotWriter slots(out, SPLIT_STRING_MAX);
  if (text == nullptr) return 0;
  // Without memory for a token, the tokens stored so far are the result.
  or_failure(0, [&] {
    std::string token;
    for (const char* p = text;; ++p) {
      if (*p == '\0' || *p == separator) {
        slots.add(token);
        token.clear();
        if (*p == '\0' || slots.full()) break;
        continue;
      }
      if (escape != 0 && *p == '\\' && p[1] != '\0' && std::strchr(escape_set, p[1]) != nullptr) ++p;
      token.push_back(*p);
    }
    return 0;
  });
  return slots.count();
}

int split_string_with_outarraylen(const char* text, char separator, StringArray* out, int max) noexcept {
  if (max <= 0) {
    if (out != nullptr) out->count = 0;
    return 0;
  }
  return split_at(text, separator, out, max, true);
}

int split_string_with_2layer_splitchar(const char* text, char outer, char inner, StringArray* out, int max) noexcept {
  if (out == nullptr) return -1;
  SlotWriter slots(out, max < 0 ? 0 : max);
  if (text == nullptr) return 0;
  const std::string_view all(text);
  size_t start = 0;
  for (size_t i = 0; i < all.size() && slots.count() < max - 1; ++i) {
    if (all[i] != outer) continue;
    size_t next = all.find(outer, i + 1);
    if (next == std::string_view::npos) next = all.size();
    if (all.substr(i + 1, next - i - 1).find(inner) == std::string_view::npos) continue;
    slots.add(all.substr(start, i - start));
    start = i + 1;
  }
  slots.add(all.substr(start));
  return slots.count();
}

const char* get_parm(const StringArray* array, int n, int* length) noexcept {
  if (array == nullptr || n < 0 || n >= array->count) return nullptr;
  if (length != nullptr) *length = array->slot[n].length;
  return array->slot[n].text;
}

int get_command(const StringArray* array) noexcept {
  if (array == nullptr || array->count <= 0) return 0;
  return array->slot[0].length;
}

int string_delete(const char* text, char* out, char c) noexcept {
  if (text == nullptr || out == nullptr) return -1;
  int n = 0;
  for (const char* p = text; *p != '\0'; ++p)
    if (*p != c) out[n++] = *p;
  out[n] = '\0';
  return n;
}

int string_comp(const char* a, const char* b, int n) noexcept {
  if (a == nullptr || b == nullptr) return a == b ? 0 : 1;
  if (n <= 0) return 0;
  return std::memcmp(a, b, static_cast<size_t>(n)) == 0 ? 0 : 1;
}

int DeleteBufNotUse(char*, int) noexcept { return 0; }

char* to_upper(char* text) noexcept {
  if (text == nullptr) return nullptr;
  for (char* p = text; *p != '\0'; ++p)
    if (*p >= 'a' && *p <= 'z') *p = static_cast<char>(*p - 'a' + 'A');
  return text;
}

char* to_lowwer(char* text) noexcept {
  if (text == nullptr) return nullptr;
  for (char* p = text; *p != '\0'; ++p)
    if (*p >= 'A' && *p <= 'Z') *p = static_cast<char>(*p - 'A' + 'a');
  return text;
}

char* my_strstr(const char* haystack, const char* needle) noexcept {
  if (haystack == nullptr || needle == nullptr || *haystack == '\0') return nullptr;
  return const_cast<char*>(std::strstr(haystack, needle));
}

int str_replace_me(const char* text, const char* from, const char* to, char* out) noexcept {
  if (text == nullptr || from == nullptr || to == nullptr || out == nullptr) return -1;
  std::vector<size_t> found;
  if (*from != '\0' && !find_occurrences(text, from, found)) return -1;
  for (size_t i = 0; i < found.size(); ++i)
    std::printf("%s,%d, replace %zu \"%s\" at %zu with \"%s\"\n", __func__, __LINE__, i + 1, from, found[i], to);
  write_replaced(text, from, to, found, out, STR_REPLACE_ME_OUT_SIZE);
  return static_cast<int>(found.size());
}

int strReplace(char* text, const char* from, const char* to, int scratch_size) noexcept {
  if (text == nullptr || from == nullptr || to == nullptr || scratch_size <= 0) return -1;
  char* scratch = static_cast<char*>(std::malloc(static_cast<size_t>(scratch_size)));
  if (scratch == nullptr) return -1;
  std::vector<size_t> found;
  const std::string_view all(text, strnlen(text, static_cast<size_t>(scratch_size)));
  if (*from != '\0' && !find_occurrences(all, from, found)) {
    std::free(scratch);
    return -1;
  }
  write_replaced(all, from, to, found, scratch, scratch_size);
  std::memcpy(text, scratch, std::strlen(scratch) + 1);
  std::free(scratch);
  return static_cast<int>(found.size());
}

int replace(const char* text, const char* from, const char* to, char* out, int out_size) noexcept {
  if (text == nullptr || from == nullptr || to == nullptr || out == nullptr || out_size <= 0) return -1;
  std::vector<size_t> found;
  if (*from != '\0' && !find_occurrences(text, from, found)) return -1;
  write_replaced(text, from, to, found, out, out_size);
  return static_cast<int>(found.size());
}

int checkValidIP(const char* ip) noexcept {
  if (ip == nullptr) return -1;
  int part[4];
  if (std::sscanf(ip, "%d.%d.%d.%d ", &part[0], &part[1], &part[2], &part[3]) != 4) return -1;
  for (int p : part)
    if (p < 0 || p > 255) return -1;
  char back[16];
  std::snprintf(back, sizeof back, "%d.%d.%d.%d", part[0], part[1], part[2], part[3]);
  return std::strcmp(back, ip) == 0 ? 0 : -1;
}

int parseSubStr(const char* text, const char* start, const char* end, char* out) noexcept {
  if (text == nullptr || start == nullptr || end == nullptr || out == nullptr) return -1;
  const char* from = std::strstr(text, start);
  if (from == nullptr) return -1;
  from += std::strlen(start);
  const char* until = std::strstr(from, end);
  if (until == nullptr) return -1;
  const size_t n = std::min(static_cast<size_t>(until - from), static_cast<size_t>(PARSE_SUB_STR_MAX));
  std::memcpy(out, from, n);
  return static_cast<int>(n);
}

}  // extern "C"
