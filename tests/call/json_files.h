// JSON helpers of the call tests.
#pragma once

#include <json-c/json.h>

#include <string>

#include "phonecore/config.h"

namespace phonecore::testing {

// Writes JSON text as a file through the configuration service.
inline void write_json_text(const char* path, const char* text) {
  json_object* o = json_tokener_parse(text);
  write_gnl_config_json(path, o);
  json_object_put(o);
}

// The plain printed form of a JSON text, to compare content without layout.
inline std::string plain_json(const std::string& text) {
  json_object* o = json_tokener_parse(text.c_str());
  std::string out = o != nullptr ? json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN) : "(not JSON)";
  json_object_put(o);
  return out;
}

}  // namespace phonecore::testing
