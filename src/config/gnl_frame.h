// The datagram of the configuration service (loopback UDP 26001), whose
// frame the directory service (30001) and the network service (31001)
// share: every code of the three services, the records carried in the
// frame, and the one send-and-receive of a frame. Native byte order.
//
// This header is shared with the peers of the phone box, which answer the
// frames: it holds records and codes only, and frame_exchange is inline so
// that a peer that never calls it needs none of the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <type_traits>

#include "phonecore/config.h"
#include "phonecore/udp.h"

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
constexpr uint16_t kCategoryFile = 4102;  // 0x1006, a file named by the path field
// Questions of the device-management agent (the operation is the question)
// and requests of the network service share one category word.
constexpr uint16_t kCategoryQuestion = 4108;  // 0x100C
constexpr uint16_t kCategoryNic = kCategoryQuestion;

static_assert(kCategoryNetwork == GNL_CATEGORY_NETWORK);
static_assert(kCategoryAccount == GNL_CATEGORY_ACCOUNT);
static_assert(kCategoryCwmp == GNL_CATEGORY_CWMP);
static_assert(kCategoryStatus == GNL_CATEGORY_STATUS);
static_assert(kCategoryLdap == GNL_CATEGORY_LDAP);
static_assert(kCategoryFile == GNL_CATEGORY_FILE);

// Operations of the configuration service.
constexpr uint16_t kOperationRead = 1;
constexpr uint16_t kOperationWrite = 2;
constexpr uint16_t kOperationReload = 8197;            // 0x2005
constexpr uint16_t kOperationUploadConfig = 0x3009;    // take up "/appconfigs/phone.cfg"
constexpr uint16_t kOperationDownloadConfig = 0x300A;  // the reverse request
// gl_data, on the file category: see GlDataBody.
constexpr uint16_t kGlWrite = 0x3005;
constexpr uint16_t kGlRead = 0x3006;
constexpr uint16_t kGlReset = 0x3007;
constexpr uint16_t kGlDataFormat = 2;

// Questions (category kCategoryQuestion).
constexpr uint16_t kQuestionAccount = 0x2004;
constexpr uint16_t kQuestionFileExists = 0x3008;

// Operations of the network service (category kCategoryNic).
constexpr uint16_t kNicRefreshNames = 0x3003;
constexpr uint16_t kNicSetMode = 0x3004;

// List types and commands of the directory service (see LocalListPacket).
constexpr uint16_t kListContacts = 0x1007;
constexpr uint16_t kListHistory = 0x1009;
constexpr uint16_t kListBlock = 0x100A;
constexpr uint16_t kListAllow = 0x100B;
constexpr uint16_t kListGet = 0x2002;
constexpr uint16_t kListAdd = 0x2003;
constexpr uint16_t kListDelete = 0x2006;
constexpr uint16_t kListChange = 0x2007;
constexpr uint16_t kListFind = 0x2008;
constexpr uint16_t kListFindName = 0x2009;
constexpr uint16_t kListMigrate = 0x200A;
constexpr uint16_t kListGroupRemoved = 0x200F;  // 8207
constexpr uint16_t kListClass = 1;

constexpr uint16_t kFormatRaw = 0;
constexpr uint16_t kFormatJson = 1;
constexpr uint16_t kFormatConfigFile = 2;  // the take-up of phone.cfg and its reverse

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

// gl_data: volatile 32-bit values by key, kept by the configuration
// service. The body takes the place of the path-length word and the start of
// the path: offset 8 holds the size of key and value (8; 0 for the reset),
// offsets 10 and 14 the key and the value. A read is answered with the value
// at offset 14. Data length 0: every datagram is 77 bytes.
struct [[gnu::packed]] GlDataBody {
  uint16_t pair_size;
  int32_t key;
  int32_t value;
};
static_assert(sizeof(GlDataBody) == 10);
static_assert(offsetof(GlDataBody, key) == 2);
static_assert(offsetof(GlDataBody, value) == 6);
constexpr size_t kGlBodyOffset = offsetof(GnlConfigRecord, path_length);
static_assert(kGlBodyOffset == 8);
constexpr uint16_t kGlPairSize = 8;
constexpr size_t kGlKeyOffset = kGlBodyOffset + offsetof(GlDataBody, key);
constexpr size_t kGlValueOffset = kGlBodyOffset + offsetof(GlDataBody, value);
static_assert(kGlKeyOffset == 10 && kGlValueOffset == 14);

inline void put_gl_body(GnlConfigRecord& r, const GlDataBody& body) {
  std::memcpy(reinterpret_cast<uint8_t*>(&r) + kGlBodyOffset, &body, sizeof body);
}

inline GlDataBody gl_body(const GnlConfigRecord& r) {
  GlDataBody body;
  std::memcpy(&body, reinterpret_cast<const uint8_t*>(&r) + kGlBodyOffset, sizeof body);
  return body;
}

// The network service: operation kNicRefreshNames (data length 0) is
// answered with the three interface names; kNicSetMode carries NicModeData.
constexpr size_t kNicNameSize = 16;
struct NicNamesData {
  char wan[kNicNameSize];
  char lan[kNicNameSize];
  char wifi[kNicNameSize];
};
static_assert(sizeof(NicNamesData) == 48);
static_assert(offsetof(NicNamesData, lan) == 16);
static_assert(offsetof(NicNamesData, wifi) == 32);

constexpr size_t kNicVidSize = 8;
struct NicModeData {
  int32_t mode;
  char vid[kNicVidSize];  // the first 8 bytes of the vid text, no terminator needed
};
static_assert(sizeof(NicModeData) == 12);
static_assert(offsetof(NicModeData, vid) == 4);

// The frame as the directory service uses it. The room of the path is
// zero; payload length at 74 and payload at 76 as in GnlConfigRecord.
struct LocalListPacket {
  uint16_t magic;          // kGnlMagic
  uint16_t list_type;      // kListContacts ...
  uint16_t command;        // kListGet ...
  uint16_t command_class;  // kListClass
  uint8_t reserved[66];
  uint16_t payload_length;
  uint8_t payload[kGnlDataSize];
};
static_assert(sizeof(LocalListPacket) == kGnlBufferSize);
static_assert(offsetof(LocalListPacket, list_type) == 2);
static_assert(offsetof(LocalListPacket, command) == 4);
static_assert(offsetof(LocalListPacket, command_class) == 6);
static_assert(offsetof(LocalListPacket, reserved) == 8);
static_assert(offsetof(LocalListPacket, payload_length) == offsetof(GnlConfigRecord, data_length));
static_assert(offsetof(LocalListPacket, payload) == kGnlHeaderSize);

// The head of a list payload (contacts, block list, allow list).
struct ListPayloadHead {
  int32_t total_length;  // 28 for a get or delete, 364 with one record
  int32_t start;         // get
  int32_t count;         // wanted (get), 1 (add, change, delete, find), returned (reply)
  int32_t id;            // delete
  int32_t unused16;
  int32_t selector;  // group (get), kind (delete)
  int32_t unused24;
};
static_assert(sizeof(ListPayloadHead) == 28);
static_assert(offsetof(ListPayloadHead, start) == 4);
static_assert(offsetof(ListPayloadHead, count) == 8);
static_assert(offsetof(ListPayloadHead, id) == 12);
static_assert(offsetof(ListPayloadHead, selector) == 20);

// One contact, block-list, allow-list entry or cloud hit. Texts hold at
// most 63 bytes.
constexpr size_t kContactText = 64;
struct ContactRecord {
  int32_t id;
  char name[kContactText];
  char first_number[kContactText];
  char phone_number[kContactText];
  char other_number[kContactText];
  int32_t value_a;
  int32_t value_b;
  int32_t value_c;
  char extra[kContactText];
};
static_assert(sizeof(ContactRecord) == 336);
static_assert(offsetof(ContactRecord, name) == 4);
static_assert(offsetof(ContactRecord, first_number) == 68);
static_assert(offsetof(ContactRecord, phone_number) == 132);
static_assert(offsetof(ContactRecord, other_number) == 196);
static_assert(offsetof(ContactRecord, value_a) == 260);
static_assert(offsetof(ContactRecord, value_b) == 264);
static_assert(offsetof(ContactRecord, value_c) == 268);
static_assert(offsetof(ContactRecord, extra) == 272);
// A reply holds at most this many records.
constexpr size_t kListMaxRecords = (kGnlDataSize - sizeof(ListPayloadHead)) / sizeof(ContactRecord);
static_assert(kListMaxRecords == 97);

// Sizes of the list payloads: a get or delete carries the head alone, an
// add, change or find the head and one record.
constexpr int32_t kListHeadLength = sizeof(ListPayloadHead);
constexpr int32_t kListRecordLength = sizeof(ListPayloadHead) + sizeof(ContactRecord);
static_assert(kListHeadLength == 28 && kListRecordLength == 364);

// The short message of the contacts list (the group-removed notice is one):
// a value and a text, under a payload length of 160 that covers more than
// the two fields.
constexpr size_t kShortMessageText = 128;
struct ShortMessagePayload {
  int32_t value;
  char text[kShortMessageText];
};
static_assert(sizeof(ShortMessagePayload) == 132);
static_assert(offsetof(ShortMessagePayload, text) == 4);
constexpr uint16_t kShortMessageLength = 160;

// The three values of a migrate command, in order.
struct MigratePayload {
  int32_t values[3];
};
static_assert(sizeof(MigratePayload) == 12);

// The history payload: a shorter head, of which a get or delete sends only
// the first 20 bytes, and for an add one record.
struct HistoryPayloadHead {
  int32_t total_length;  // 20 for a get or delete, 244 for an add
  int32_t start;         // get
  int32_t count;         // wanted (get), 1 (add, delete)
  int32_t id;            // delete
  int32_t unused16[2];
};
static_assert(sizeof(HistoryPayloadHead) == 24);
static_assert(offsetof(HistoryPayloadHead, start) == 4);
static_assert(offsetof(HistoryPayloadHead, count) == 8);
static_assert(offsetof(HistoryPayloadHead, id) == 12);

// One call of the history, its fields in the order the caller gives them
// (the second argument of an add is not carried).
struct HistoryRecord {
  int32_t arg1;
  int32_t arg3;
  int32_t arg4;
  int32_t arg5;
  int32_t arg6;
  char text1[kContactText];  // argument 7
  char text2[kContactText];  // argument 8
  int32_t arg9;
  char text3[kContactText];  // argument 10
  int32_t arg11;
};
static_assert(sizeof(HistoryRecord) == 220);
static_assert(offsetof(HistoryRecord, arg3) == 4);
static_assert(offsetof(HistoryRecord, arg4) == 8);
static_assert(offsetof(HistoryRecord, arg5) == 12);
static_assert(offsetof(HistoryRecord, arg6) == 16);
static_assert(offsetof(HistoryRecord, text1) == 20);
static_assert(offsetof(HistoryRecord, text2) == 84);
static_assert(offsetof(HistoryRecord, arg9) == 148);
static_assert(offsetof(HistoryRecord, text3) == 152);
static_assert(offsetof(HistoryRecord, arg11) == 216);
constexpr int32_t kHistoryHeadLength = 20;
constexpr int32_t kHistoryRecordLength = sizeof(HistoryPayloadHead) + sizeof(HistoryRecord);
static_assert(kHistoryRecordLength == 244);

// The frames that travel with the GnlConfigRecord head.
template <typename Frame>
concept GnlFrame = sizeof(Frame) == kGnlBufferSize&& std::is_trivially_copyable_v<Frame>;

// The wait of one exchange, and the longer one of the directory's short
// messages.
constexpr int kFrameWaitMs = 5000;
constexpr int kShortMessageWaitMs = 20000;

// One exchange with the service on 127.0.0.1:port on a fresh socket: the
// request's head and data (data length + 77 bytes) go out, the reply comes
// into reply, which may be the request itself. The reply's length, or
// nothing when the transport failed or the wait ran out; the frame is not
// judged here.
template <GnlFrame Frame>
std::optional<size_t> frame_exchange(uint16_t port, const Frame& request, Frame& reply, int wait_ms = kFrameWaitMs) {
  uint16_t data_length;
  std::memcpy(&data_length, reinterpret_cast<const uint8_t*>(&request) + offsetof(GnlConfigRecord, data_length),
              sizeof data_length);
  int capacity = static_cast<int>(sizeof reply);
  if (udp_send_data_wait_timeout("127.0.0.1", port, &request, static_cast<int>(gnl_datagram_size(data_length)), &reply,
                                 &capacity, wait_ms) != 0)
    return std::nullopt;
  return static_cast<size_t>(capacity);
}

}  // namespace phonecore::config
