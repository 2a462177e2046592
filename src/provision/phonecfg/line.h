// The pure parts of the phone.cfg import: the reader of one line or item
// and the tests of a value. Nothing here touches a file or a service, so
// all of it is tested and fuzzed directly.
#pragma once

#include <cstddef>

#include "phonecore/phonecfg.h"

namespace phonecore::phonecfg {

// Room of each half of a pair; at most kTextSize - 1 characters are kept.
inline constexpr size_t kTextSize = PHONECFG_TEXT_SIZE;
static_assert(kTextSize == 64);

// Stored characters (key and value together) after which the reader skips
// one input character behind each character it stores.
inline constexpr int kSkipAfter = 62;

// Reads item (null: empty) into key and value, both kTextSize bytes,
// cleared first. 1 when a value character was stored or the line is a
// comment, else 0.
int read_line(const char* item, char* key, char* value);

// The value tests of the key table.
bool is_ipv4(const char* text);
bool is_zero_or_one(const char* text);
bool is_zero_to_three(const char* text);
bool all_digits(const char* text);    // "" passes
bool names_network(const char* key);  // "Network" or "Static" anywhere

// atoi as the board reads a digit string: a 32-bit long saturates, so a
// run of digits too large for int never wraps into a small number.
int board_atoi(const char* text);

// The backlight's PWM duty cycle for a level: 100 at level 0, floor at
// level 100, falling in steps of 100 / (100 - floor) between. Any
// integers give a result; nothing overflows.
int backlight_duty(int level, int floor);

}  // namespace phonecore::phonecfg
