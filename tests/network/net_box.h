// What the network tests of the box share: a command's output, the box's
// interfaces as "ip -j" reports them, files put in place for one test and
// restored after it, and a fake command first on PATH.
#pragma once

#include <json-c/json.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "support/files.h"

namespace phonecore::testing {

// The standard output of a shell command.
inline std::string command_output(const std::string& cmd) {
  std::string out;
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return out;
  char buf[512];
  while (std::fgets(buf, sizeof buf, p) != nullptr) out += buf;
  pclose(p);
  return out;
}

// The addresses of one family of an interface, in the order "ip -j addr"
// lists them, with their prefix lengths.
struct IpAddress {
  std::string local;
  int prefix = 0;
  std::string scope;
};
inline std::vector<IpAddress> ip_addresses(const std::string& ifname, const std::string& family) {
  std::vector<IpAddress> out;
  json_object* root = json_tokener_parse(command_output("ip -j -" + family + " addr show dev " + ifname).c_str());
  if (root == nullptr) return out;
  for (size_t i = 0; i < json_object_array_length(root); ++i) {
    json_object* link = json_object_array_get_idx(root, i);
    json_object* infos = nullptr;
    if (!json_object_object_get_ex(link, "addr_info", &infos)) continue;
    for (size_t j = 0; j < json_object_array_length(infos); ++j) {
      json_object* a = json_object_array_get_idx(infos, j);
      json_object *local = nullptr, *prefix = nullptr, *scope = nullptr;
      json_object_object_get_ex(a, "local", &local);
      json_object_object_get_ex(a, "prefixlen", &prefix);
      json_object_object_get_ex(a, "scope", &scope);
      out.push_back({json_object_get_string(local), json_object_get_int(prefix), json_object_get_string(scope)});
    }
  }
  json_object_put(root);
  return out;
}

// The link-layer address as "ip -j link" gives it.
inline std::string ip_link_address(const std::string& ifname) {
  json_object* root = json_tokener_parse(command_output("ip -j link show dev " + ifname).c_str());
  std::string out;
  json_object* addr = nullptr;
  if (root != nullptr && json_object_array_length(root) > 0 &&
      json_object_object_get_ex(json_object_array_get_idx(root, 0), "address", &addr))
    out = json_object_get_string(addr);
  json_object_put(root);
  return out;
}

// A file with the given content for the life of the object; what stood
// there before comes back after.
class FileInPlace {
 public:
  FileInPlace(std::string path, const std::string& content) : path_(std::move(path)) {
    std::ifstream in(path_, std::ios::binary);
    if (in) before_ = slurp(path_);
    write(content);
  }
  ~FileInPlace() {
    if (before_) write(*before_);
    else std::remove(path_.c_str());
  }
  void write(const std::string& content) const { std::ofstream(path_, std::ios::binary | std::ios::trunc) << content; }

 private:
  std::string path_;
  std::optional<std::string> before_;
};

// A shell script named name first on PATH for the life of the object.
class FakeCommand {
 public:
  FakeCommand(const std::string& name, const std::string& script) {
    char dir[] = "/tmp/fakecmd.XXXXXX";
    dir_ = mkdtemp(dir);
    const std::string path = dir_ + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
    chmod(path.c_str(), 0755);
    old_path_ = getenv("PATH");
    setenv("PATH", (dir_ + ":" + old_path_).c_str(), 1);
  }
  ~FakeCommand() {
    setenv("PATH", old_path_.c_str(), 1);
    std::string rm = "rm -r " + dir_;
    if (system(rm.c_str()) != 0) std::perror("rm");
  }

 private:
  std::string dir_;
  std::string old_path_;
};

}  // namespace phonecore::testing
