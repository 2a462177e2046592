/* phonecore: the LCD backlight, a PWM of "/sys/class/pwm/pwmchip0" with a
 * period of 1000 and a duty of 5 (dim) to 60 (full). Its level, in
 * percent, and power saving are kept in "system.cfg" under "hardware". */
#ifndef PHONECORE_BACKLIGHT_H
#define PHONECORE_BACKLIGHT_H

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Whether this process switched the backlight on. */
PHONECORE_API extern int lcd_backlight_on;

PHONECORE_API int openLcdBackLightGPIO(void) PHONECORE_NOEXCEPT;
PHONECORE_API int closeLcdBackLightGPIO(void) PHONECORE_NOEXCEPT;
/* 1 on, anything else off. 0. */
PHONECORE_API int switchLcdBackLight(int on) PHONECORE_NOEXCEPT;
/* minimum + (maximum - minimum) * (level / 100) in single precision,
 * truncated. No clamp. */
PHONECORE_API int change_backlight_new(int level, int minimum, int maximum) PHONECORE_NOEXCEPT;
/* op non-zero: store level, power save and time and set the duty at once;
 * op 0: read them (level 100 when none is stored). 0. */
PHONECORE_API int config_advance_hardware(int op, int *level, int *power_save, int *time) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
