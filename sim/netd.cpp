// The network service of the phone box, on loopback UDP 31001.
//
// One GnlConfigRecord in, one out, category 0x100C. Operation 0x3003 is
// answered with the three interface names (WAN, LAN, Wi-Fi) in 16-byte
// fields; 0x3004 (mode and vid) is recorded and answered with the head of
// the request. Every datagram is recorded; no input stops the service. A
// control port (UDP 27031) lets tests read the record, change the names,
// slow or silence the service, close its port for a while and arm one-shot
// faults of the next answer. What each answer holds is written down in
// sim/README.md.

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "config/gnl_frame.h"
#include "peer.h"

using namespace phonecore::config;

namespace {

constexpr const char* kPeer = "netd";

// Faults of the next answer to 0x3003, each armed for one answer.
enum class Fault { kNone, kMagic, kCategory, kShort, kCut, kUnterminated, kBig, kOtherPort, kTwice };

struct FaultName {
  std::string_view name;
  Fault fault;
};
constexpr std::array kFaults{
    FaultName{"magic", Fault::kMagic},
    FaultName{"category", Fault::kCategory},
    FaultName{"short", Fault::kShort},
    FaultName{"cut", Fault::kCut},
    FaultName{"unterminated", Fault::kUnterminated},
    FaultName{"big", Fault::kBig},
    FaultName{"port", Fault::kOtherPort},
    FaultName{"twice", Fault::kTwice},
};

class NetworkService {
 public:
  bool start() { return open_service() && control_.open(phonebox::kControlPortNetwork); }

  void run() {
    for (;;) {
      std::array<pollfd, 2> fds{pollfd{control_.fd(), POLLIN, 0}, pollfd{fd_, POLLIN, 0}};
      const nfds_t n = fd_ >= 0 ? 2 : 1;
      if (poll(fds.data(), n, -1) < 0) continue;
      if (fds[0].revents & POLLIN) serve_control();
      if (n == 2 && (fds[1].revents & POLLIN)) serve();
    }
  }

 private:
  bool open_service() {
    fd_ = phonebox::bind_udp(kNetworkPort);
    return fd_ >= 0;
  }

  // The common "clear" forgets the record; the count follows it.
  void serve_control() {
    char word[8] = {};
    const ssize_t n = recv(control_.fd(), word, sizeof word - 1, MSG_PEEK);
    if (n >= 5 && std::string_view(word, static_cast<size_t>(n)).starts_with("clear")) count_ = 0;
    control_.serve(*this, std::span<const phonebox::ControlCommand<NetworkService>>(kCommands));
  }

  void record(std::string line) {
    control_.record(std::move(line));
    ++count_;
  }

  void serve() {
    sockaddr_in from{};
    socklen_t len = sizeof from;
    const ssize_t got = recvfrom(fd_, in_.data(), in_.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
    if (got < 0) return;
    const size_t size = static_cast<size_t>(got);
    auto head = decode_gnl_head({in_.data(), size});
    if (!head) {
      record("- - - " + std::to_string(size));
      phonebox::log_line(kPeer, "datagram of %zu bytes dropped: short or wrong magic", size);
      return;
    }
    std::ostringstream line;
    line << head->category << ' ' << head->operation << ' ' << head->data_length << ' ' << size;
    if (head->operation == kNicSetMode) {
      NicModeData mode{};
      std::memcpy(&mode, in_.data() + kGnlHeaderSize,
                  std::min(sizeof mode, size > kGnlHeaderSize ? size - kGnlHeaderSize : 0));
      line << ' ' << mode.mode << ' ' << phonebox::record_token({mode.vid, strnlen(mode.vid, kNicVidSize)});
    }
    record(line.str());
    if (control_.silent()) return;
    if (delay_ms_ > 0) usleep(static_cast<useconds_t>(delay_ms_) * 1000);

    GnlConfigRecord& out = out_;
    std::memset(&out, 0, sizeof out);
    std::memcpy(&out, in_.data(), kGnlHeaderSize);
    size_t out_size = kGnlHeaderSize + kGnlTrailer;
    out.data_length = 0;
    if (head->category == kCategoryNic && head->operation == kNicRefreshNames) {
      NicNamesData names{};
      put(names.wan, names_[0]);
      put(names.lan, names_[1]);
      put(names.wifi, names_[2]);
      std::memcpy(out.data, &names, sizeof names);
      out.data_length = sizeof names;
      out_size = gnl_datagram_size(sizeof names);
      out_size = apply_fault(out, names, out_size);
    }
    int sender = fd_;
    int other = -1;
    if (fault_ == Fault::kOtherPort) {
      other = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
      sender = other;
    }
    const int times = fault_ == Fault::kTwice ? 2 : 1;
    fault_ = Fault::kNone;
    for (int i = 0; i < times; ++i) sendto(sender, &out, out_size, 0, reinterpret_cast<sockaddr*>(&from), len);
    if (other >= 0) close(other);
  }

  static void put(char (&field)[kNicNameSize], const std::string& name) {
    std::memset(field, 0, sizeof field);
    std::memcpy(field, name.data(), std::min(name.size(), sizeof field));
  }

  // Spoils a names answer as the armed fault says; the bytes to send.
  size_t apply_fault(GnlConfigRecord& out, NicNamesData& names, size_t size) {
    switch (fault_) {
      case Fault::kMagic:
        out.magic = kGnlMagic + 1;
        break;
      case Fault::kCategory:
        out.category = kCategoryNetwork;
        break;
      case Fault::kShort:
        return kGnlHeaderSize - 1;
      case Fault::kCut:
        // The datagram ends 5 bytes into the WAN name.
        return kGnlHeaderSize + 5;
      case Fault::kUnterminated:
        std::memset(names.wan, 'W', kNicNameSize);
        std::memset(names.lan, 'L', kNicNameSize);
        std::memset(names.wifi, 'F', kNicNameSize);
        std::memcpy(out.data, &names, sizeof names);
        break;
      case Fault::kBig:
        std::memset(out.data + sizeof names, 'x', kGnlDataSize - sizeof names);
        out.data_length = static_cast<uint16_t>(kGnlDataSize);
        return kGnlBufferSize;
      default:
        break;
    }
    return size;
  }

  std::string count_command(const std::string&) { return std::to_string(count_); }
  std::string names_command(const std::string& rest) {
    std::istringstream in(rest);
    std::array<std::string, 3> next;
    if (!(in >> next[0] >> next[1] >> next[2])) return "error: names WAN LAN WIFI";
    // "-" stands for an empty name.
    for (auto& n : next)
      if (n == "-") n.clear();
    names_ = next;
    return "ok";
  }
  std::string delay_command(const std::string& rest) {
    delay_ms_ = std::max(0, std::atoi(rest.c_str()));
    return "ok";
  }
  std::string leave_command(const std::string&) {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    return "ok";
  }
  std::string join_command(const std::string&) {
    if (fd_ >= 0) return "ok";
    return open_service() ? "ok" : "error: port taken";
  }
  std::string fault_command(const std::string& rest) {
    for (const FaultName& f : kFaults)
      if (f.name == rest) {
        fault_ = f.fault;
        return "ok";
      }
    return "error: unknown fault";
  }

  static constexpr phonebox::ControlCommand<NetworkService> kCommands[] = {
      {"count", &NetworkService::count_command}, {"names", &NetworkService::names_command},
      {"delay", &NetworkService::delay_command}, {"leave", &NetworkService::leave_command},
      {"join", &NetworkService::join_command},   {"fault", &NetworkService::fault_command},
  };

  int fd_ = -1;
  phonebox::ControlPort control_;
  std::vector<uint8_t> in_ = std::vector<uint8_t>(kGnlBufferSize + 1);
  GnlConfigRecord out_{};
  std::array<std::string, 3> names_{"eth0", "eth1", "wlan0"};
  int delay_ms_ = 0;
  Fault fault_ = Fault::kNone;
  size_t count_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  static NetworkService service;  // 32 KiB records: not on the stack
  if (!service.start()) {
    phonebox::log_line(kPeer, "cannot start: port %u or control port %u taken", kNetworkPort,
                       phonebox::kControlPortNetwork);
    return 1;
  }
  phonebox::announce_ready(argc > 1 ? argv[1] : nullptr);
  service.run();
}
