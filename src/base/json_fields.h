// Fixed text fields filled from JSON, and arrays that may be absent: the
// small readers that the dial tables and the call-control files share.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace phonecore::base {

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

// The length of an array; 0 for anything that isn't one, so that a damaged
// file can't stop the process.
inline size_t array_length(json_object* array) {
  return json_object_is_type(array, json_type_array) ? json_object_array_length(array) : 0;
}

// A member of an array, or null past its end or for a non-array.
inline json_object* array_at(json_object* array, size_t index) {
  return index < array_length(array) ? json_object_array_get_idx(array, index) : nullptr;
}

}  // namespace phonecore::base
