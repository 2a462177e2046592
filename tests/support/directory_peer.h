// The directory service (loopback UDP 30001) as tests see it.
//
// DirectoryPeer steers the box's directoryd through its control port
// (27030): its record (each datagram heard, in hex), its lists, faults.
//
// DirectoryStandIn plays the service itself: directoryd leaves 30001 while
// it lives, and it keeps every datagram that comes, byte for byte, and
// answers each through a function of the test (an empty answer: none).
// Replies are built from the request's own head, as the service builds
// them.
#pragma once

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "config/gnl_frame.h"
#include "support/peer_control.h"
#include "support/udp_client.h"

extern char** environ;

namespace phonecore::testing {

using Datagram = std::vector<uint8_t>;

class DirectoryPeer : public PeerControl {
 public:
  static constexpr uint16_t kControlPort = phonebox::kControlPortDirectory;

  DirectoryPeer() : PeerControl(kControlPort) {}

  bool reset() const { return control("reset") == "ok"; }
  // Releases 30001 for a test that plays the service, and takes it again.
  bool leave() const { return control("leave") == "ok"; }
  bool join() const { return control("join") == "ok"; }
  bool delay(int ms) const { return control("delay " + std::to_string(ms)) == "ok"; }
  // One fault of the next reply: magic, type, short, count, big, port, twice.
  bool fault(const std::string& name) const { return control("fault " + name) == "ok"; }
  // A list (contacts, block, allow, history) as records in hex (as many as
  // fit one answer of 64 KiB: about 90 contacts), or the group
  // notices heard ("notices": "ID SIZE" lines).
  std::vector<std::string> dump(const std::string& list) const {
    std::vector<std::string> lines;
    std::istringstream in(control("dump " + list));
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
  }
  // The pid of the running directoryd (its pid file), or 0.
  static int pid() {
    int pid = 0;
    if (FILE* f = fopen("/run/phonebox/directoryd.pid", "r")) {
      if (fscanf(f, "%d", &pid) != 1) pid = 0;
      fclose(f);
    }
    return pid;
  }
  // Starts directoryd again (after it was stopped) and waits until it has
  // bound its ports; false when it did not come up.
  static bool start_again() {
    static int round = 0;
    char path[] = "/phonebox/sim/directoryd";
    std::string ready = "/run/phonebox/directoryd.again" + std::to_string(++round) + ".ready";
    char* argv[] = {path, ready.data(), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, path, nullptr, nullptr, argv, environ) != 0) return false;
    struct stat st;
    for (int i = 0; i < 400; ++i) {
      if (stat(ready.c_str(), &st) == 0) return true;
      usleep(5000);
    }
    return false;
  }
  // Stops directoryd with SIGTERM and starts it again.
  static bool restart() {
    const int old = pid();
    if (old <= 0 || kill(old, SIGTERM) != 0) return false;
    for (int i = 0; i < 400 && kill(old, 0) == 0; ++i) usleep(5000);
    return start_again();
  }

  // The number of records of a list, or -1.
  long count(const std::string& list) const {
    const std::string answer = control("count " + list);
    return answer.empty() || answer.find_first_not_of("0123456789") != std::string::npos ? -1 : std::stol(answer);
  }
  // The datagrams heard, as bytes.
  std::vector<Datagram> datagrams() const {
    std::vector<Datagram> out;
    for (const std::string& line : log()) {
      Datagram d;
      for (size_t i = 0; i + 1 < line.size(); i += 2)
        d.push_back(static_cast<uint8_t>(std::stoi(line.substr(i, 2), nullptr, 16)));
      out.push_back(d);
    }
    return out;
  }
};

// directoryd away from 30001 for the life of the object (nothing when no
// directoryd runs).
class DirectoryLeave {
 public:
  DirectoryLeave() { peer_.leave(); }
  ~DirectoryLeave() { peer_.join(); }
  DirectoryLeave(const DirectoryLeave&) = delete;
  DirectoryLeave& operator=(const DirectoryLeave&) = delete;

 private:
  DirectoryPeer peer_;
};

class DirectoryStandIn {
 public:
  using Answer = std::function<Datagram(const Datagram& request)>;

  // Answers with the request's head and an empty list.
  DirectoryStandIn() : DirectoryStandIn([](const Datagram& r) { return list_reply(r, {}); }) {}
  explicit DirectoryStandIn(Answer answer) : socket_(config::kDirectoryPort), answer_(std::move(answer)) {
    if (socket_.bound()) thread_ = std::thread([this] { serve(); });
  }
  ~DirectoryStandIn() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }
  DirectoryStandIn(const DirectoryStandIn&) = delete;
  DirectoryStandIn& operator=(const DirectoryStandIn&) = delete;

  bool bound() const { return socket_.bound(); }

  std::vector<Datagram> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }

  // The request's 76-byte head with the payload length and payload given,
  // and the trailing zero: payload length + 77 bytes.
  static Datagram reply(const Datagram& request, std::span<const uint8_t> payload) {
    Datagram out(config::gnl_datagram_size(payload.size()), 0);
    std::memcpy(out.data(), request.data(), std::min(request.size(), config::kGnlHeaderSize));
    const uint16_t length = static_cast<uint16_t>(payload.size());
    std::memcpy(out.data() + offsetof(config::LocalListPacket, payload_length), &length, sizeof length);
    if (!payload.empty()) std::memcpy(out.data() + config::kGnlHeaderSize, payload.data(), payload.size());
    return out;
  }

  // A list reply: head (total length, count) and the records.
  static Datagram list_reply(const Datagram& request, const std::vector<config::ContactRecord>& records,
                             int32_t count_word = -1) {
    config::ListPayloadHead head{};
    head.count = count_word >= 0 ? count_word : static_cast<int32_t>(records.size());
    head.total_length = static_cast<int32_t>(sizeof head + records.size() * sizeof(config::ContactRecord));
    Datagram payload(sizeof head + records.size() * sizeof(config::ContactRecord));
    std::memcpy(payload.data(), &head, sizeof head);
    if (!records.empty()) std::memcpy(payload.data() + sizeof head, records.data(), records.size() * sizeof records[0]);
    return reply(request, payload);
  }

 private:
  void serve() {
    while (!stop_) {
      pollfd p{socket_.fd(), POLLIN, 0};
      if (poll(&p, 1, 20) <= 0) continue;
      Datagram in(65536);
      sockaddr_in from{};
      socklen_t len = sizeof from;
      const ssize_t n = recvfrom(socket_.fd(), in.data(), in.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
      if (n < 0) continue;
      in.resize(static_cast<size_t>(n));
      {
        std::lock_guard lock(mutex_);
        requests_.push_back(in);
      }
      const Datagram out = answer_(in);
      if (!out.empty()) sendto(socket_.fd(), out.data(), out.size(), 0, reinterpret_cast<sockaddr*>(&from), len);
    }
  }

  DirectoryLeave leave_;  // before the socket: it binds after the peer left
  UdpClient socket_;
  Answer answer_;
  std::atomic<bool> stop_{false};
  mutable std::mutex mutex_;
  std::vector<Datagram> requests_;
  std::thread thread_;
};

// A contact record with its texts (each at most 63 bytes).
inline config::ContactRecord contact(int32_t id, const char* name, const char* first, const char* phone = "",
                                     const char* other = "", int32_t value_a = 0) {
  config::ContactRecord r{};
  r.id = id;
  std::strncpy(r.name, name, sizeof r.name - 1);
  std::strncpy(r.first_number, first, sizeof r.first_number - 1);
  std::strncpy(r.phone_number, phone, sizeof r.phone_number - 1);
  std::strncpy(r.other_number, other, sizeof r.other_number - 1);
  r.value_a = value_a;
  return r;
}

}  // namespace phonecore::testing
