// Pieces of the configuration client shared with the other users of the
// GnlConfigRecord frame (device-management questions, gl_data).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "phonecore/config.h"

struct json_object;

namespace phonecore::config {

// Fills the head of a request: magic, category, operation, the format word
// when one is given (nothing leaves it as the buffer held it), and the path,
// cut at 63 characters. The data length stays as it is.
void fill_head(GnlConfigRecord* record, uint16_t category, uint16_t operation, std::optional<uint16_t> format,
               const char* path);

// Sends the record (data_length + 77 bytes) to port 26001 and takes the
// reply into the same record. The reply's data length, cut to what came,
// when it has the magic and expect_category; nothing otherwise.
std::optional<size_t> exchange(GnlConfigRecord* record, uint16_t expect_category);

// The JSON of a reply datagram of size bytes, or null: what a read makes
// of the service's answer.
json_object* parse_reply(const uint8_t* bytes, size_t size);

}  // namespace phonecore::config
