/* phonecore: serial ports through termios: 8 data bits, no parity, raw,
 * reads that wait at most 2 seconds (VTIME 20, VMIN 0). */
#ifndef PHONECORE_UART_H
#define PHONECORE_UART_H

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Room of the buffer of UART_Recv_2 and UART_Recv_3: they keep at most
 * UART_RECV_MAX - 1 bytes and terminate them. */
#define UART_RECV_MAX 4096

/* fd is not used. The port's descriptor, -1 with "Can't Open Serial Port". */
PHONECORE_API int UART_Open(int fd, const char *path) PHONECORE_NOEXCEPT;
PHONECORE_API int UART_Close(int fd) PHONECORE_NOEXCEPT;
/* speed is a termios constant (B9600 ...); 0. */
PHONECORE_API int UART_Set(int fd, int speed) PHONECORE_NOEXCEPT;
PHONECORE_API int UART_Init(int fd, int speed) PHONECORE_NOEXCEPT;
PHONECORE_API int UART_Recv(int fd, char *buf, int length) PHONECORE_NOEXCEPT;
/* length bytes; -1 on a short write. */
PHONECORE_API int UART_Send(int fd, const char *data, int length) PHONECORE_NOEXCEPT;
/* passes rounds of single-byte reads, 1 ms apart; the byte count. */
PHONECORE_API int UART_Recv_2(int fd, char *buf, int passes) PHONECORE_NOEXCEPT;
/* The same; after each CR LF, returns at once when needle is received. */
PHONECORE_API int UART_Recv_3(int fd, char *buf, const char *needle, int passes) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
