// Serial ports through termios. Reads wait on the port's own timer (VTIME
// 20: two seconds without a byte), never on O_NONBLOCK, so a silent port
// costs each pass of UART_Recv_2 and UART_Recv_3 two seconds.

#include "phonecore/uart.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace phonecore::device {
namespace {

constexpr cc_t kReadTimeout = 20;  // tenths of a second
constexpr useconds_t kPassPauseUs = 1000;

// passes rounds of single-byte reads into buf (UART_RECV_MAX, kept
// terminated); with a needle, each CR LF ends the wait when it has come.
int receive(int fd, char* buf, const char* needle, int passes) {
  if (buf == nullptr) return 0;
  int total = 0;
  buf[0] = '\0';
  for (int pass = 0; pass < passes; ++pass) {
    char c;
    while (::read(fd, &c, 1) == 1) {
      if (total >= UART_RECV_MAX - 1) continue;  // full: the rest is drained, not kept
      buf[total++] = c;
      buf[total] = '\0';
      if (needle != nullptr && total >= 2 && buf[total - 2] == '\r' && buf[total - 1] == '\n' &&
          std::strstr(buf, needle) != nullptr)
        return total;
    }
    usleep(kPassPauseUs);
  }
  return total;
}

}  // namespace
}  // namespace phonecore::device

namespace dev = phonecore::device;

extern "C" {

int UART_Open(int, const char* path) noexcept {
  const int fd = path != nullptr ? ::open(path, O_RDWR | O_NOCTTY) : -1;
  if (fd < 0) {
    std::printf("Can't Open Serial Port:%s", path != nullptr ? path : "(null)");
    return -1;
  }
  return fd;
}

int UART_Close(int fd) noexcept { return ::close(fd); }

int UART_Set(int fd, int speed) noexcept {
  termios options{};
  tcgetattr(fd, &options);
  options.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY | ICRNL | INLCR | IGNCR);
  options.c_iflag |= IGNPAR;
  options.c_oflag = 0;
  options.c_lflag = 0;
  options.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | CRTSCTS);
  options.c_cflag |= CS8 | CREAD | CLOCAL;
  options.c_cc[VTIME] = dev::kReadTimeout;
  options.c_cc[VMIN] = 0;
  // A number that is no termios constant (115200 for B115200) is refused
  // here and the speed stays as it was.
  cfsetispeed(&options, static_cast<speed_t>(speed));
  cfsetospeed(&options, static_cast<speed_t>(speed));
  tcflush(fd, TCIFLUSH);
  tcsetattr(fd, TCSANOW, &options);
  return 0;
}

int UART_Init(int fd, int speed) noexcept {
  UART_Set(fd, speed);
  return 0;
}

int UART_Recv(int fd, char* buf, int length) noexcept {
  if (buf == nullptr || length < 0) return -1;
  return static_cast<int>(::read(fd, buf, static_cast<size_t>(length)));
}

int UART_Send(int fd, const char* data, int length) noexcept {
  if (data == nullptr || length < 0) return -1;
  const ssize_t n = ::write(fd, data, static_cast<size_t>(length));
  if (n == length) return length;
  tcflush(fd, TCOFLUSH);
  return -1;
}

int UART_Recv_2(int fd, char* buf, int passes) noexcept { return dev::receive(fd, buf, nullptr, passes); }

int UART_Recv_3(int fd, char* buf, const char* needle, int passes) noexcept {
  return dev::receive(fd, buf, needle != nullptr ? needle : "", passes);
}

}  // extern "C"
