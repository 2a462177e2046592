// The board's second serial port and the modem behind it: a
// pseudo-terminal whose terminal end is linked as /dev/ttyS1.
//
// A line (ended by CR or LF) that begins with "AT" is answered "OK\r\n";
// every non-empty line is recorded. A control port (UDP 27032) switches
// how the answer comes: not at all, one byte a second, without CR LF,
// behind NUL bytes, behind a 64 KiB flood, or as a hang-up of the line
// (after which a fresh terminal takes the link). No input stops the peer.
// What each mode sends is written down in sim/README.md.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "peer.h"

namespace {

constexpr const char* kPeer = "uartd";
constexpr const char* kLink = "/dev/ttyS1";
// A line longer than this is recorded cut; the rest up to its end is
// dropped, so that a flood without line ends never grows the peer.
constexpr size_t kMaxLine = 1024;
constexpr size_t kFloodBytes = 64 * 1024;
constexpr std::string_view kAnswer = "OK\r\n";

enum class Mode { kNormal, kSlow, kNoCrLf, kNul, kFlood, kHangUp };

struct ModeName {
  std::string_view name;
  Mode mode;
};
constexpr std::array kModes{
    ModeName{"normal", Mode::kNormal}, ModeName{"slow", Mode::kSlow},   ModeName{"nocrlf", Mode::kNoCrLf},
    ModeName{"nul", Mode::kNul},       ModeName{"flood", Mode::kFlood}, ModeName{"hangup", Mode::kHangUp},
};

using Clock = std::chrono::steady_clock;

class SerialModem {
 public:
  bool start() { return open_line() && control_.open(phonebox::kControlPortSerial); }

  void run() {
    for (;;) {
      std::array<pollfd, 2> fds{pollfd{control_.fd(), POLLIN, 0}, pollfd{master_, POLLIN, 0}};
      if (!pending_.empty() && !slow_wait()) fds[1].events |= POLLOUT;
      if (poll(fds.data(), fds.size(), timeout_ms()) < 0) continue;
      if (fds[0].revents & POLLIN)
        control_.serve(*this, std::span<const phonebox::ControlCommand<SerialModem>>(kCommands));
      if (fds[1].revents & POLLIN) hear();
      send_pending();
    }
  }

 private:
  // A new pseudo-terminal, raw, its terminal end linked at /dev/ttyS1. The
  // peer keeps the terminal end open too: the line never reads as hung up
  // while no client has it open.
  bool open_line() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) return false;
    const char* name = ptsname(master_);
    if (name == nullptr) return false;
    slave_ = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave_ < 0) return false;
    termios t{};
    tcgetattr(slave_, &t);
    cfmakeraw(&t);
    tcsetattr(slave_, TCSANOW, &t);
    ::unlink(kLink);
    return ::symlink(name, kLink) == 0;
  }

  void hang_up() {
    close(master_);
    close(slave_);
    master_ = slave_ = -1;
    pending_.clear();
    control_.record("hangup");
    if (!open_line()) {
      phonebox::log_line(kPeer, "cannot make a new terminal after a hang-up");
      std::exit(1);
    }
  }

  void hear() {
    char buf[4096];
    const ssize_t n = read(master_, buf, sizeof buf);
    if (n <= 0) return;
    for (ssize_t i = 0; i < n; ++i) {
      const char c = buf[i];
      if (c != '\r' && c != '\n') {
        if (line_.size() < kMaxLine) line_.push_back(c);
        continue;
      }
      if (line_.empty()) continue;
      const std::string line = std::exchange(line_, std::string());
      control_.record(phonebox::record_token(line));
      if (control_.silent()) continue;
      if (line.size() >= 2 && (line.compare(0, 2, "AT") == 0 || line.compare(0, 2, "at") == 0)) {
        if (answer()) return;  // hung up: the rest of the read went with the line
      }
    }
  }

  // Queues the answer as the mode says; true when the line was hung up.
  bool answer() {
    switch (mode_) {
      case Mode::kNormal:
      case Mode::kSlow:
        pending_ += kAnswer;
        break;
      case Mode::kNoCrLf:
        pending_ += "OK";
        break;
      case Mode::kNul:
        pending_.append(4, '\0');
        pending_ += kAnswer;
        break;
      case Mode::kFlood:
        pending_.append(kFloodBytes, 'U');
        pending_ += kAnswer;
        break;
      case Mode::kHangUp:
        hang_up();
        return true;
    }
    return false;
  }

  bool slow_wait() const { return mode_ == Mode::kSlow && Clock::now() < next_slow_; }

  int timeout_ms() const {
    if (pending_.empty() || mode_ != Mode::kSlow) return -1;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next_slow_ - Clock::now()).count();
    return static_cast<int>(std::max<long long>(0, left));
  }

  void send_pending() {
    if (pending_.empty() || slow_wait()) return;
    const size_t room = mode_ == Mode::kSlow ? 1 : pending_.size();
    const ssize_t n = write(master_, pending_.data(), room);
    if (n <= 0) return;  // full: poll says when there is room
    pending_.erase(0, static_cast<size_t>(n));
    if (mode_ == Mode::kSlow) next_slow_ = Clock::now() + std::chrono::seconds(1);
  }

  // A new mode drops what is still to be sent and what the terminal holds
  // unread, so that a flood never reaches the next test.
  std::string mode_command(const std::string& rest) {
    for (const ModeName& m : kModes)
      if (m.name == rest) {
        mode_ = m.mode;
        pending_.clear();
        line_.clear();
        tcflush(slave_, TCIOFLUSH);
        next_slow_ = Clock::now();
        return "ok";
      }
    return "error: mode normal|slow|nocrlf|nul|flood|hangup";
  }
  std::string path_command(const std::string&) {
    const char* name = ptsname(master_);
    return name != nullptr ? name : "";
  }

  static constexpr phonebox::ControlCommand<SerialModem> kCommands[] = {
      {"mode", &SerialModem::mode_command},
      {"path", &SerialModem::path_command},
  };

  int master_ = -1;
  int slave_ = -1;
  phonebox::ControlPort control_;
  Mode mode_ = Mode::kNormal;
  std::string line_;
  std::string pending_;
  Clock::time_point next_slow_{};
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  static SerialModem modem;
  if (!modem.start()) {
    phonebox::log_line(kPeer, "cannot start: no pseudo-terminal at %s or control port %u taken", kLink,
                       phonebox::kControlPortSerial);
    return 1;
  }
  phonebox::announce_ready(argc > 1 ? argv[1] : nullptr);
  modem.run();
}
