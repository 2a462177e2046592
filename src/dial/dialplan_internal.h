// The dial-plan engine's unit walk and group bookkeeping. They work on one
// segment of a compiled pattern (at most 30 characters and a terminator)
// and on the match state of one check.
#pragma once

#include "phonecore/dialplan.h"

namespace phonecore::dial {

// The unit behind the one at pos: a set is passed whole, then group marks
// are skipped. Null at the end of the segment. A null pos is a fault of the
// engine and stops the process.
const char* unit_next(const char* pos);

// Units of a segment: characters and sets; group marks have no width.
int count_units(const char* segment);

// How many units stand before the group mark at index ch_id.
int get_pair_pos(const char* segment, int ch_id);

// Stores a closed group in the first free pair of params; dropped when all
// 72 are taken.
void add_dstring_param(dstring* subject, const char* start, const char* end);

// Compiles a pattern into re; false when the pattern is invalid.
bool compile_pattern(const char* pattern, regexp* re);

// Wraps a number (null reads as empty) for one check.
void wrap_number(dstring* subject, const char* text);

// Whether one character fits the set that begins with '[' at set.
bool set_fits(const char* set, unsigned char ch);

}  // namespace phonecore::dial
