// Message building into the fixed buffers of the send calls.
#pragma once

#include <cstddef>
#include <cstdint>

struct json_object;

namespace phonecore::bus {

// {"msgtype": name, "data": data} into buffer, cut at capacity - 1
// characters and always terminated; its length into *length. Takes over
// data. 0, or -1 when no text came.
int build_message(const char* name, json_object* data, char* buffer, size_t capacity, int* length);

// The 50 ms rule: a request call that took more than 50 ms says so on
// standard output, by name or by msgtype number; the result stays as it is.
// True when it printed.
constexpr uint32_t kSlowCallMs = 50;
bool report_slow_call(const char* name, uint32_t took_ms);
bool report_slow_call(int msgtype, uint32_t took_ms);

}  // namespace phonecore::bus
