// The datagram of the configuration service (loopback UDP 26001), whose
// frame head the directory service (30001) and the network service (31001)
// share. Native byte order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

#include "phonecore/config.h"

namespace phonecore::config {

constexpr uint16_t kConfigPort = 26001;
constexpr uint16_t kDirectoryPort = 30001;
constexpr uint16_t kNetworkPort = 31001;

constexpr uint16_t kGnlMagic = 1535;  // 0x05FF

// Categories of the configuration service.
constexpr uint16_t kCategoryNetwork = 4096;
constexpr uint16_t kCategoryAccount = 4097;
constexpr uint16_t kCategoryCwmp = 4099;
constexpr uint16_t kCategoryStatus = 4100;
constexpr uint16_t kCategoryLdap = 4101;
constexpr uint16_t kCategoryFile = 4102;  // a file named by the path field

constexpr uint16_t kOperationRead = 1;
constexpr uint16_t kOperationWrite = 2;
constexpr uint16_t kOperationReload = 8197;  // 0x2005

constexpr uint16_t kFormatRaw = 0;
constexpr uint16_t kFormatJson = 1;

// kGnlHeaderSize = magic 2 + category 2 + operation 2 + format 2 +
// path length 2 + path 64 + data length 2.
constexpr size_t kGnlPathSize = 64;
constexpr size_t kGnlHeaderSize = 76;
constexpr size_t kGnlDataSize = 32768;
// Buffer of both ends: a header and 32768 data bytes.
constexpr size_t kGnlBufferSize = kGnlHeaderSize + kGnlDataSize;  // 32844
// Every datagram carries one byte past its data: data length + 77.
constexpr size_t kGnlTrailer = 1;

// The record itself is part of the exported interface (phonecore/config.h).
using ::GnlConfigRecord;
static_assert(sizeof(GnlConfigRecord) == kGnlBufferSize);
static_assert(offsetof(GnlConfigRecord, magic) == 0);
static_assert(offsetof(GnlConfigRecord, category) == 2);
static_assert(offsetof(GnlConfigRecord, operation) == 4);
static_assert(offsetof(GnlConfigRecord, format) == 6);
static_assert(offsetof(GnlConfigRecord, path_length) == 8);
static_assert(offsetof(GnlConfigRecord, path) == 10);
static_assert(offsetof(GnlConfigRecord, data_length) == 74);
static_assert(offsetof(GnlConfigRecord, data) == kGnlHeaderSize);
static_assert(sizeof(GnlConfigRecord::path) == kGnlPathSize);
static_assert(GNL_CONFIG_BUFFER_SIZE == kGnlBufferSize);

// Bytes that go out for a record holding data_length bytes of data.
constexpr size_t gnl_datagram_size(size_t data_length) { return data_length + kGnlHeaderSize + kGnlTrailer; }

// The frame head as received: length checked first, then magic. The data
// length is cut to what the datagram really holds.
struct GnlHead {
  uint16_t category;
  uint16_t operation;
  uint16_t format;
  uint16_t path_length;
  uint16_t data_length;
};

inline std::optional<GnlHead> decode_gnl_head(std::span<const uint8_t> bytes) {
  if (bytes.size() < kGnlHeaderSize) return std::nullopt;
  GnlConfigRecord r;
  std::memcpy(&r, bytes.data(), kGnlHeaderSize);
  if (r.magic != kGnlMagic) return std::nullopt;
  return GnlHead{r.category, r.operation, r.format, r.path_length, r.data_length};
}

}  // namespace phonecore::config
