// Encoder and table-driven decoder of the command broadcasts.

#include "bus/command_broadcast.h"

#include <json-c/json.h>

#include <cstdio>
#include <cstring>

#include "base/json.h"
#include "bus/vocabulary.h"
#include "phonecore/bus_client.h"
#include "phonecore/syscmd.h"

namespace phonecore::bus {

namespace {

// One row per command that a receiver acts on; the root is the whole
// broadcast object.
struct CommandRow {
  const char* name;
  void (*act)(json_object* root, const CommandHandlers& h);
};

constexpr CommandRow kCommands[] = {
    {"reboot",
     [](json_object*, const CommandHandlers& h) {
       if (h.on_reboot != nullptr) h.on_reboot();
     }},
    {"upgrade",
     [](json_object* root, const CommandHandlers& h) {
       if (h.on_upgrade != nullptr) h.on_upgrade(json::integer(root, "progress"));
     }},
    {"default_reset",
     [](json_object*, const CommandHandlers& h) {
       if (h.on_reset != nullptr) h.on_reset(1);
     }},
};

}  // namespace

void encode_command(const char* name, char* out, size_t size) {
  if (out == nullptr || size == 0) return;
  std::snprintf(out, size, "{\"cmd\":\"%s\"}", name != nullptr ? name : "");
}

int broadcast_command(const char* name) {
  char text[kCommandTextSize];
  encode_command(name, text, sizeof text);
  return broadcast_text(text);
}

int broadcast_text(const char* text) {
  if (text == nullptr) return 0;
  instant_message_send(kBusIdAll, kMsgtypeCommand, kKindCommand, text, static_cast<int>(std::strlen(text)) + 1);
  return 0;
}

int decode_command(const char* text, const CommandHandlers& handlers) {
  if (text == nullptr) return -1;
  json::Owned root(json_tokener_parse(text));
  if (root == nullptr) return -1;
  if (!json::has(root.get(), "cmd")) return 0;
  if (const char* command = json::text(root.get(), "cmd")) {
    for (const CommandRow& row : kCommands) {
      if (std::strcmp(command, row.name) == 0) {
        row.act(root.get(), handlers);
        break;
      }
    }
  }
  return -1;
}

}  // namespace phonecore::bus

extern "C" {

int system_cmd_decode(const char* text, void (*on_reboot)(void), void (*on_upgrade)(int),
                      void (*on_reset)(int)) noexcept {
  return phonecore::bus::decode_command(text, {on_reboot, on_upgrade, on_reset});
}

}  // extern "C"
