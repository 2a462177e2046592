// Loopback UDP: the listener thread, one-shot senders and the
// send-and-wait exchange that the configuration clients use by the dozen.

#include <arpa/inet.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/atomic_field.h"
#include "phonecore/udp.h"

using phonecore::base::load;
using phonecore::base::store;

using phonecore::base::load;
using phonecore::base::store;

namespace {

constexpr useconds_t kStopPollUs = 500;
constexpr useconds_t kRebindPauseUs = 30000;
constexpr int kDefaultWaitMs = 5000;

sockaddr_in make_address(const char* address, int port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  // A bad address text is not noticed: the datagram goes to 0.0.0.0.
  if (address != nullptr) inet_aton(address, &a.sin_addr);
  return a;
}

int send_once(const char* address, int port, const void* data, int length) {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return fd;
  sockaddr_in a = make_address(address, port);
  if (data != nullptr && length >= 0)
    sendto(fd, data, static_cast<size_t>(length), 0, reinterpret_cast<sockaddr*>(&a), sizeof a);
  return close(fd);
}

}  // namespace

extern "C" {

void do_echo(struct sockaddr* address, socklen_t address_size, UdpListener* l) noexcept {
  if (l == nullptr) return;
  if (l->buffer_size <= 0) l->buffer_size = UDP_LISTEN_DEFAULT_BUFFER;
  const int size = l->buffer_size;
  // One byte more than the buffer size: a datagram of exactly buffer_size
  // bytes still gets its terminating 0.
  char* received = static_cast<char*>(std::calloc(1, static_cast<size_t>(size) + 1));
  char* reply = static_cast<char*>(std::calloc(1, static_cast<size_t>(size) + 1));
  while (received != nullptr && reply != nullptr && load(l->run) == 1) {
    const int fd = load(l->socket);
    if (fd < 0 || fd >= FD_SETSIZE) break;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval limit{1, 0};
    if (select(fd + 1, &readable, nullptr, nullptr, &limit) <= 0) continue;
    if (load(l->run) != 1) break;  // woken by the stop
    socklen_t from_size = address_size;
    ssize_t n = recvfrom(fd, received, static_cast<size_t>(size), 0, address, &from_size);
    if (n < 0 || l->handler == nullptr) continue;
    received[n] = 0;
    int reply_length = 0;
    int r = l->handler(l->user, reinterpret_cast<sockaddr_in*>(address), received, static_cast<int>(n), reply,
                       &reply_length);
    if (r > 0 && reply_length >= 0 && reply_length <= size)
      sendto(fd, reply, static_cast<size_t>(reply_length), 0, address, from_size);
  }
  std::free(received);
  std::free(reply);
}

int udp_start_threadreal(UdpListener* l) noexcept {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  store(l->socket, fd);
  if (fd < 0) return -1;
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = inet_addr(l->address != nullptr ? l->address : "0.0.0.0");
  local.sin_port = htons(static_cast<uint16_t>(l->port & 0xFFFF));
  int one = 1;
  int r = setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &one, sizeof one);
  if (r != 0) return r;
  if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0) {
    close(fd);
    store(l->socket, -1);
    return -1;
  }
  if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
    perror("bind error");
    close(fd);
    // The number may be handed to another descriptor at once: it must not
    // be shut down or closed again by a stop.
    store(l->socket, -1);
    return -1;
  }
  // local_address is set once the socket is bound and cleared before it
  // closes: the owner of the listener waits on it to know that datagrams
  // to the port are received.
  store(l->local_address, &local);
  sockaddr_in sender{};
  do_echo(reinterpret_cast<sockaddr*>(&sender), sizeof sender, l);
  // The stop has shut the socket down; this thread, the only one that
  // reads it, closes it before the stop sees the thread end.
  store(l->local_address, static_cast<sockaddr_in*>(nullptr));
  close(fd);
  return fd;
}

void* udp_listen_thread_while(void* arg) noexcept {
  auto* l = static_cast<UdpListener*>(arg);
  pthread_detach(pthread_self());
  prctl(PR_SET_NAME, "zknetwork", 0, 0, 0);
  store(l->running, 1);
  while (load(l->run) == 1) {
    udp_start_threadreal(l);
    usleep(kRebindPauseUs);
  }
  store(l->running, 0);
  return nullptr;
}

int udp_listen_thread_start(UdpListener* l, pthread_t* thread_id) noexcept {
  if (l == nullptr) return -1;
  store(l->run, 1);
  pthread_t t;
  if (pthread_create(&t, nullptr, udp_listen_thread_while, l) == 0) {
    l->thread = t;
    if (thread_id != nullptr) *thread_id = t;
    // The thread was created: the answer is -1 all the same.
    return -1;
  }
  // No thread: wait for one that will never run, and end this thread.
  while (load(l->running) != 1) usleep(kStopPollUs);
  pthread_exit(nullptr);
}

int udp_listen_thread_stop(UdpListener* l, void*) noexcept {
  if (l == nullptr) return 0;
  // Clear run, then wake the receive loop; the listener closes its socket
  // on the way out.
  store(l->run, 0);
  const int fd = load(l->socket);
  if (fd >= 0) shutdown(fd, SHUT_RDWR);
  while (load(l->running) == 1) {
    store(l->run, 0);
    usleep(kStopPollUs);
  }
  return 0;
}

int udp_send_string(const char* address, int port, const char* text) noexcept {
  return send_once(address, port, text, text != nullptr ? static_cast<int>(std::strlen(text)) : -1);
}

int udp_send_data(const char* address, int port, const void* data, int length) noexcept {
  return send_once(address, port, data, length);
}

int udp_send_data2(int fd, const char* address, int port, const void* data, int length) noexcept {
  if (data == nullptr || length < 0) return -1;
  sockaddr_in a = make_address(address, port);
  return static_cast<int>(sendto(fd, data, static_cast<size_t>(length), 0, reinterpret_cast<sockaddr*>(&a), sizeof a));
}

int udp_send_data_wait_timeout(const char* address, int port, const void* data, int length, void* reply,
                               int* reply_capacity, int timeout_ms) noexcept {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  timeval limit{timeout_ms / 1000, (timeout_ms % 1000) * 1000};
  if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) {
    close(fd);
    return -1;
  }
  sockaddr_in a = make_address(address, port);
  if (data != nullptr && length >= 0)
    sendto(fd, data, static_cast<size_t>(length), 0, reinterpret_cast<sockaddr*>(&a), sizeof a);
  ssize_t n = -1;
  if (reply != nullptr && reply_capacity != nullptr && *reply_capacity >= 0)
    n = recvfrom(fd, reply, static_cast<size_t>(*reply_capacity), 0, nullptr, nullptr);
  close(fd);
  if (n < 0) return -1;
  *reply_capacity = static_cast<int>(n);
  return 0;
}

int udp_send_data_wait(const char* address, int port, const void* data, int length, void* reply,
                       int* reply_capacity) noexcept {
  return udp_send_data_wait_timeout(address, port, data, length, reply, reply_capacity, kDefaultWaitMs);
}

int UdpBroadCastSend(int port, const void* data, int length) noexcept {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &one, sizeof one);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  a.sin_addr.s_addr = htonl(INADDR_BROADCAST);
  ssize_t n = -1;
  if (data != nullptr && length >= 0)
    n = sendto(fd, data, static_cast<size_t>(length), 0, reinterpret_cast<sockaddr*>(&a), sizeof a);
  close(fd);
  return n < 0 ? -1 : 0;
}

}  // extern "C"
