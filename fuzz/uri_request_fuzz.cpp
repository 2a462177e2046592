// Action URI requests of any bytes: the request parser, the form check,
// the key words' split, the field split of one word, the key table and the
// settings items in both bracket forms. Each global must stay within its
// rows and terminated, and a few rules are checked against plain models:
// a parsed URL is the bytes between the skipped first character and
// " HTTP", a key row never holds ';', a field never holds a separator.
//
// Nothing here reaches the bus or a file: the words are split, not run.
#include <cstdint>
#include <cstring>
#include <string>

#include "phonecore/action_uri.h"

namespace {

template <size_t Rows, size_t Size>
void check_rows(const char (&rows)[Rows][Size], int count) {
  if (count < 0 || static_cast<size_t>(count) > Rows) __builtin_trap();
  for (size_t i = 0; i < Rows; ++i)
    if (strnlen(rows[i], Size) >= Size) __builtin_trap();
}

void check_field(const char* field) {
  if (strnlen(field, ACTION_URI_FIELD_SIZE) >= ACTION_URI_FIELD_SIZE) __builtin_trap();
  if (std::strpbrk(field, "=&:") != nullptr) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);  // terminated at size

  ActionUriRequest request;
  const int parsed = parse_url(&request, text.c_str());
  if (parsed != 0 && parsed != 1) __builtin_trap();
  if (strnlen(request.url, sizeof request.url) >= sizeof request.url) __builtin_trap();
  if (request.method != 0 && request.method != 1) __builtin_trap();
  if (parsed == 0 && request.url[0] != '\0') {
    // The URL is the bytes behind the method and the skipped character.
    const size_t skip = text.starts_with("GET ") ? 5 : 6;
    if (text.compare(skip, std::strlen(request.url), request.url) != 0) __builtin_trap();
    if (text.compare(skip + std::strlen(request.url), 5, " HTTP") != 0) __builtin_trap();
  }

  const int key_form = check_format(text.c_str(), "servlet?key=");
  if (key_form == 0 && !text.starts_with("servlet?key=")) __builtin_trap();
  if (key_form != 0 && key_form != -1) __builtin_trap();
  check_format(request.url, "servlet?phonecfg=");

  init_key_method(text.c_str());
  check_rows(key_method, key_method_count);
  for (int i = 0; i < key_method_count; ++i) {
    if (std::strchr(key_method[i], ';') != nullptr) __builtin_trap();
    const int code = is_keyboard_method(key_method[i]);
    if (code < 0 || code > 255) __builtin_trap();
    get_equal_value(key_method[i]);
    for (const char* f : {equal1, equal2, equal3, equal4, equal5, equal6}) check_field(f);
  }
  if (key_method_count > 0 && std::strstr(text.c_str(), "key=") == nullptr) __builtin_trap();

  get_equal_value(text.c_str());
  for (const char* f : {equal1, equal2, equal3, equal4, equal5, equal6}) check_field(f);
  if (is_keyboard_method(text.c_str()) < 0) __builtin_trap();

  const int method = get_cfg_method(text.c_str());
  if (method < -1 || method > 1) __builtin_trap();
  get_cfg_value(text.c_str());
  check_rows(cfg_method, cfg_count);
  for (int i = 0; i < cfg_count; ++i)
    if (std::strchr(cfg_method[i], ']') != nullptr) __builtin_trap();
  get_cfg_value1(text.c_str());
  check_rows(cfg_method, cfg_count);
  return 0;
}
