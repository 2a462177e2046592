// The box's real web server (lighttpd on 127.0.0.1:8080, 8443, 8444) as
// tests see it: its access log. lighttpd holds log lines for up to four
// seconds; a SIGHUP makes it write them at once (it cycles its logs).
#pragma once

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace phonecore::testing {

struct WebServer {
  static constexpr const char* kAccessLog = "/run/phonebox/lighttpd.access.log";
  static constexpr const char* kPidFile = "/run/phonebox/lighttpd.pid";

  // The first line of the access log that holds text, waiting up to about
  // ten seconds; empty when none came.
  static std::string access_log_line(const std::string& text) {
    std::ifstream pid_file(kPidFile);
    long pid = 0;
    if (pid_file >> pid && pid > 1) kill(static_cast<pid_t>(pid), SIGHUP);
    for (int i = 0; i < 1000; ++i) {
      std::ifstream in(kAccessLog);
      for (std::string line; std::getline(in, line);)
        if (line.find(text) != std::string::npos) return line;
      usleep(10000);
    }
    return {};
  }
};

}  // namespace phonecore::testing
