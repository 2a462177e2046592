// phonectl: the library's command-line tool. Reads the command line, finds
// the row of the command table, and runs its handler.
//
// The library prints its traces on standard output (and a few with perror),
// as every phone process does. The tool keeps its own standard output for
// its results and its own standard error for its one-line errors; see
// take_stdio.
#include "phonectl.h"

#include <fcntl.h>
#include <unistd.h>

// A sanitizer build sends its reports to the tool's standard error.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PHONECTL_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PHONECTL_SANITIZED 1
#endif
#endif

#ifdef PHONECTL_SANITIZED
#include <sanitizer/common_interface_defs.h>
#endif

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#ifndef PHONECTL_VERSION
#define PHONECTL_VERSION "0"
#endif

namespace phonectl {

namespace {

constexpr std::string_view kSummary =
    "phonectl - the command-line tool of libphonecore: every family of the library from a shell";

using Family = std::span<const Command> (*)();
constexpr std::array<Family, 12> kFamilies = {bus_commands,       call_commands,      config_commands, device_commands,
                                              dial_commands,      provision_commands, remote_commands, tool_commands,
                                              directory_commands, cloud_commands,     board_commands,  net_commands};

// The options every command takes, before or after the command words.
struct GlobalOption {
  std::string_view name;
  std::string_view value;
  std::string_view help;
};
constexpr GlobalOption kGlobalOptions[] = {
    {"--json", "", "print results as one JSON object a line, for scripts"},
    {"--id", "N", "bus id of the tool's session (default 4200; 4201 for bus listen)"},
    {"--trace", "", "show the library's own traces on standard error"},
    {"--help", "", "show the help of the tool, of a command group or of a command, and exit"},
    {"--version", "", "show the version and exit"},
};

void print_row(FILE *out, const Command &c) {
  std::string line = "  phonectl ";
  line += c.usage;
  std::fprintf(out, "%s\n      %.*s\n", line.c_str(), static_cast<int>(c.help.size()), c.help.data());
}

void print_help(FILE *out, std::string_view group) {
  if (group.empty()) {
    std::fprintf(out, "Usage: phonectl [OPTION]... COMMAND [ARG]...\n%.*s.\n\n", static_cast<int>(kSummary.size()),
                 kSummary.data());
    std::fprintf(out,
                 "It talks to the phone's message bus, the SIP process and the configuration service as any\n"
                 "phone process does; run it on the phone or in the phone box.\n\n");
    std::fprintf(out, "Options:\n");
    for (const auto &o : kGlobalOptions) {
      std::string left(o.name);
      if (!o.value.empty()) left += " " + std::string(o.value);
      std::fprintf(out, "  %-12s %.*s\n", left.c_str(), static_cast<int>(o.help.size()), o.help.data());
    }
    std::fprintf(out, "\nCommands:\n");
  } else {
    std::fprintf(out, "Usage: phonectl [OPTION]... %.*s ...\n\n", static_cast<int>(group.size()), group.data());
  }
  for (Family f : kFamilies)
    for (const Command &c : f())
      if (group.empty() || c.group == group) print_row(out, c);
  if (group.empty()) {
    std::fprintf(out,
                 "\nExit status:\n"
                 "  0 success, 1 refused or no answer, 2 usage error. Errors go to standard error in one line.\n"
                 "\nExamples:\n"
                 "  phonectl call dial 1 1002\n"
                 "  phonectl cfg set hal.cfg audio.speaker-level-call 9\n"
                 "  phonectl --json account list\n"
                 "  phonectl dial replace '0(x.)' '0049$1' 0301234\n"
                 "  phonectl bus listen --count 3\n");
  }
}

bool is_group(std::string_view word) {
  for (Family f : kFamilies)
    for (const Command &c : f())
      if (c.group == word) return true;
  return false;
}

const Command *find(std::string_view group, std::string_view name) {
  for (Family f : kFamilies)
    for (const Command &c : f())
      if (c.group == group && c.name == name) return &c;
  return nullptr;
}

// The library's traces: printf on descriptor 1, perror on descriptor 2.
// The tool keeps copies of both for itself and points the descriptors at
// /dev/null, or with --trace at (its copy of) standard error.
FILE *g_err = stderr;

FILE *own_copy(int fd, FILE *fallback) {
  const int own = fcntl(fd, F_DUPFD_CLOEXEC, 3);
  FILE *f = own >= 0 ? fdopen(own, "w") : nullptr;
  if (f == nullptr) return fallback;
  setvbuf(f, nullptr, _IOLBF, 0);
  return f;
}

FILE *take_stdio(bool trace) {
  std::fflush(stdout);
  std::fflush(stderr);
  FILE *out = own_copy(STDOUT_FILENO, stdout);
  g_err = own_copy(STDERR_FILENO, stderr);
#ifdef PHONECTL_SANITIZED
  if (g_err != stderr) __sanitizer_set_report_fd(reinterpret_cast<void *>(static_cast<intptr_t>(fileno(g_err))));
#endif
  const int sink = trace ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (sink >= 0) {
    if (out != stdout) dup2(sink, STDOUT_FILENO);
    if (g_err != stderr) dup2(sink, STDERR_FILENO);
    close(sink);
  }
  return out;
}

}  // namespace

FILE *err() { return g_err; }

int fail(int status, const std::string &text) {
  std::fprintf(g_err, "phonectl: %s\n", text.c_str());
  return status;
}

bool parse_int(const char *text, long low, long high, long &value) {
  if (text == nullptr || *text == '\0') return false;
  char *end = nullptr;
  errno = 0;
  const long v = std::strtol(text, &end, 10);
  if (errno != 0 || *end != '\0' || v < low || v > high) return false;
  value = v;
  return true;
}

bool take_options(Args args, Options &options, std::vector<char *> &words) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view a = args[i];
    bool matched = false;
    for (size_t k = 0; k < std::size(options.names); ++k) {
      if (options.names[k].empty() || a != options.names[k]) continue;
      if (i + 1 >= args.size()) {
        fail(kUsage, std::string(a) + " needs a value");
        return false;
      }
      options.values[k] = args[++i];
      options.given[k] = true;
      matched = true;
      break;
    }
    if (!matched) words.push_back(args[i]);
  }
  return true;
}

namespace {
bool is_plain(json_object *o) {
  const json_type t = json_object_get_type(o);
  return t != json_type_object && t != json_type_array;
}
}  // namespace

void print(Context &ctx, json_object *result) {
  if (ctx.json) {
    std::fprintf(ctx.out, "%s\n", json_object_to_json_string_ext(result, JSON_C_TO_STRING_PLAIN));
  } else if (json_object_is_type(result, json_type_string)) {
    std::fprintf(ctx.out, "%s\n", json_object_get_string(result));
  } else if (json_object_is_type(result, json_type_object)) {
    bool flat = true;
    json_object_object_foreach(result, k0, v0) {
      (void)k0;
      if (!is_plain(v0)) flat = false;
    }
    if (flat) {
      json_object_object_foreach(result, key, value) {
        std::fprintf(ctx.out, "%s: %s\n", key, value == nullptr ? "null" : json_object_get_string(value));
      }
    } else {
      std::fprintf(ctx.out, "%s\n", json_object_to_json_string_ext(result, JSON_C_TO_STRING_PRETTY));
    }
  } else {
    std::fprintf(ctx.out, "%s\n",
                 result == nullptr ? "null" : json_object_to_json_string_ext(result, JSON_C_TO_STRING_PRETTY));
  }
  json_object_put(result);
}

MessageClient *Context::bus(uint16_t default_id) {
  if (session != nullptr) return session;
  const uint16_t id = bus_id >= 0 ? static_cast<uint16_t>(bus_id) : default_id;
  session = request_pc_connect(id, 1, nullptr, "phonectl");
  if (session == nullptr) {
    fail(kRefused, "no session with the message server for bus id " + std::to_string(id) +
                       " (no server on port 27000, or the id is in use)");
    return nullptr;
  }
  // The session's listener binds its port on its own thread; a reply that
  // came before would be lost.
  usleep(20000);
  return session;
}

Context::~Context() {
  if (session != nullptr) request_pc_disconnect(session);
}

}  // namespace phonectl

int main(int argc, char **argv) {
  using namespace phonectl;
  Context ctx;
  bool help = false, trace = false;
  std::vector<char *> words;
  for (int i = 1; i < argc; ++i) {
    const std::string_view a = argv[i];
    if (a == "--json") {
      ctx.json = true;
    } else if (a == "--trace") {
      trace = true;
    } else if (a == "--help" || a == "-h") {
      help = true;
    } else if (a == "--version") {
      std::printf("phonectl %s\n", PHONECTL_VERSION);
      return kOk;
    } else if (a == "--id") {
      long id = 0;
      if (i + 1 >= argc || !parse_int(argv[i + 1], 1, 65534, id))
        return fail(kUsage, "--id needs a bus id, 1 to 65534");
      ctx.bus_id = static_cast<int>(id);
      ++i;
    } else {
      words.push_back(argv[i]);
    }
  }
  if (words.empty()) {
    if (!help) return fail(kUsage, "no command; see phonectl --help");
    print_help(stdout, "");
    return kOk;
  }
  const std::string_view group = words[0];
  if (!is_group(group)) return fail(kUsage, "unknown command \"" + std::string(group) + "\"; see phonectl --help");
  const Command *cmd = nullptr;
  size_t first_arg = 1;
  if (words.size() > 1) cmd = find(group, words[1]), first_arg = 2;
  if (cmd == nullptr) cmd = find(group, ""), first_arg = 1;
  if (help) {
    const Command *named = words.size() > 1 ? find(group, words[1]) : nullptr;
    if (named != nullptr) {
      std::printf("Usage: phonectl [OPTION]... %.*s\n%.*s\n", static_cast<int>(named->usage.size()),
                  named->usage.data(), static_cast<int>(named->help.size()), named->help.data());
    } else {
      print_help(stdout, group);
    }
    return kOk;
  }
  if (cmd == nullptr) {
    const std::string see = "; see phonectl " + std::string(group) + " --help";
    if (words.size() > 1) return fail(kUsage, "unknown " + std::string(group) + " command \"" + words[1] + "\"" + see);
    return fail(kUsage, std::string(group) + " needs a command" + see);
  }
  Args args(words.data() + first_arg, words.size() - first_arg);
  // Options of a command ("--timeout MS", "--announce") are its handler's;
  // the usage tells whether one takes a value.
  size_t counted = 0;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view a = args[i];
    if (a.size() > 2 && a.starts_with("--")) {
      if (cmd->usage.find(std::string(a) + " ") != std::string_view::npos) ++i;
    } else {
      ++counted;
    }
  }
  if (static_cast<int>(counted) < cmd->min_args || (cmd->max_args >= 0 && static_cast<int>(counted) > cmd->max_args))
    return fail(kUsage, "usage: phonectl " + std::string(cmd->usage));
  ctx.out = take_stdio(trace);
  const int status = cmd->handler(ctx, args);
  std::fflush(ctx.out);
  return status;
}
