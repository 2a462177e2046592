// The phone.cfg line reader and value tests on any bytes. Neither half of
// the pair may pass its 64 bytes; a line of at most 63 bytes must read as
// the grammar says, written here a second way: tabs out, split at the
// first '=', blanks out of the key, a leading run of blanks and '&' off the
// value (of '&' only while the key is empty), no skipping. The first eight
// bytes also serve as the two integers of the backlight's duty cycle.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "phonecore/phonecfg.h"
#include "provision/phonecfg/line.h"

namespace pc = phonecore::phonecfg;

namespace {

struct Pair {
  std::string key;
  std::string value;
  int result;
};

Pair plain_reading(const char* item) {
  std::string_view text(item);
  if (text.empty()) return {"", "", 0};
  if (text[0] == '#') return {"", "", 1};
  text = text.substr(0, text.find('\n'));
  std::string line;
  for (char c : text)
    if (c != '\t') line += c;
  const size_t eq = line.find('=');
  std::string key;
  for (char c : line.substr(0, eq))
    if (c != ' ') key += c;
  key.erase(0, key.find_first_not_of('&') == std::string::npos ? key.size() : key.find_first_not_of('&'));
  std::string value = eq == std::string::npos ? std::string() : line.substr(eq + 1);
  const char* lead = key.empty() ? " &" : " ";
  const size_t first = value.find_first_not_of(lead);
  value.erase(0, first == std::string::npos ? value.size() : first);
  return {key, value, value.empty() ? 0 : 1};
}

bool plain_ipv4(std::string_view text) {
  if (text.empty() || text[0] == '0' || text.size() > 15) return false;
  int fields = 0;
  while (true) {
    const size_t dot = text.find('.');
    const std::string_view field = text.substr(0, dot);
    if (field.empty() || field.size() > 3 || field.find_first_not_of("0123456789") != std::string_view::npos)
      return false;
    if (field.size() > 1 && field[0] == '0') return false;
    if (std::atoi(std::string(field).c_str()) > 255) return false;
    ++fields;
    if (dot == std::string_view::npos) break;
    text.remove_prefix(dot + 1);
  }
  return fields == 4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char* item = text.c_str();

  char key[pc::kTextSize + 1];
  char value[pc::kTextSize + 1];
  key[pc::kTextSize] = 'G';
  value[pc::kTextSize] = 'G';
  const int result = pc::read_line(item, key, value);
  if (key[pc::kTextSize] != 'G' || value[pc::kTextSize] != 'G') std::abort();
  if (std::strlen(key) >= pc::kTextSize || std::strlen(value) >= pc::kTextSize) std::abort();
  if (result != 0 && result != 1) std::abort();

  if (std::strlen(item) <= pc::kTextSize - 1) {
    const Pair plain = plain_reading(item);
    if (plain.key != key || plain.value != value || plain.result != result) std::abort();
  }

  if (get_equal_after_ldap(item) != result) std::abort();
  if (std::strcmp(parameterA, key) != 0 || std::strcmp(parameterA_value, value) != 0) std::abort();
  const int digits = is_value_digits();
  if (digits != (std::strspn(value, "0123456789") == std::strlen(value) ? 1 : 0)) std::abort();

  const bool ipv4 = is_ipv4_addr(item) == 0;
  if (ipv4 != plain_ipv4(item)) std::abort();
  const std::string_view sv(item);
  if ((isZero_or_one(item) == 1) != (sv == "0" || sv == "1")) std::abort();
  if (isTwoLine(item) != isZero_or_one(item)) std::abort();
  if ((isFourLine(item) == 1) != (sv == "0" || sv == "1" || sv == "2" || sv == "3")) std::abort();
  if ((is_network_cfg(item) == 1) !=
      (sv.find("Network") != std::string_view::npos || sv.find("Static") != std::string_view::npos))
    std::abort();
  pc::board_atoi(item);

  // The backlight's duty cycle on any two integers: the fixed ends hold,
  // and the rest is a number (UBSan watches the conversions).
  if (size >= 8) {
    int32_t level = 0;
    int32_t floor = 0;
    std::memcpy(&level, data, 4);
    std::memcpy(&floor, data + 4, 4);
    if (change_backlight(0, floor) != 100 || change_backlight(100, floor) != floor) std::abort();
    change_backlight(level, floor);
  }
  return 0;
}
