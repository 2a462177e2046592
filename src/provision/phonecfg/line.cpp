// Reader of one phone.cfg line or URI item, and the value tests.

#include "provision/phonecfg/line.h"

#include <cmath>
#include <cstring>

#include "base/json.h"

namespace phonecore::phonecfg {

namespace {

// Appends c to a half of the pair unless it is full: the count that
// drives the skip rule goes on all the same, so that an over-long line is
// cut, not read differently.
void append(char* half, size_t& length, char c) {
  if (length < kTextSize - 1) half[length] = c;
  ++length;
}

}  // namespace

int read_line(const char* item, char* key, char* value) {
  std::memset(key, 0, kTextSize);
  std::memset(value, 0, kTextSize);
  if (item == nullptr) return 0;
  if (item[0] == '#') return 1;

  size_t key_length = 0;
  size_t value_length = 0;
  int stored = 0;  // key and value characters together, not reset at '='
  bool in_value = false;
  for (const char* p = item; *p != '\0' && *p != '\n'; ++p) {
    const char c = *p;
    if (c == '\t') continue;
    if (c == '&' && stored == 0) continue;
    if (!in_value) {
      if (c == ' ') continue;
      if (c == '=') {
        in_value = true;
        continue;
      }
      append(key, key_length, c);
    } else {
      if (c == ' ' && value_length == 0) continue;
      append(value, value_length, c);
    }
    ++stored;
    // Past 62 stored characters every stored one costs two input
    // characters. The terminator is never skipped; an LF is.
    if (stored > kSkipAfter && p[1] != '\0') ++p;
  }
  return value_length > 0 ? 1 : 0;
}

bool is_ipv4(const char* text) {
  if (text == nullptr || text[0] == '\0' || text[0] == '0') return false;
  int dots = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p == '.') ++dots;
    else if (*p < '0' || *p > '9') return false;
  }
  if (dots != 3) return false;
  const char* field = text;
  for (int i = 0; i < 4; ++i) {
    const char* end = std::strchr(field, '.');
    const size_t length = end != nullptr ? static_cast<size_t>(end - field) : std::strlen(field);
    if (length == 0 || length > 3) return false;
    if (field[0] == '0' && length != 1) return false;
    int number = 0;
    for (size_t k = 0; k < length; ++k) number = number * 10 + (field[k] - '0');
    if (number > 255) return false;
    field += length + 1;
  }
  return true;
}

bool is_zero_or_one(const char* text) {
  return text != nullptr && (std::strcmp(text, "0") == 0 || std::strcmp(text, "1") == 0);
}

bool is_zero_to_three(const char* text) {
  return text != nullptr && text[0] >= '0' && text[0] <= '3' && text[1] == '\0';
}

bool all_digits(const char* text) {
  if (text == nullptr) return false;
  for (const char* p = text; *p != '\0'; ++p)
    if (*p < '0' || *p > '9') return false;
  return true;
}

bool names_network(const char* key) {
  return key != nullptr && (std::strstr(key, "Network") != nullptr || std::strstr(key, "Static") != nullptr);
}

int board_atoi(const char* text) { return json::text_to_int(text); }

int backlight_duty(int level, int floor) {
  if (level == 0) return 100;
  if (level == 100) return floor;
  // In double precision, as the board computes it; a floor of 100 makes
  // the step infinite, so the level itself is the index.
  const double span = 100.0 - floor;
  const double step = span != 0.0 ? 100.0 / span : HUGE_VAL;
  const double index = level > step ? std::trunc(level / step) : static_cast<double>(level);
  const double duty = 99.0 - index;
  // Out of int's range only for absurd floors; cut there rather than
  // convert out of range.
  if (duty >= 2147483647.0) return 2147483647;
  if (duty <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int>(duty);
}

}  // namespace phonecore::phonecfg
