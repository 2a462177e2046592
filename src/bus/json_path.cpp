// The exported path helpers and the small builders of bus messages: thin
// wrappers over the JSON toolkit. A path is a count of keys followed by the
// keys; the keys are walked straight from the argument list, so their
// number needs no buffer.

#include <json-c/json.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "base/json.h"
#include "bus/json_msg_internal.h"
#include "phonecore/json_msg.h"

namespace json = phonecore::json;

namespace {

// Walks count keys from the argument list; null at the first missing key
// or at a part that is not an object.
json_object* walk(json_object* o, int count, va_list keys) {
  for (int i = 0; i < count && o != nullptr; ++i) o = json::step(o, va_arg(keys, const char*));
  return o;
}

// As walk, but creates missing objects on the way.
json_object* walk_creating(json_object* o, int count, va_list keys) {
  for (int i = 0; i < count && o != nullptr; ++i) o = json::step_creating(o, va_arg(keys, const char*));
  return o;
}

// Walks the path (creating missing objects when asked) and adds or replaces
// the member there; takes over value. -1 when the path is missing.
int set_by_path(json_object* o, const char* key, json_object* value, int count, va_list keys, bool create) {
  json_object* target = create ? walk_creating(o, count, keys) : walk(o, count, keys);
  return json::put(target, key, value);
}

// The message text into buffer (JSON_MSG_TEXT_MAX bytes; a longer text is
// cut there, terminated); the whole message is released, and with it data.
int message_text(json_object* message, char* buffer, int* length) {
  const char* text = json_object_get_string(message);
  int r = -1;
  if (text != nullptr && buffer != nullptr) {
    const size_t n = strnlen(text, JSON_MSG_TEXT_MAX - 1);
    std::memcpy(buffer, text, n);
    buffer[n] = 0;
    if (length != nullptr) *length = static_cast<int>(n);
    r = 0;
  }
  json_object_put(message);
  return r;
}

json_object* new_message(const char* name, json_object* data) {
  json_object* m = json_object_new_object();
  json_object_object_add(m, "msgtype", json::new_text(name));
  if (data != nullptr) json_object_object_add(m, "data", data);
  return m;
}

}  // namespace

namespace phonecore::bus {

int build_message(const char* name, json_object* data, char* buffer, size_t capacity, int* length) {
  json_object* m = new_message(name, data);
  const char* text = json_object_get_string(m);
  int r = -1;
  if (text != nullptr && buffer != nullptr && capacity > 0) {
    const size_t n = std::min(std::strlen(text), capacity - 1);
    std::memcpy(buffer, text, n);
    buffer[n] = 0;
    if (length != nullptr) *length = static_cast<int>(n);
    r = 0;
  }
  json_object_put(m);
  return r;
}

}  // namespace phonecore::bus

extern "C" {

json_object* get_json_obj(json_object* o, int count, const char** keys) noexcept {
  for (int i = 0; i < count && o != nullptr; ++i) o = keys != nullptr ? json::step(o, keys[i]) : nullptr;
  return o;
}

json_object* get_jobj_from_json(json_object* o, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  json_object* r = walk(o, count, keys);
  va_end(keys);
  return r;
}

const char* get_string_from_json(json_object* o, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  json_object* r = walk(o, count, keys);
  va_end(keys);
  return r != nullptr ? json_object_get_string(r) : nullptr;
}

const char* get_string_from_json_rl(json_object* o, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  json_object* r = walk(o, count, keys);
  va_end(keys);
  return r != nullptr ? json_object_get_string(r) : nullptr;
}

int get_int_from_json_rl(json_object* o, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  json_object* r = walk(o, count, keys);
  va_end(keys);
  return r != nullptr ? json_object_get_int(r) : 0;
}

int get_int_from_char_json(json_object* o, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  json_object* r = walk(o, count, keys);
  va_end(keys);
  const char* text = r != nullptr ? json_object_get_string(r) : nullptr;
  return text != nullptr ? atoi(text) : 0;
}

int set_string_to_json(json_object* o, const char* key, const char* value, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  const int r = set_by_path(o, key, json::new_text(value), count, keys, false);
  va_end(keys);
  return r;
}

int set_int_to_json(json_object* o, const char* key, int value, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  const int r = set_by_path(o, key, json_object_new_int(value), count, keys, false);
  va_end(keys);
  return r;
}

int set_string_to_json2(json_object* o, const char* key, const char* value, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  const int r = set_by_path(o, key, json::new_text(value), count, keys, true);
  va_end(keys);
  return r;
}

int set_int_to_json2(json_object* o, const char* key, int value, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  const int r = set_by_path(o, key, json_object_new_int(value), count, keys, true);
  va_end(keys);
  return r;
}

int set_obj_to_json(json_object* o, const char* key, json_object* member, int count, ...) noexcept {
  va_list keys;
  va_start(keys, count);
  const int r = set_by_path(o, key, member, count, keys, false);
  va_end(keys);
  return r;
}

int get_int_list_from_array(json_object* array, int* dest, int* count) noexcept {
  if (array == nullptr || !json_object_is_type(array, json_type_array)) return -1;
  // The destination's room is JSON_INT_LIST_MAX; *count is the number
  // stored.
  const size_t n = dest != nullptr ? std::min<size_t>(json_object_array_length(array), JSON_INT_LIST_MAX) : 0;
  for (size_t i = 0; i < n; ++i) dest[i] = json_object_get_int(json_object_array_get_idx(array, i));
  if (count != nullptr) *count = static_cast<int>(n);
  return 0;
}

json_object* get_obj_list_from_array(const int* values, int count) noexcept {
  json_object* array = json_object_new_array();
  for (int i = 0; values != nullptr && i < count; ++i) json_object_array_add(array, json_object_new_int(values[i]));
  return array;
}

int api_json_arry_parse(json_object* array, int mode, const char* key, const char* text, int number,
                        int (*callback)(json_object*, int, void*), void* user) noexcept {
  if (array == nullptr || !json_object_is_type(array, json_type_array)) return 0;
  bool matched = false;
  const size_t n = json_object_array_length(array);
  for (size_t i = 0; i < n; ++i) {
    json_object* member = json_object_array_get_idx(array, i);
    json_object* value = nullptr;
    const bool has = key != nullptr && json_object_object_get_ex(member, key, &value);
    bool hit = false;
    if (mode == 0) {
      const char* s = has ? json_object_get_string(value) : nullptr;
      hit = s != nullptr && text != nullptr && std::strcmp(s, text) == 0;
    } else if (mode == 1) {
      hit = has && json_object_get_int(value) == number;
    }
    if (mode != 0 && mode != 1) {
      if (callback != nullptr) callback(member, static_cast<int>(i), user);
    } else if (hit) {
      matched = true;
      if (callback != nullptr) callback(member, static_cast<int>(i), user);
    }
  }
  return matched ? 0 : -1;
}

json_object* make_simple_data(int n, ...) noexcept {
  if (n % 2 != 0 || n < 0) return nullptr;
  json::Builder o;
  va_list args;
  va_start(args, n);
  for (int i = 0; i < n / 2; ++i) {
    const char* key = va_arg(args, const char*);
    const char* value = va_arg(args, const char*);
    if (key != nullptr) o.text(key, value);
  }
  va_end(args);
  return o.release();
}

json_object* make_simple_data2(int n, ...) noexcept {
  if (n % 3 != 0 || n < 0) return nullptr;
  json::Builder o;
  va_list args;
  va_start(args, n);
  for (int i = 0; i < n / 3; ++i) {
    const int flag = va_arg(args, int);
    const char* key = va_arg(args, const char*);
    o.member(key, flag != 0 ? json_object_new_int(va_arg(args, int)) : json::new_text(va_arg(args, const char*)));
  }
  va_end(args);
  return o.release();
}

int make_simple_send_msg(const char* name, json_object* data, char* buffer, int* length) noexcept {
  return message_text(new_message(name, data), buffer, length);
}

int make_simple_request(const char* name, json_object* data, char* buffer) noexcept {
  message_text(new_message(name, data), buffer, nullptr);
  return 0;
}

int make_simple_response(int, const char* name, const char* status, json_object* data, char* buffer) noexcept {
  json_object* m = json_object_new_object();
  json_object_object_add(m, "msgtype", json::new_text(name));
  json_object_object_add(m, "status", json::new_text(status));
  if (data != nullptr) json_object_object_add(m, "data", data);
  message_text(m, buffer, nullptr);
  return 0;
}

}  // extern "C"
