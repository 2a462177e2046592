// phonectl: what every sub-command shares. The tool is a phone process like
// any other: it sees the library through include/phonecore/ only.
#pragma once

#include <json-c/json.h>
#include <phonecore/bus_client.h>

#include <cstdio>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace phonectl {

// Exit status of the tool.
inline constexpr int kOk = 0;
inline constexpr int kRefused = 1;  // refused, not found, or no answer
inline constexpr int kUsage = 2;

// Bus ids of the tool's sessions when none is given: one for requests and
// commands, another for "bus listen", so that a listener and a command can
// run side by side.
inline constexpr uint16_t kDefaultBusId = 4200;
inline constexpr uint16_t kDefaultListenId = 4201;

struct Context {
  bool json = false;    // one JSON object a line on standard output
  int bus_id = -1;      // --id, or -1 for the default of the command
  FILE *out = nullptr;  // the tool's standard output; the library's traces go elsewhere
  MessageClient *session = nullptr;

  // The session with the message server, opened on first use. Null (after
  // a one-line error) when the server refused or did not answer.
  MessageClient *bus(uint16_t default_id = kDefaultBusId);
  ~Context();
};

using Args = std::span<char *const>;

// A row of the command table. group and name are the words typed; name ""
// is a command of one word ("md5 FILE"). min_args and max_args count the
// words after the command (options excluded); max_args -1 has no limit.
struct Command {
  std::string_view group;
  std::string_view name;
  std::string_view usage;
  std::string_view help;
  int min_args;
  int max_args;
  int (*handler)(Context &, Args);
};

// The tables of each family; a family adds its rows to its own table and
// the table to the list in phonectl.cpp.
std::span<const Command> board_commands();
std::span<const Command> bus_commands();
std::span<const Command> call_commands();
std::span<const Command> cloud_commands();
std::span<const Command> config_commands();
std::span<const Command> device_commands();
std::span<const Command> dial_commands();
std::span<const Command> directory_commands();
std::span<const Command> net_commands();
std::span<const Command> provision_commands();
std::span<const Command> remote_commands();
std::span<const Command> tool_commands();

// One line "phonectl: TEXT" on standard error; answers status.
int fail(int status, const std::string &text);
// The tool's standard error (the library's own goes elsewhere).
FILE *err();

// Prints a result: with --json the object as one line; else a text as it
// is, an object of plain members as "key: value" lines, anything else as
// indented JSON. Takes over the object.
void print(Context &ctx, json_object *result);

// Numbers typed on the command line. False when text is no whole number in
// [low, high].
bool parse_int(const char *text, long low, long high, long &value);

// Options of a command: "--name VALUE" taken out of args wherever they
// stand. The remaining words are left in place, in order, in words.
struct Options {
  explicit Options(std::initializer_list<std::string_view> list) {
    size_t i = 0;
    for (auto n : list) names[i++] = n;
  }
  std::string_view names[4];
  std::string values[4];
  bool given[4] = {};
};
// False (after a usage error) when an option lacks its value.
bool take_options(Args args, Options &options, std::vector<char *> &words);

}  // namespace phonectl
