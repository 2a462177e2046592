// Any bytes arriving on a serial line (a pipe here), searched for any
// needle: UART_Recv_3 keeps at most UART_RECV_MAX - 1 bytes, keeps them
// terminated, never writes past its room and counts what it kept.
//
// Input: one byte of passes (1 or 2), one byte of needle length (0 to 15),
// the needle, then the line's bytes.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "phonecore/uart.h"

namespace {

constexpr size_t kGuard = 16;

// The line's bytes in a pipe whose writing end is closed: reads end at them.
int line_of(const uint8_t* data, size_t size) {
  int fds[2];
  if (pipe(fds) != 0) __builtin_trap();
  fcntl(fds[1], F_SETPIPE_SZ, 1 << 20);
  size_t done = 0;
  while (done < size) {
    const ssize_t n = write(fds[1], data + done, size - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  close(fds[1]);
  return fds[0];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int passes = 1 + (data[0] & 1);
  const size_t needle_size = std::min<size_t>(data[1] & 15, size - 2);
  const std::string needle(reinterpret_cast<const char*>(data + 2), needle_size);
  const uint8_t* line = data + 2 + needle_size;
  const size_t line_size = size - 2 - needle_size;

  static char room[UART_RECV_MAX + kGuard];
  std::memset(room, 0x5A, sizeof room);
  const int fd = line_of(line, line_size);
  const int n = UART_Recv_3(fd, room, needle.c_str(), passes);
  close(fd);
  for (size_t i = UART_RECV_MAX; i < sizeof room; ++i)
    if (room[i] != 0x5A) __builtin_trap();
  if (n < 0 || n > UART_RECV_MAX - 1 || static_cast<size_t>(n) > line_size) __builtin_trap();
  if (room[n] != '\0' || std::memcmp(room, line, static_cast<size_t>(n)) != 0) __builtin_trap();
  // Without a find the whole line was read; what fits is kept.
  const bool found = n >= 2 && room[n - 2] == '\r' && room[n - 1] == '\n' && std::strstr(room, needle.c_str());
  if (!found && static_cast<size_t>(n) != std::min<size_t>(line_size, UART_RECV_MAX - 1)) __builtin_trap();
  return 0;
}
