// The box's record of the tools that must not act on a PC (reboot,
// fw_setenv, killall, ...): each call is one line "TOOL ARG..." in
// /run/phonebox/calls.log.
#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/files.h"

namespace phonecore::testing {

// The recorded calls in their order; with a prefix, only the lines that
// start with it ("killall -9").
inline std::vector<std::string> calls_log(std::string_view prefix = {}) {
  std::vector<std::string> lines;
  std::istringstream in(slurp("/run/phonebox/calls.log"));
  for (std::string l; std::getline(in, l);)
    if (l.starts_with(prefix)) lines.push_back(l);
  return lines;
}

}  // namespace phonecore::testing
