// The one JSON toolkit of the library, over json-c:
//
//   json::Owned        owns a json_object and releases it with json_object_put
//   json::at(o, k...)  walks a path of keys; the compiler counts them
//   json::text, json::integer, json::text_integer
//                      typed readers of a path (null, 0 and 0 when absent)
//   json::length, json::element
//                      arrays that may be absent or not arrays at all
//   json::set, json::set_creating
//                      add or replace a member at the end of a path
//   json::Builder      a small object builder: text and integer members
//   json::copy_text    bounded copy of a text into a fixed field
//
// A path step fails (null) at a missing key, at a null key, and at a part
// that is not an object. The exported path helpers of the bus
// (get_string_from_json and its sisters, make_simple_data2 ...) are thin
// wrappers over these; code inside the library calls these directly.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>

namespace phonecore::json {

struct Release {
  void operator()(json_object* o) const noexcept { json_object_put(o); }
};
using Owned = std::unique_ptr<json_object, Release>;

// One step of a path: the member key of an object, or null.
inline json_object* step(json_object* o, const char* key) {
  json_object* next = nullptr;
  if (o == nullptr || key == nullptr || !json_object_is_type(o, json_type_object) ||
      !json_object_object_get_ex(o, key, &next))
    return nullptr;
  return next;
}

// As step, but a missing member is created as an empty object.
inline json_object* step_creating(json_object* o, const char* key) {
  if (o == nullptr || key == nullptr || !json_object_is_type(o, json_type_object)) return nullptr;
  json_object* next = nullptr;
  if (!json_object_object_get_ex(o, key, &next)) {
    next = json_object_new_object();
    json_object_object_add(o, key, next);
  }
  return next;
}

template <typename... Keys>
json_object* at(json_object* o, Keys... keys) {
  static_assert((std::is_convertible_v<Keys, const char*> && ...), "a path is made of texts");
  ((o = step(o, keys)), ...);
  return o;
}

// Whether an object has the member, even one whose value is null.
inline bool has(json_object* o, const char* key) {
  return key != nullptr && json_object_is_type(o, json_type_object) && json_object_object_get_ex(o, key, nullptr);
}

template <typename... Keys>
json_object* at_creating(json_object* o, Keys... keys) {
  static_assert((std::is_convertible_v<Keys, const char*> && ...), "a path is made of texts");
  ((o = step_creating(o, keys)), ...);
  return o;
}

// The text of the value at the path; numbers read as their decimal text.
// Null when absent. The text belongs to the object.
template <typename... Keys>
const char* text(json_object* o, Keys... keys) {
  json_object* v = at(o, keys...);
  return v != nullptr ? json_object_get_string(v) : nullptr;
}

// json-c's integer reading of the value at the path; 0 when absent.
template <typename... Keys>
int integer(json_object* o, Keys... keys) {
  json_object* v = at(o, keys...);
  return v != nullptr ? json_object_get_int(v) : 0;
}

// atoi of the text at the path; 0 when absent.
template <typename... Keys>
int text_integer(json_object* o, Keys... keys) {
  const char* t = text(o, keys...);
  return t != nullptr ? atoi(t) : 0;
}

// The length of an array; 0 for anything that isn't one, so that a damaged
// file can't stop the process.
inline size_t length(json_object* array) {
  return json_object_is_type(array, json_type_array) ? json_object_array_length(array) : 0;
}

// A member of an array, or null past its end or for a non-array.
inline json_object* element(json_object* array, size_t index) {
  return index < length(array) ? json_object_array_get_idx(array, index) : nullptr;
}

// The array at the path, or null when absent or not an array.
template <typename... Keys>
json_object* array(json_object* o, Keys... keys) {
  json_object* a = at(o, keys...);
  return json_object_is_type(a, json_type_array) ? a : nullptr;
}

// Adds or replaces member key of target and takes over value. -1 when the
// target is not an object; value is released then.
inline int put(json_object* target, const char* key, json_object* value) {
  if (target == nullptr || key == nullptr || !json_object_is_type(target, json_type_object)) {
    json_object_put(value);
    return -1;
  }
  json_object_object_add(target, key, value);
  return 0;
}

// put at the end of a path that must exist.
template <typename... Keys>
int set(json_object* o, const char* key, json_object* value, Keys... path) {
  return put(at(o, path...), key, value);
}

// put at the end of a path whose missing objects are created.
template <typename... Keys>
int set_creating(json_object* o, const char* key, json_object* value, Keys... path) {
  return put(at_creating(o, path...), key, value);
}

inline json_object* new_text(const char* value) { return json_object_new_string(value != nullptr ? value : ""); }

// An object built member by member; a null text is stored as "".
class Builder {
 public:
  Builder() : object_(json_object_new_object()) {}
  Builder& text(const char* key, const char* value) { return member(key, new_text(value)); }
  Builder& integer(const char* key, int value) { return member(key, json_object_new_int(value)); }
  // Takes over value; a null key drops it.
  Builder& member(const char* key, json_object* value) {
    if (key != nullptr) json_object_object_add(object_.get(), key, value);
    else json_object_put(value);
    return *this;
  }
  json_object* get() const { return object_.get(); }
  json_object* release() { return object_.release(); }

 private:
  Owned object_;
};

// Copies at most max_chars characters of text into a field of field_size
// bytes, always terminated. A null text leaves the field as it is.
inline void copy_text(char* field, size_t field_size, const char* text, size_t max_chars = SIZE_MAX) {
  if (field == nullptr || text == nullptr || field_size == 0) return;
  size_t n = std::strlen(text);
  if (n > max_chars) n = max_chars;
  if (n > field_size - 1) n = field_size - 1;
  std::memcpy(field, text, n);
  field[n] = '\0';
}

template <size_t N>
void copy_text(char (&field)[N], const char* text) {
  copy_text(field, N, text);
}

// atoi's reading of a text (blanks, a sign, digits), held within int.
inline int text_to_int(const char* text) {
  if (text == nullptr) return 0;
  const long value = std::strtol(text, nullptr, 10);
  return value > 0x7fffffffL ? 0x7fffffff : value < -0x7fffffffL ? -0x7fffffff : static_cast<int>(value);
}

}  // namespace phonecore::json
