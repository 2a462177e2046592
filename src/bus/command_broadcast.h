// The command broadcasts: the texts "{\"cmd\":\"reload_account\"}" and
// their sisters, sent without a session to every process (kind 3, msgtype
// 5, dest 65535), and their decoder. Every sender and every receiver of
// the library goes through this unit.
#pragma once

#include <cstddef>

namespace phonecore::bus {

// Room of an encoded command: longer names are cut.
constexpr size_t kCommandTextSize = 256;

// "{\"cmd\":\"<name>\"}" into out (cut at size), a null name as "".
void encode_command(const char* name, char* out, size_t size);

// Encodes the command and hands it to the message server with its
// terminator. 0; nothing is known of its delivery.
int broadcast_command(const char* name);

// Hands a ready command text (one that isn't of the simple "cmd" form, such
// as "{\"cmd\":\"send_keyboard\", ...}") to the message server the same
// way, with its terminator. 0.
int broadcast_text(const char* text);

// What a receiving process does for the commands that the decoder knows.
// A null handler is skipped.
struct CommandHandlers {
  void (*on_reboot)(void);
  void (*on_upgrade)(int progress);
  void (*on_reset)(int value);
};

// Decodes a broadcast text: -1 for text that isn't JSON, 0 when it has no
// "cmd", and -1 once a command was looked at, known or not: the result
// says nothing of success, and callers must not read it so.
int decode_command(const char* text, const CommandHandlers& handlers);

}  // namespace phonecore::bus
