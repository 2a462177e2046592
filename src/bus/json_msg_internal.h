// Message building into the fixed buffers of the send calls.
#pragma once

#include <cstddef>

struct json_object;

namespace phonecore::bus {

// {"msgtype": name, "data": data} into buffer, cut at capacity - 1
// characters and always terminated; its length into *length. Takes over
// data. 0, or -1 when no text came.
int build_message(const char* name, json_object* data, char* buffer, size_t capacity, int* length);

}  // namespace phonecore::bus
