// Small helpers shared by the simulated peers of the phone box: loopback
// UDP sockets, a readiness file and a line log on standard error.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

namespace phonebox {

inline sockaddr_in loopback(uint16_t port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return a;
}

// A UDP socket bound to 127.0.0.1:port, or -1.
inline int bind_udp(uint16_t port) {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in a = loopback(port);
  if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

inline void log_line(const char* peer, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
inline void log_line(const char* peer, const char* fmt, ...) {
  char text[512];
  va_list ap;
  va_start(ap, fmt);
  vsnprintf(text, sizeof text, fmt, ap);
  va_end(ap);
  fprintf(stderr, "%s: %s\n", peer, text);
}

// The box waits for this file before it runs the command.
inline void announce_ready(const char* path) {
  if (path == nullptr) return;
  FILE* f = fopen(path, "w");
  if (f != nullptr) fclose(f);
}

}  // namespace phonebox
