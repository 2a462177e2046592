// Small readers of the dial files' JSON, shared by the rule tables and the
// key bindings: members that may be absent, texts copied into fixed
// fields, numbers kept as decimal text.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "base/json_fields.h"

namespace phonecore::dial {

// A member of an object, or null when the object or the member is absent.
inline json_object* member(json_object* object, const char* key) {
  json_object* value = nullptr;
  if (object == nullptr || !json_object_object_get_ex(object, key, &value)) return nullptr;
  return value;
}

// A member's text; null when absent. Numbers read as their decimal text.
inline const char* member_text(json_object* object, const char* key) {
  json_object* value = member(object, key);
  return value != nullptr ? json_object_get_string(value) : nullptr;
}

// The "data" array of a section, or null when either is absent or the
// member isn't an array.
inline json_object* data_array(json_object* root, const char* section) {
  json_object* data = member(member(root, section), "data");
  return data != nullptr && json_object_is_type(data, json_type_array) ? data : nullptr;
}

using phonecore::base::array_length;

using phonecore::base::copy_text;

// atoi's reading of a text (blanks, a sign, digits), held within int.
inline int text_to_int(const char* text) {
  if (text == nullptr) return 0;
  const long value = std::strtol(text, nullptr, 10);
  return value > 0x7fffffffL ? 0x7fffffff : value < -0x7fffffffL ? -0x7fffffff : static_cast<int>(value);
}

}  // namespace phonecore::dial
