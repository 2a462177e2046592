/* phonecore: the LEDs, driven through the character device "/dev/zlt_led",
 * and plain device access. */
#ifndef PHONECORE_LED_H
#define PHONECORE_LED_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define LED_MODE_OFF 0
#define LED_MODE_ON 1
#define LED_MODE_BLINK 2

/* What the driver takes: LED number, mode, on and off time. */
typedef struct LedRequest {
    int32_t num;
    int32_t mode;
    int32_t on_time;
    int32_t off_time;
} LedRequest;

/* The LED request: _IOW(0xA9, 0xF4, int32_t); the driver reads 16 bytes. */
#define LED_IOCTL_SET 0x4004A9F4u

/* LED id and colour to the LED number of this board, -1 for none fitted.
 * Ended by a row with id -1. */
typedef struct VornLedRow {
    int32_t id;
    int32_t colour;
    int32_t num;
} VornLedRow;

PHONECORE_API extern VornLedRow vorn_led_list[];
/* The open LED device, 0 or below when closed. One owner thread. */
PHONECORE_API extern int led_ctrl_file_fd;

PHONECORE_API int open_led_device(void) PHONECORE_NOEXCEPT;
PHONECORE_API int close_led_device(void) PHONECORE_NOEXCEPT;
PHONECORE_API int openLedGPIO(void) PHONECORE_NOEXCEPT;
PHONECORE_API int closeLedGPIO(void) PHONECORE_NOEXCEPT;
/* On and off time both time / 4; opens the device when needed. 0 or -1. */
PHONECORE_API int vorn_set_led(int num, int mode, int time) PHONECORE_NOEXCEPT;
/* On / 2 and off / 2; the device must be open. 0 or -1. */
PHONECORE_API int vorn_set_led_mode2(int num, int mode, int on_time, int off_time) PHONECORE_NOEXCEPT;
/* All rows of id off, then the row of id and colour (colour -1: none) in
 * mode, blinking when time is above 0. */
PHONECORE_API int switchLedLight(int id, int colour, int mode, int time) PHONECORE_NOEXCEPT;
/* The upgrade indication. 0. */
PHONECORE_API int upgrade_led(void) PHONECORE_NOEXCEPT;
/* Never returns: LED 0 and 1 on in turn, 2 seconds each. */
PHONECORE_API int led_test(void) PHONECORE_NOEXCEPT;

/* A device opened for reading and writing; -1 with "device open fail". */
PHONECORE_API int open_device(const char *path) PHONECORE_NOEXCEPT;
PHONECORE_API int close_device(int fd) PHONECORE_NOEXCEPT;
PHONECORE_API int read_device(int fd, void *buf, int length) PHONECORE_NOEXCEPT;
PHONECORE_API int write_device(int fd, const void *data, int length) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
