// The library's folders are layers: base <- bus <- config <- {call, dial,
// device, network, directory} <- provision <- remote. A file may include
// its own folder and the layers below it, never one above, and the
// subsystems of the middle layer do not include each other. This test reads
// every #include under src/ and fails on each arrow against that order that
// is not one of the named exceptions below.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Layer {
  std::string_view folder;
  int rank;
};

constexpr Layer kLayers[] = {
    {"base", 0},   {"bus", 1},     {"config", 2},    {"call", 3},      {"dial", 3},
    {"device", 3}, {"network", 3}, {"directory", 3}, {"provision", 4}, {"remote", 5},
};

// The public headers, by the folder whose code they belong to; a header
// that declares the calls of more than one layer (syscmd.h: the bus's
// thread wait, the configuration's system commands) belongs to the lowest.
struct PublicHeader {
  std::string_view name;
  std::string_view folder;
};

constexpr PublicHeader kPublicHeaders[] = {
    {"export.h", "base"},
    {"fileutil.h", "base"},
    {"md5.h", "base"},
    {"profile.h", "base"},
    {"text.h", "base"},
    {"timezone.h", "config"},
    {"zklog.h", "base"},
    {"bus_client.h", "bus"},
    {"fifo.h", "bus"},
    {"json_msg.h", "bus"},
    {"udp.h", "bus"},
    {"syscmd.h", "bus"},
    {"config.h", "config"},
    {"dm.h", "config"},
    {"account.h", "call"},
    {"dsskey.h", "call"},
    {"prompt.h", "call"},
    {"voip.h", "call"},
    {"dial_rule.h", "dial"},
    {"dialplan.h", "dial"},
    {"hotkey.h", "dial"},
    {"hal.h", "device"},
    {"contacts.h", "directory"},
    {"calllists.h", "directory"},
    {"net_info.h", "network"},
    {"net_config.h", "network"},
    {"web_config.h", "network"},
    {"flash.h", "device"},
    {"gpio.h", "device"},
    {"led.h", "device"},
    {"backlight.h", "device"},
    {"uart.h", "device"},
    {"watchdog.h", "device"},
    {"usb_backup.h", "device"},
    {"phonecore.h", "remote"},
    {"net_transfer.h", "provision"},
    {"provision.h", "provision"},
    {"action_uri.h", "remote"},
    {"action_url.h", "remote"},
    {"phonecfg.h", "provision"},
    {"phonecfg_export.h", "provision"},
    {"http_client.h", "remote"},
    {"cloudbook.h", "directory"},
};

// Arrows against the order that are known and allowed, each with its
// reason: the file (below src/) and the folder it reaches.
struct Exception {
  std::string_view file;
  std::string_view reaches;
  std::string_view reason;
};

constexpr Exception kExceptions[] = {
    {"call/voip_command.cpp", "device",
     "voip_volume_get (a voip_* call) answers from the device's current volume, not from the SIP process"},
    {"directory/cloud_book.cpp", "remote",
     "the cloud phone books are downloaded by http_downloadfile of the HTTP client"},
};

std::optional<Layer> layer_of(std::string_view folder) {
  for (const Layer& l : kLayers)
    if (l.folder == folder) return l;
  return std::nullopt;
}

// The target of an #include line ("bus/bus_wire.h" or <json-c/json.h>), or
// nothing for another line.
std::optional<std::string> included(std::string_view line) {
  auto skip_blanks = [&] {
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
  };
  skip_blanks();
  if (!line.starts_with("#")) return std::nullopt;
  line.remove_prefix(1);
  skip_blanks();
  if (!line.starts_with("include")) return std::nullopt;
  line.remove_prefix(7);
  skip_blanks();
  if (line.empty() || (line.front() != '"' && line.front() != '<')) return std::nullopt;
  const char close = line.front() == '"' ? '"' : '>';
  line.remove_prefix(1);
  const size_t end = line.find(close);
  if (end == std::string_view::npos) return std::nullopt;
  return std::string(line.substr(0, end));
}

struct Arrow {
  std::string file;  // below src/
  std::string line;  // the #include as written
  std::string from;  // folder of the file
  std::string to;    // folder it reaches
};

// Every #include "..." of every file below src/ that reaches another folder.
std::vector<Arrow> arrows(std::vector<std::string>& errors) {
  const fs::path src = fs::path(PHONECORE_SOURCE_DIR) / "src";
  std::vector<Arrow> out;
  for (const auto& entry : fs::recursive_directory_iterator(src)) {
    if (!entry.is_regular_file()) continue;
    const std::string ext = entry.path().extension().string();
    if (ext != ".h" && ext != ".cpp" && ext != ".c") continue;
    const fs::path rel = fs::relative(entry.path(), src);
    if (rel.begin() == rel.end() || std::next(rel.begin()) == rel.end()) continue;  // src/ itself holds no code
    const std::string folder = rel.begin()->string();
    std::ifstream in(entry.path());
    for (std::string line; std::getline(in, line);) {
      auto found = included(line);
      if (!found) continue;
      std::string target = *found;
      if (target.starts_with("./") || target.starts_with("../")) {
        // A path relative to the file: named from src/ like the others.
        target = (entry.path().parent_path() / target).lexically_normal().lexically_relative(src).string();
        if (target.starts_with("..")) {
          errors.push_back(rel.string() + ": " + line + " leaves src/");
          continue;
        }
      }
      const size_t slash = target.find('/');
      if (slash == std::string::npos) continue;  // its own folder, or a system header
      const std::string head = target.substr(0, slash);
      std::string to;
      if (head == "phonecore") {
        const std::string name = target.substr(slash + 1);
        auto it = std::find_if(std::begin(kPublicHeaders), std::end(kPublicHeaders),
                               [&](const PublicHeader& p) { return p.name == name; });
        if (it == std::end(kPublicHeaders)) {
          errors.push_back("public header " + target + " has no layer in this test's table (" + rel.string() + ")");
          continue;
        }
        to = it->folder;
      } else if (fs::is_directory(src / head)) {
        to = head;
      } else {
        continue;  // a system or dependency header
      }
      if (to != folder) out.push_back({rel.string(), line, folder, to});
    }
  }
  return out;
}

bool excepted(const Arrow& a) {
  return std::any_of(std::begin(kExceptions), std::end(kExceptions),
                     [&](const Exception& e) { return e.file == a.file && e.reaches == a.to; });
}

TEST(Layers, EveryFolderHasALayer) {
  const fs::path src = fs::path(PHONECORE_SOURCE_DIR) / "src";
  for (const auto& entry : fs::directory_iterator(src)) {
    if (entry.is_directory()) {
      EXPECT_TRUE(layer_of(entry.path().filename().string())) << entry.path().filename() << " is in no layer";
    }
  }
}

TEST(Layers, NoIncludeAgainstTheOrder) {
  std::vector<std::string> errors;
  const auto all = arrows(errors);
  for (const std::string& e : errors) ADD_FAILURE() << e;
  EXPECT_FALSE(all.empty());  // the reader found the includes at all
  for (const Arrow& a : all) {
    auto from = layer_of(a.from);
    auto to = layer_of(a.to);
    if (!from || !to) continue;  // the test above names the folder
    const bool upward = to->rank > from->rank;
    const bool sideways = to->rank == from->rank;
    if ((upward || sideways) && !excepted(a))
      ADD_FAILURE() << a.file << ": " << a.line << "  (" << a.from << " must not reach " << (upward ? "up " : "across ")
                    << "to " << a.to << ")";
  }
}

TEST(Layers, EveryExceptionIsStillNeeded) {
  std::vector<std::string> errors;
  const auto all = arrows(errors);
  for (const Exception& e : kExceptions) {
    const bool used =
        std::any_of(all.begin(), all.end(), [&](const Arrow& a) { return a.file == e.file && a.to == e.reaches; });
    EXPECT_TRUE(used) << e.file << " no longer reaches " << e.reaches << ": drop the exception";
  }
}

// The check itself: an upward and a sideways arrow are caught, a downward
// one is not.
TEST(Layers, IncludeLinesAreReadAsTheCompilerReadsThem) {
  EXPECT_EQ(included("#include \"bus/bus_wire.h\""), "bus/bus_wire.h");
  EXPECT_EQ(included("  #  include <json-c/json.h>  // json-c"), "json-c/json.h");
  EXPECT_EQ(included("#include\"config/gnl_frame.h\""), "config/gnl_frame.h");
  EXPECT_FALSE(included("// #include \"remote/x.h\""));
  EXPECT_FALSE(included("#define include_guard"));
  EXPECT_FALSE(included("#include \"unterminated"));
}

TEST(Layers, TheOrderIsReadAsWritten) {
  EXPECT_LT(layer_of("base")->rank, layer_of("bus")->rank);
  EXPECT_LT(layer_of("bus")->rank, layer_of("config")->rank);
  for (std::string_view mid : {"call", "dial", "device", "network", "directory"}) {
    EXPECT_LT(layer_of("config")->rank, layer_of(mid)->rank) << mid;
    EXPECT_LT(layer_of(mid)->rank, layer_of("provision")->rank) << mid;
  }
  EXPECT_LT(layer_of("provision")->rank, layer_of("remote")->rank);
}

}  // namespace
