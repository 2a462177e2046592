// Any JSON through the network setters' edits, any port list of 0 to 128
// ports into the firewall's lists, any L2TP options file through the
// credentials rewrite: no crash, the edited members are what was set, a
// firewall list never grows past its maximum, and the rewrite keeps every
// line that names neither the user nor the password.
//
// Input: byte 0: open flag (bit 0), port count (bits 1 to 7, 0 to 127,
// 128 when all set); then that many 16-bit ports; then a text up to the
// first "\n--\n": the JSON; the rest: the options file.

#include <json-c/json.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "network/settings_edit.h"
#include "phonecore/web_config.h"

namespace pn = phonecore::network;

namespace {

std::string text_at(json_object* root, const char* object, const char* key) {
  json_object* o = nullptr;
  json_object* v = nullptr;
  if (!json_object_object_get_ex(root, object, &o) || !json_object_object_get_ex(o, key, &v)) return "<absent>";
  return json_object_get_string(v);
}

json_object* parse(std::string_view text) {
  json_object* root = json_tokener_parse(std::string(text).c_str());
  if (root == nullptr || !json_object_is_type(root, json_type_object)) {
    json_object_put(root);
    root = json_object_new_object();
  }
  return root;
}

// The edited list (of mode 0 or 1) holds at most the maximum, whatever the
// file held: the edit reads no more than that.
void check_firewall(json_object* root) {
  json_object* firewall = nullptr;
  json_object* mode = nullptr;
  if (!json_object_object_get_ex(root, "firewall", &firewall)) __builtin_trap();
  json_object_object_get_ex(firewall, "mode", &mode);
  const int m = json_object_get_int(mode);
  if (m != 0 && m != 1) return;
  json_object* list = nullptr;
  if (json_object_object_get_ex(firewall, m == 0 ? "tcp_allow_list" : "tcp_deny_list", &list) &&
      json_object_is_type(list, json_type_array) && json_object_array_length(list) > PHONECORE_FIREWALL_MAX_PORTS)
    __builtin_trap();
}

void rewrite(std::string_view options, const char* user, const char* password) {
  FILE* in = fmemopen(const_cast<char*>(options.data()), options.size(), "r");
  if (in == nullptr) return;
  char* out_text = nullptr;
  size_t out_size = 0;
  FILE* out = open_memstream(&out_text, &out_size);
  if (out == nullptr) {
    std::fclose(in);
    return;
  }
  if (pn::rewrite_l2tp_options(in, out, user, password) != 0) __builtin_trap();
  std::fclose(in);
  std::fclose(out);
  // Every line of the output without "name "/"password " came from the input.
  const std::string_view written(out_text, out_size);
  if (written.find("name ") == std::string_view::npos && written.find("password ") == std::string_view::npos &&
      options.find('\0') == std::string_view::npos && options.find("name ") == std::string_view::npos &&
      options.find("password ") == std::string_view::npos && written != options)
    __builtin_trap();
  std::free(out_text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const int open = data[0] & 1;
  const size_t count = (data[0] >> 1) == 127 ? 128 : (data[0] >> 1);
  size_t at = 1;
  std::vector<int> ports;
  for (size_t i = 0; i < count && at + 2 <= size; ++i, at += 2) ports.push_back(data[at] | (data[at + 1] << 8));
  const std::string_view rest(reinterpret_cast<const char*>(data) + at, size - at);
  const size_t cut = rest.find("\n--\n");
  const std::string_view json_text = rest.substr(0, cut);
  const std::string_view options = cut == std::string_view::npos ? std::string_view() : rest.substr(cut + 4);

  json_object* root = parse(json_text);
  // A C text: up to its first zero byte.
  const std::string value(json_text.substr(0, std::min<size_t>(200, json_text.find('\0'))));
  pn::edit_wan_dhcp(root, open != 0, value, "192.0.2.53");
  if (text_at(root, "wan", "mode") != "dhcp" || text_at(root, "br0", "dns1") != value) __builtin_trap();
  pn::edit_wan_static(root, {value, "255.255.255.0", "192.0.2.1", "", value});
  if (text_at(root, "br0", "mode") != "static_ip" || text_at(root, "wan", "dns2") != value) __builtin_trap();
  pn::edit_nat(root, open, value.c_str(), value.c_str());
  if (text_at(root, "NetworkNAT", "NatSTUNServer").size() > 63) __builtin_trap();
  pn::edit_vlan(root, open, value.c_str(), value.c_str());
  const std::string priority = text_at(root, "NetworkAdvanced", "VlanWanPriority");
  if (priority.size() != 1 || priority[0] < '0' || priority[0] > '7') __builtin_trap();
  json_object_put(root);

  // The firewall's edit on the file as it came.
  root = parse(json_text);
  const bool write = pn::edit_firewall(root, ports.data(), static_cast<int>(ports.size()), open);
  if (write) check_firewall(root);
  json_object_put(root);

  const std::string user(value.substr(0, 40));
  rewrite(options, user.c_str(), value.c_str());
  return 0;
}
