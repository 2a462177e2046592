// The web server's configuration file and restart, the firewall's port
// lists, and single settings of "system.cfg" and "hal.cfg".

#include <json-c/json.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "base/json.h"
#include "bus/command_broadcast.h"
#include "network/settings_edit.h"
#include "network/settings_file.h"
#include "phonecore/config.h"
#include "phonecore/web_config.h"

namespace phonecore::network {
namespace {

namespace json = phonecore::json;

constexpr const char* kNetworkFile = "network.cfg";
constexpr const char* kInternetFile = "default/internet.cfg";
constexpr const char* kSystemFile = "system.cfg";
constexpr const char* kHalFile = "hal.cfg";
constexpr const char* kAdvanced = "NetworkAdvanced";
constexpr int kDefaultHttpPort = 80;
constexpr int kDefaultHttpsPort = 443;
constexpr useconds_t kSedPauseUs = 500;
constexpr useconds_t kRestartPauseUs = 1000;

enum class ListMode { kAllow = 0, kDeny = 1 };
constexpr std::array kListOfMode{"tcp_allow_list", "tcp_deny_list"};

// The ports of a list as stored, at most the maximum; nothing when the
// list is absent or not an array.
std::optional<std::vector<int>> ports_of(json_object* list) {
  if (list == nullptr || !json_object_is_type(list, json_type_array)) return std::nullopt;
  std::vector<int> ports;
  for (size_t i = 0; i < json::length(list) && ports.size() < PHONECORE_FIREWALL_MAX_PORTS; ++i)
    ports.push_back(json_object_get_int(json::element(list, i)));
  return ports;
}

json_object* port_array(const std::vector<int>& ports) {
  json_object* a = json_object_new_array();
  for (int p : ports) json_object_array_add(a, json_object_new_int(p));
  return a;
}

}  // namespace

bool edit_firewall(json_object* root, const int* given, int count, int open) {
  json_object* firewall = object_member(root, "firewall");
  const int mode = json::integer(firewall, "mode");
  // Another mode changes nothing, yet the file is written back as it is.
  if (mode != static_cast<int>(ListMode::kAllow) && mode != static_cast<int>(ListMode::kDeny)) return true;
  const char* key = kListOfMode[static_cast<size_t>(mode)];
  // Opening adds to the allow list and takes from the deny list.
  const bool add = (mode == static_cast<int>(ListMode::kAllow)) == (open != 0);
  auto ports = ports_of(json::at(firewall, key));
  if (!ports) {
    // An unreadable allow list that ports are taken from becomes empty;
    // otherwise the file is left alone.
    if (mode != static_cast<int>(ListMode::kAllow) || open != 0) return false;
    json::put(firewall, key, port_array({}));
    return true;
  }
  for (int i = 0; given != nullptr && i < count; ++i) {
    const int port = given[i];
    if (add) {
      // A full list takes no more.
      if (std::find(ports->begin(), ports->end(), port) == ports->end() && ports->size() < PHONECORE_FIREWALL_MAX_PORTS)
        ports->push_back(port);
    } else {
      std::erase(*ports, port);
    }
  }
  json::put(firewall, key, port_array(*ports));
  return true;
}

namespace {

int set_firewall(const int* given, int count, int open) {
  json::Owned root = read_settings(kNetworkFile);
  if (!is_object(root)) return 0;
  if (edit_firewall(root.get(), given, count, open)) write_gnl_config_json(kNetworkFile, root.get());
  return 0;
}

int change_ports(int http, int https) {
  json::Owned root = read_settings(kNetworkFile);
  if (!is_object(root)) return 0;
  json_object* httpd = object_member(root.get(), "httpd");
  json::put(httpd, "http_port", json_object_new_int(http));
  json::put(httpd, "https_port", json_object_new_int(https));
  write_gnl_config_json(kNetworkFile, root.get());
  run_shell("cp /customer/etc/lighttpd/lighttpd.conf   /appconfigs/lighttpd.conf");
  run_shell("echo \"server.port = " + std::to_string(http) + "\" >>/appconfigs/lighttpd.conf");
  return 0;
}

int get_ports(int* http, int* https) {
  json::Owned root = read_settings(kNetworkFile);
  if (!is_object(root)) return 0;
  if (http != nullptr) *http = json::integer(root.get(), "httpd", "http_port");
  if (https != nullptr) *https = json::integer(root.get(), "httpd", "https_port");
  write_gnl_config_json(kNetworkFile, root.get());
  return 0;
}

int wan_allow(int value) {
  json::Owned root = read_settings(kNetworkFile);
  if (!is_object(root)) return 0;
  json::put(object_member(root.get(), "httpd"), "wan_allow", json_object_new_int(value));
  write_gnl_config_json(kNetworkFile, root.get());
  run_shell("firewall.sh");
  return 0;
}

struct WebType {
  int http_switch, https_switch, http_port, https_port;
};

// The four values as stored; the read is not tested, absent values are 0.
WebType stored_web_type(json_object* root) {
  json_object* o = json::at(root, kAdvanced);
  return {json::text_integer(o, "HttpServerSwitch"), json::text_integer(o, "HttpsServerSwitch"),
          json::text_integer(o, "NetworkhttpPort"), json::text_integer(o, "NetworkhttpsPort")};
}

int get_web_type(int* http_switch, int* https_switch, int* http_port, int* https_port) {
  json::Owned root = read_settings(kInternetFile);
  const WebType t = stored_web_type(root.get());
  if (http_switch != nullptr) *http_switch = t.http_switch;
  if (https_switch != nullptr) *https_switch = t.https_switch;
  if (http_port != nullptr) *http_port = t.http_port;
  if (https_port != nullptr) *https_port = t.https_port;
  return 0;
}

// The template for the servers that stay on.
struct Template {
  bool http_off, https_on;
  const char* command;
};
constexpr std::array kTemplates{
    Template{false, true, "cp /customer/etc/lighttpd/lighttpd.conf /appconfigs/lighttpd.conf"},
    Template{true, true, "cp /customer/etc/lighttpd/lighttpd.conf.no.http /appconfigs/lighttpd.conf"},
    Template{false, false, "cp /customer/etc/lighttpd/lighttpd.conf.no.https /appconfigs/lighttpd.conf"},
    Template{true, false, "cp /customer/etc/lighttpd/lighttpd.conf.no.http.no.https /appconfigs/lighttpd.conf"},
};

// Moves a listener of the template from its default port.
void patch_port(int from, int to) {
  char command[160];
  std::snprintf(command, sizeof command, "sed -i \"s/\\\":%d\\\"/\\\":%d\\\"/g\" /appconfigs/lighttpd.conf", from, to);
  run_shell(command);
  usleep(kSedPauseUs);
  std::snprintf(command, sizeof command, "sed -i \"s/\"0.0.0.0:%d\"/\"0.0.0.0:%d\"/g\" /appconfigs/lighttpd.conf", from,
                to);
  run_shell(command);
  usleep(kSedPauseUs);
}

int set_web_type(const WebType& next) {
  json::Owned root = read_settings(kInternetFile);
  const WebType now = stored_web_type(root.get());
  const bool http_same = next.http_port == now.http_port && next.http_switch == now.http_switch;
  const bool https_same = next.https_port == now.https_port && next.https_switch == now.https_switch;
  if (!http_same || !https_same) {
    if (!is_object(root)) root.reset(json_object_new_object());
    json_object* o = object_member(root.get(), kAdvanced);
    json::put(o, "HttpServerSwitch", json_object_new_string(std::to_string(next.http_switch).c_str()));
    json::put(o, "HttpsServerSwitch", json_object_new_string(std::to_string(next.https_switch).c_str()));
    json::put(o, "NetworkhttpPort", json_object_new_string(std::to_string(next.http_port).c_str()));
    json::put(o, "NetworkhttpsPort", json_object_new_string(std::to_string(next.https_port).c_str()));
    write_gnl_config_json(kInternetFile, root.get());
    // A side that did not change counts as on, whatever its stored switch.
    const bool https_on = https_same || next.https_switch == 1;
    const bool http_off = !http_same && next.http_switch != 1;
    for (const Template& t : kTemplates)
      if (t.http_off == http_off && t.https_on == https_on) run_shell(t.command);
    if (next.http_port != kDefaultHttpPort) patch_port(kDefaultHttpPort, next.http_port);
    if (next.https_port != kDefaultHttpsPort) patch_port(kDefaultHttpsPort, next.https_port);
    run_shell("killall -9 lighttpd");
    usleep(kRestartPauseUs);
    run_shell("/customer/lighttpd -f /appconfigs/lighttpd.conf &");
  }
  bus::broadcast_command("start_network");
  return 0;
}

// One integer of an object of a file: set writes it, get reads it.
struct Setting {
  const char* file;
  const char* object;
  const char* key;
  bool as_text;  // stored as decimal text
};
constexpr Setting kRedial{kSystemFile, "systeminfo", "redial_del_ontime", false};
constexpr Setting kKeytone{kSystemFile, "systeminfo", "keytone_enable", false};
constexpr Setting kWallpaper{kHalFile, "lcd", "DesktopImg", true};

int setting_set(const Setting& s, int value) {
  json::Owned root = read_settings(s.file);
  if (!is_object(root)) return -1;
  json_object* o = object_member(root.get(), s.object);
  json::put(o, s.key, s.as_text ? json_object_new_string(std::to_string(value).c_str()) : json_object_new_int(value));
  write_gnl_config_json(s.file, root.get());
  return 0;
}

std::optional<int> setting_get(const Setting& s) {
  json::Owned root = read_settings(s.file);
  if (!is_object(root)) return std::nullopt;
  return s.as_text ? json::text_integer(root.get(), s.object, s.key) : json::integer(root.get(), s.object, s.key);
}

}  // namespace
}  // namespace phonecore::network

using namespace phonecore::network;

extern "C" {

int firewall_set(const int* ports, int count, int open) noexcept { return set_firewall(ports, count, open); }
int change_httpd_port(int http, int https) noexcept { return change_ports(http, https); }
int get_httpd_port(int* http, int* https) noexcept { return get_ports(http, https); }
int httpd_wan_allow(int value) noexcept { return wan_allow(value); }
int getWebType(int* http_switch, int* https_switch, int* http_port, int* https_port) noexcept {
  return get_web_type(http_switch, https_switch, http_port, https_port);
}
int setWebType(int http_switch, int https_switch, int http_port, int https_port) noexcept {
  return set_web_type({http_switch, https_switch, http_port, https_port});
}
int wan_login_enable(void) noexcept { return 0; }
int redial_del_ontime_set(int value) noexcept { return setting_set(kRedial, value); }
int redial_del_ontime_get(void) noexcept { return setting_get(kRedial).value_or(-1); }
int keytone_mode_set(int value) noexcept { return setting_set(kKeytone, value); }
int keytone_mode_get(void) noexcept { return setting_get(kKeytone).value_or(0); }
int getWallPaperIndex(void) noexcept { return setting_get(kWallpaper).value_or(0); }
int setWallPaperIndex(int index) noexcept { return setting_set(kWallpaper, index); }

}  // extern "C"
