// Action URL templates and values of any bytes through the replacements:
// the event variables, one variable of the input's choice, and the stored
// variables of both passes (with stored values that fill their field to the
// last byte). Each result must stay within the 640-byte room, terminated,
// and one replacement must equal a plain model of it: the first occurrence
// swapped, the whole cut at 639 characters.
//
// The input is split at byte 0x01 into: the template, a variable, the ten
// event values, the four stored values. "$ip" is spoilt in the template of
// the stored pass: its address comes from the network service, which a
// fuzzer outside the phone box must not ask.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "phonecore/action_url.h"

namespace {

constexpr size_t kRoom = ACTION_URL_SIZE;

void check_room(const char (&url)[kRoom + 8]) {
  if (strnlen(url, kRoom) >= kRoom) __builtin_trap();
  for (size_t i = kRoom; i < sizeof url; ++i)
    if (url[i] != '\x5a') __builtin_trap();  // nothing written past the room
}

void load(char (&url)[kRoom + 8], const std::string& text) {
  std::memset(url, 0x5a, sizeof url);
  const size_t n = strnlen(text.c_str(), kRoom - 1);
  std::memcpy(url, text.data(), n);
  url[n] = '\0';
}

// The model of url_replace_special_string.
std::string model(std::string url, const std::string& variable, const char* value) {
  url = url.substr(0, strnlen(url.c_str(), kRoom - 1));
  if (variable.empty() || value == nullptr || value[0] == '\0' || std::strlen(value) > ACTION_URL_VALUE_MAX) return url;
  const size_t at = url.find(variable);
  if (at == std::string::npos) return url;
  url.replace(at, variable.size(), value);
  return url.substr(0, kRoom - 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
  (void)quiet;

  std::vector<std::string> fields(1);
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0x01 && fields.size() < 16) fields.emplace_back();
    else fields.back() += static_cast<char>(data[i]);
  }
  fields.resize(16);
  // Texts as C sees them: up to the first NUL. An empty event value is
  // given as null every other time.
  const char* values[10];
  for (size_t i = 0; i < 10; ++i) values[i] = (fields[2 + i].empty() && (size & 1)) ? nullptr : fields[2 + i].c_str();

  char url[kRoom + 8];

  load(url, fields[0]);
  const std::string expected = model(url, fields[1].c_str(), values[0]);
  url_replace_special_string(url, fields[1].c_str(), values[0]);
  check_room(url);
  if (expected != url) __builtin_trap();

  load(url, fields[0]);
  set_call_status_to_url(url, values[0], values[1], values[2], values[3], values[4], values[5], values[6], values[7],
                         values[8], values[9]);
  check_room(url);

  // Stored values from the input, a full field unterminated when it is long.
  const int rows[4] = {0, 1, 3, 4};
  for (size_t i = 0; i < 4; ++i) {
    char* field = my_action_url_conf[rows[i]].value;
    const size_t room = sizeof my_action_url_conf[0].value;
    std::memset(field, 0, room);
    std::memcpy(field, fields[12 + i].data(), fields[12 + i].size() < room ? fields[12 + i].size() : room);
  }
  std::string stored_template = fields[0];
  for (size_t at = stored_template.find("$ip"); at != std::string::npos; at = stored_template.find("$ip", at))
    stored_template[at + 1] = 'I';
  load(url, stored_template);
  url_replace_normal_string_without_speakthing(url);
  check_room(url);
  load(url, stored_template);
  url_replace_normal_string(url);
  check_room(url);
  return 0;
}
