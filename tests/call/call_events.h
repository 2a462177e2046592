// A process's ClientOps for the call tests: every event becomes one line,
// kept in order, and a test waits for the line it expects.
#pragma once

#include <unistd.h>

#include <mutex>
#include <string>
#include <vector>

#include "phonecore/bus_client.h"

namespace phonecore::testing {

class CallEvents {
 public:
  static CallEvents& get() {
    static CallEvents events;
    return events;
  }

  void add(const std::string& line) {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line);
  }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
  }
  // True once a line starting with prefix has come (about two seconds).
  bool wait_for(const std::string& prefix) {
    for (int i = 0; i < 400; ++i) {
      for (const auto& l : lines())
        if (l.rfind(prefix, 0) == 0) return true;
      usleep(5000);
    }
    return false;
  }

  static ClientOps* ops() {
    static ClientOps table = make_ops();
    return &table;
  }

 private:
  static std::string text(const char* s) { return s != nullptr ? s : "(null)"; }

  static ClientOps make_ops() {
    ClientOps o{};
    o.on_connecting = [](int acc, const char* from, const char* to, int id, int inF, int, const char*, const char*, int,
                         const char* call_id_gl) {
      get().add("connecting acc=" + std::to_string(acc) + " id=" + std::to_string(id) + " from=" + text(from) +
                " to=" + text(to) + " inF=" + std::to_string(inF) + " gl=" + text(call_id_gl));
    };
    o.on_connect = [](int acc, int call_id, int flags, const char* peer, const char*, const char*) {
      get().add("connect acc=" + std::to_string(acc) + " id=" + std::to_string(call_id) +
                " flags=" + std::to_string(flags) + " peer=" + text(peer));
    };
    o.on_invite_response = [](int acc, int flags) {
      get().add("invite_response acc=" + std::to_string(acc) + " flags=" + std::to_string(flags));
    };
    o.on_disconnect = [](int acc, int call_id, int flags) {
      get().add("disconnect acc=" + std::to_string(acc) + " id=" + std::to_string(call_id) +
                " flags=" + std::to_string(flags));
    };
    o.on_reg_changed = [](int acc, int online) {
      get().add("reg_changed acc=" + std::to_string(acc) + " online=" + std::to_string(online));
    };
    o.on_incoming_call = [](int acc, const char* call, const char* called, int) {
      get().add("incoming acc=" + std::to_string(acc) + " from=" + text(call) + " to=" + text(called));
    };
    o.on_handfree = [](int tag) { get().add("handfree " + std::to_string(tag)); };
    return o;
  }

  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace phonecore::testing
