/* phonecore: the board's GPIOs through sysfs ("/sys/class/gpio"): export,
 * direction and value, the hook switch (GPIO 59) and the audio path
 * selectors (outputs 10, 9, 11; inputs 8, 6, 7). */
#ifndef PHONECORE_GPIO_H
#define PHONECORE_GPIO_H

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Each number written as text to "export" ("unexport"), one write each.
 * 1; 0 for a null list, a count below 1 or when the file does not open. */
PHONECORE_API int openPort(const int *gpios, int count) PHONECORE_NOEXCEPT;
PHONECORE_API int closePort(const int *gpios, int count) PHONECORE_NOEXCEPT;
/* "in" for input, else "high" or "low". 1 or 0. */
PHONECORE_API int setPortDirection(int gpio, int output, int high) PHONECORE_NOEXCEPT;
/* atoi of up to 4 bytes of the value file. 1 or 0. */
PHONECORE_API int readPortValue(int gpio, int *value) PHONECORE_NOEXCEPT;
/* Every port output low (input). 1; 0 at the first failure. */
PHONECORE_API int initOutPort(const int *gpios, int count) PHONECORE_NOEXCEPT;
PHONECORE_API int initInPort(const int *gpios, int count) PHONECORE_NOEXCEPT;
/* The hook switch's value; -1 when it can't be read. */
PHONECORE_API int getHookStatus(void) PHONECORE_NOEXCEPT;
/* Selector 1, 2, 3 raises output 11, 10, 9; any other drives all low. */
PHONECORE_API int openAudioOutGPIO(int selector) PHONECORE_NOEXCEPT;
PHONECORE_API int closeAudioOutGPIO(void) PHONECORE_NOEXCEPT;
/* Selector 1, 2, 3: 8 low and (6, 7) low-low, high-high, low-high; 0 does
 * nothing (0), any other selector does nothing (1). */
PHONECORE_API int openAudioInGPIO(int selector) PHONECORE_NOEXCEPT;
PHONECORE_API int closeAudioInGPIO(void) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
