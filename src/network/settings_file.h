// What the settings calls of the network share: the JSON files they read
// through the configuration service, the member objects they change, and
// the shell commands they run.
#pragma once

#include <json-c/json.h>

#include <cstdlib>
#include <string>

#include "base/json.h"
#include "phonecore/config.h"

namespace phonecore::network {

// The file's object below /appconfigs, or null.
inline json::Owned read_settings(const char* path) { return json::Owned(read_gnl_config_json(path)); }

inline bool is_object(const json::Owned& o) { return o != nullptr && json_object_is_type(o.get(), json_type_object); }

// The member object of root, made (or replacing a value that isn't an
// object) when needed.
inline json_object* object_member(json_object* root, const char* key) {
  json_object* member = json::at(root, key);
  if (member == nullptr || !json_object_is_type(member, json_type_object)) {
    member = json_object_new_object();
    json::put(root, key, member);
  }
  return member;
}

// A shell command; its result is not looked at by the callers.
inline int run_shell(const std::string& command) { return std::system(command.c_str()); }

}  // namespace phonecore::network
