/* phonecore: loopback UDP transport.
 *
 * One listener thread per bound socket calls a handler for every datagram;
 * one-shot senders and a send-and-wait exchange open a socket of their own
 * for each call, so any thread may use them. Addresses are IPv4 dotted
 * text. */
#ifndef PHONECORE_UDP_H
#define PHONECORE_UDP_H

#include <netinet/in.h>
#include <pthread.h>
#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Default receive and reply buffer of a listener, in bytes. */
#define UDP_LISTEN_DEFAULT_BUFFER 16384

/* Called on the listener's thread for each datagram. received holds length
 * bytes and a 0 behind them. A positive result sends the first *reply_length
 * bytes of reply back to the sender (*reply_length is 0 on entry, reply has
 * buffer_size bytes). */
typedef int (*UdpHandler)(void *user, struct sockaddr_in *sender, char *received, int length, char *reply,
                          int *reply_length);

/* One listening socket, owned by the caller. */
typedef struct UdpListener {
    uint32_t port;                     /* port to bind; low 16 bits used */
    int32_t buffer_size;               /* 0 or less: 16384, written back */
    const char *address;               /* dotted address to bind */
    const char *name;                  /* label, stored only */
    UdpHandler handler;                /* may be NULL */
    int32_t run;                       /* 1 while the listener is to go on */
    int32_t running;                   /* 1 while the thread lives */
    int32_t socket;                    /* socket descriptor */
    struct sockaddr_in *local_address; /* the address in use; set once bound */
    pthread_t thread;
    void *user; /* first argument of the handler */
} UdpListener;

/* Starts the detached listener thread ("zknetwork"). Returns -1 when the
 * thread was created; do not rely on the result either way. */
PHONECORE_API int udp_listen_thread_start(UdpListener *listener, pthread_t *thread_id) PHONECORE_NOEXCEPT;
/* Ends the listener: the socket is shut down, the thread closes it and
 * ends, and the call returns once it has (at once, or within about a
 * second). Returns 0. */
PHONECORE_API int udp_listen_thread_stop(UdpListener *listener, void *unused) PHONECORE_NOEXCEPT;
/* The listener thread's body: binds and serves, retrying a failed bind every
 * 30 ms while run is 1. */
PHONECORE_API void *udp_listen_thread_while(void *listener) PHONECORE_NOEXCEPT;
/* One socket's life: bind, then serve until stopped. Returns the socket, or
 * -1 when it could not be bound. */
PHONECORE_API int udp_start_threadreal(UdpListener *listener) PHONECORE_NOEXCEPT;
/* The receive loop of a bound listener. */
PHONECORE_API void do_echo(struct sockaddr *address, socklen_t address_size, UdpListener *listener) PHONECORE_NOEXCEPT;

/* strlen(text) bytes from a new socket. Result of close, or the negative
 * result of socket. */
PHONECORE_API int udp_send_string(const char *address, int port, const char *text) PHONECORE_NOEXCEPT;
PHONECORE_API int udp_send_data(const char *address, int port, const void *data, int length) PHONECORE_NOEXCEPT;
/* Sends on the given socket, which stays open. The sendto result. */
PHONECORE_API int udp_send_data2(int socket, const char *address, int port, const void *data,
                                 int length) PHONECORE_NOEXCEPT;
/* One exchange: send, then one datagram back into reply, whose capacity is
 * *reply_capacity on entry and the received length on return. 0, or -1 on
 * error or when nothing came within timeout_ms. */
PHONECORE_API int udp_send_data_wait_timeout(const char *address, int port, const void *data, int length, void *reply,
                                             int *reply_capacity, int timeout_ms) PHONECORE_NOEXCEPT;
/* The same with a limit of 5000 ms. */
PHONECORE_API int udp_send_data_wait(const char *address, int port, const void *data, int length, void *reply,
                                     int *reply_capacity) PHONECORE_NOEXCEPT;
/* Sends to 255.255.255.255 and the port from a new broadcast socket. 0, or
 * -1. */
PHONECORE_API int UdpBroadCastSend(int port, const void *data, int length) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
