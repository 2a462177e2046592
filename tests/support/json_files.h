// JSON files for tests: written through the configuration service, and
// compared by content rather than layout.
#pragma once

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <string>

#include "phonecore/config.h"

namespace phonecore::testing {

// Writes JSON text as a file through the configuration service; a failure
// of the test (which goes on) when the text doesn't parse or the write
// fails.
inline void write_json_text(const char* path, const std::string& text) {
  json_object* o = json_tokener_parse(text.c_str());
  if (o == nullptr) {
    ADD_FAILURE() << "not JSON: " << text;
    return;
  }
  EXPECT_EQ(write_gnl_config_json(path, o), 0) << path;
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
