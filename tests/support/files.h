// Whole-file reads for tests in the box.
#pragma once

#include <json-c/json.h>
#include <sys/stat.h>

#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>

namespace phonecore::testing {

// The file's bytes; empty when it can't be read.
inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// The text of a member of a JSON file below /appconfigs, by its path of
// keys; "<absent>" when a part is missing or the file doesn't parse.
inline std::string text_at(const std::string& file, std::initializer_list<const char*> path) {
  json_object* root = json_tokener_parse(slurp("/appconfigs/" + file).c_str());
  json_object* o = root;
  for (const char* key : path)
    if (o == nullptr || !json_object_object_get_ex(o, key, &o)) o = nullptr;
  std::string out = o != nullptr ? json_object_get_string(o) : "<absent>";
  json_object_put(root);
  return out;
}

// Writes the bytes as the whole file; false when it can't be written.
inline bool write_file(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  return static_cast<bool>(out.flush());
}

// Whether anything stands at the path (a file, a folder, a device).
inline bool exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

// The text of a member by a JSON pointer ("/AccountRegister/0/AccountUserName"),
// so that array elements can be named; "<absent>" as above.
inline std::string text_at_pointer(const std::string& file, const char* pointer) {
  json_object* root = json_tokener_parse(slurp("/appconfigs/" + file).c_str());
  json_object* o = nullptr;
  std::string out = "<absent>";
  if (root != nullptr && json_pointer_get(root, pointer, &o) == 0 && o != nullptr) out = json_object_get_string(o);
  json_object_put(root);
  return out;
}

}  // namespace phonecore::testing
