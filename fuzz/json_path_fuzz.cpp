// The JSON path helpers on arbitrary JSON and keys. Input: up to four
// lines of keys, then the JSON text.

#include <json-c/json.h>

#include <cstdint>
#include <string>
#include <vector>

#include "phonecore/json_msg.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string in(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> keys;
  size_t pos = 0;
  while (keys.size() < 4) {
    size_t nl = in.find('\n', pos);
    if (nl == std::string::npos) break;
    keys.push_back(in.substr(pos, nl - pos));
    pos = nl + 1;
  }
  while (keys.size() < 4) keys.push_back("data");
  json_object* root = json_tokener_parse(in.c_str() + pos);
  const char* k0 = keys[0].c_str();
  const char* k1 = keys[1].c_str();
  const char* k2 = keys[2].c_str();
  const char* k3 = keys[3].c_str();

  (void)get_string_from_json(root, 1, k0);
  (void)get_string_from_json_rl(root, 2, k0, k1);
  (void)get_int_from_json_rl(root, 3, k0, k1, k2);
  (void)get_int_from_char_json(root, 2, k1, k2);
  (void)get_jobj_from_json(root, 0);
  const char* all[] = {k0, k1, k2, k3};
  (void)get_json_obj(root, 4, all);

  if (root != nullptr) {
    set_string_to_json(root, k3, k2, 2, k0, k1);
    set_int_to_json(root, k3, 7, 1, k0);
    set_string_to_json2(root, k3, k0, 2, k1, k2);
    set_int_to_json2(root, k2, -1, 3, k0, k1, k3);
    set_obj_to_json(root, k1, json_object_new_array(), 1, k2);
    json_object* array = get_jobj_from_json(root, 1, k0);
    if (array == nullptr) array = root;
    if (json_object_is_type(array, json_type_array)) {
      std::vector<int> ints(JSON_INT_LIST_MAX);
      int count = 0;
      get_int_list_from_array(array, ints.data(), &count);
      json_object_put(get_obj_list_from_array(ints.data(), count));
    }
    for (int mode = 0; mode < 3; ++mode)
      api_json_arry_parse(
          array, mode, k1, k2, 3, [](json_object*, int, void*) { return 0; }, nullptr);
  }
  // The message text takes the whole object over; it is cut at the room of
  // the buffer.
  std::string text(JSON_MSG_TEXT_MAX, '\0');
  int length = 0;
  make_simple_send_msg(k0, root, text.data(), &length);
  return 0;
}
