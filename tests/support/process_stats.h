// What a process holds, read from /proc: its open descriptors and its
// resident memory, for tests that check nothing leaks over many rounds.
#pragma once

#include <dirent.h>

#include <fstream>
#include <string>

namespace phonecore::testing {

// The descriptors the process ("self" or a pid) holds open; for "self" the
// listing's own descriptor is left out. -1 when /proc can't be read.
inline int open_descriptors(const std::string& process = "self") {
  DIR* d = opendir(("/proc/" + process + "/fd").c_str());
  if (d == nullptr) return -1;
  int n = 0;
  while (const dirent* e = readdir(d))
    if (e->d_name[0] != '.') ++n;
  closedir(d);
  return process == "self" ? n - 1 : n;
}

// The process's resident set ("self" or a pid) in KiB (VmRSS); -1 when
// /proc can't be read.
inline long resident_kib(const std::string& process = "self") {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  return -1;
}

}  // namespace phonecore::testing
