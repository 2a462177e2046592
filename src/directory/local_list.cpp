// The client side of the directory service (loopback UDP 30001): contacts,
// block and allow lists, call history. Every call is one LocalListPacket
// out and the reply back into the same cleared buffer of 32844 bytes.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "config/gnl_frame.h"
#include "directory/directory_internal.h"
#include "phonecore/calllists.h"
#include "phonecore/contacts.h"

namespace phonecore::directory {

using config::ContactRecord;
using config::ListPayloadHead;
using config::LocalListPacket;

// The payload of a reply that came, its length word cut to the datagram, or
// nothing when the magic or the list type did not come back. Nothing else
// of the reply is judged.
std::optional<std::span<const uint8_t>> judge_reply(const LocalListPacket& p, size_t got, uint16_t list_type) {
  // A reply too short to hold magic and list type would be judged on the
  // request's own bytes.
  if (got < offsetof(LocalListPacket, command)) return std::nullopt;
  if (p.magic != config::kGnlMagic || p.list_type != list_type) return std::nullopt;
  const size_t came = got > config::kGnlHeaderSize ? got - config::kGnlHeaderSize : 0;
  return std::span<const uint8_t>(p.payload, std::min<size_t>(p.payload_length, came));
}

// A text of a received record, ending at its terminator or at 63 bytes.
std::string_view field_text(const char (&field)[config::kContactText]) {
  return {field, strnlen(field, config::kContactText - 1)};
}

ListReply read_list_reply(std::span<const uint8_t> payload) {
  ListReply r;
  std::memcpy(&r.head, payload.data(), std::min(payload.size(), sizeof r.head));
  const size_t room = payload.size() > sizeof r.head ? (payload.size() - sizeof r.head) / sizeof(ContactRecord) : 0;
  r.records = r.head.count > 0 ? std::min<size_t>(static_cast<size_t>(r.head.count), room) : 0;
  r.first = payload.data() + sizeof r.head;
  return r;
}

ContactRecord record_at(const ListReply& r, size_t i) {
  ContactRecord c;
  std::memcpy(&c, r.first + i * sizeof c, sizeof c);
  return c;
}

// Whatever the service's find returned, a number is listed only when a
// record holds it exactly as its first, other or phone number, looked at in
// that order; the name never counts. Each record is logged first.
int listed_in(const ListKind& kind, const ListReply& r, const char* number) {
  std::printf("%s contact len:%d\n", kind.tag, static_cast<int>(r.records));
  const std::string_view wanted(number);
  for (size_t i = 0; i < r.records; ++i) {
    const ContactRecord c = record_at(r, i);
    const std::string first(field_text(c.first_number)), other(field_text(c.other_number)),
        phone(field_text(c.phone_number));
    std::printf("%s foreach name:%s otherNum:%s phoneNum:%s  FIND:%s\n", kind.tag, first.c_str(), other.c_str(),
                phone.c_str(), number);
    for (const std::string* field : {&first, &other, &phone}) {
      if (*field == wanted) {
        std::printf("%s %s success\n", kind.tag, kind.test_name);
        return 0;
      }
    }
  }
  std::printf("%s %s fail\n", kind.tag, kind.test_name);
  return -1;
}

namespace {

// The public records are the frame's records, field for field.
static_assert(sizeof(::ContactRecord) == sizeof(config::ContactRecord));
static_assert(offsetof(::ContactRecord, name) == offsetof(config::ContactRecord, name));
static_assert(offsetof(::ContactRecord, first_number) == offsetof(config::ContactRecord, first_number));
static_assert(offsetof(::ContactRecord, phone_number) == offsetof(config::ContactRecord, phone_number));
static_assert(offsetof(::ContactRecord, other_number) == offsetof(config::ContactRecord, other_number));
static_assert(offsetof(::ContactRecord, value_a) == offsetof(config::ContactRecord, value_a));
static_assert(offsetof(::ContactRecord, value_b) == offsetof(config::ContactRecord, value_b));
static_assert(offsetof(::ContactRecord, value_c) == offsetof(config::ContactRecord, value_c));
static_assert(offsetof(::ContactRecord, extra) == offsetof(config::ContactRecord, extra));
static_assert(sizeof(::HistoryRecord) == sizeof(config::HistoryRecord));
static_assert(offsetof(::HistoryRecord, text1) == offsetof(config::HistoryRecord, text1));
static_assert(offsetof(::HistoryRecord, text2) == offsetof(config::HistoryRecord, text2));
static_assert(offsetof(::HistoryRecord, arg9) == offsetof(config::HistoryRecord, arg9));
static_assert(offsetof(::HistoryRecord, text3) == offsetof(config::HistoryRecord, text3));
static_assert(offsetof(::HistoryRecord, arg11) == offsetof(config::HistoryRecord, arg11));
static_assert(LOCAL_LIST_PACKET_SIZE == sizeof(config::LocalListPacket));
static_assert(LOCAL_LIST_PORT == config::kDirectoryPort);
static_assert(CONTACT_REPLY_MAX_RECORDS == config::kListMaxRecords);
static_assert(CONTACT_LIST_HEAD_SIZE == sizeof(config::ListPayloadHead));

constexpr size_t kTextMax = config::kContactText - 1;

// A cleared packet of the list type and command, class 1.
// Nothing when the packet can't be had: the calls then fail with -1.
std::unique_ptr<LocalListPacket> new_packet(uint16_t list_type, uint16_t command) {
  std::unique_ptr<LocalListPacket> p(new (std::nothrow) LocalListPacket());  // value-initialised: all zero
  if (!p) return p;
  p->magic = config::kGnlMagic;
  p->list_type = list_type;
  p->command = command;
  p->command_class = config::kListClass;
  return p;
}

std::optional<std::span<const uint8_t>> exchange(LocalListPacket& p, int wait_ms = config::kFrameWaitMs) {
  const uint16_t list_type = p.list_type;
  const auto got = config::frame_exchange(config::kDirectoryPort, p, p, wait_ms);
  if (!got) return std::nullopt;
  return judge_reply(p, *got, list_type);
}

// Fills a text field with at most 63 bytes; the field is clear.
void put_text(char (&field)[config::kContactText], const char* text) {
  if (text != nullptr) std::strncpy(field, text, kTextMax);
}

struct RecordFields {
  int id;
  const char* name;
  const char* first_number;
  const char* phone_number;
  const char* other_number;
  const char* extra;
  int value_a, value_b, value_c;
};

// The one packing of an add, change or find: a head for one record and the
// record.
void pack_record(LocalListPacket& p, const RecordFields& f) {
  ListPayloadHead head{};
  head.total_length = config::kListRecordLength;
  head.start = 0;
  head.count = 1;
  ContactRecord r{};
  r.id = f.id;
  put_text(r.name, f.name);
  put_text(r.first_number, f.first_number);
  put_text(r.phone_number, f.phone_number);
  put_text(r.other_number, f.other_number);
  put_text(r.extra, f.extra);
  r.value_a = f.value_a;
  r.value_b = f.value_b;
  r.value_c = f.value_c;
  std::memcpy(p.payload, &head, sizeof head);
  std::memcpy(p.payload + sizeof head, &r, sizeof r);
  p.payload_length = config::kListRecordLength;
}

// A head alone (get, delete).
void pack_head(LocalListPacket& p, const ListPayloadHead& head) {
  std::memcpy(p.payload, &head, sizeof head);
  p.payload_length = config::kListHeadLength;
}

// A get: the whole reply payload, head included, into a heap block of its
// exact length.
int get_list(uint16_t list_type, char** buffer, const ListPayloadHead& head, int32_t payload_length) {
  if (buffer == nullptr) return -1;
  auto p = new_packet(list_type, config::kListGet);
  if (!p) return -1;
  std::memcpy(p->payload, &head, sizeof head);
  p->payload_length = static_cast<uint16_t>(payload_length);
  auto payload = exchange(*p);
  if (!payload) return -1;
  auto* copy = static_cast<char*>(std::malloc(payload->size()));
  if (copy == nullptr) return -1;
  std::memcpy(copy, payload->data(), payload->size());
  *buffer = copy;
  return 0;
}

int get_records(uint16_t list_type, char** buffer, int start, int count, int selector) {
  ListPayloadHead head{};
  head.total_length = config::kListHeadLength;
  head.start = start;
  head.count = count;
  head.selector = selector;
  return get_list(list_type, buffer, head, config::kListHeadLength);
}

// A find: the records of the reply, without the head, into a heap block.
int find_records(uint16_t list_type, ContactRecord** records, int* count, const char* text) {
  if (records == nullptr || count == nullptr) return -1;
  auto p = new_packet(list_type, config::kListFind);
  if (!p) return -1;
  pack_record(*p, {0, text, nullptr, nullptr, nullptr, nullptr, 0, 0, 0});
  auto payload = exchange(*p);
  if (!payload) return -1;
  const ListReply r = read_list_reply(*payload);
  auto* out = static_cast<ContactRecord*>(std::malloc(r.records * sizeof(ContactRecord)));
  if (out != nullptr && r.records > 0) std::memcpy(out, r.first, r.records * sizeof(ContactRecord));
  *records = out;
  *count = static_cast<int>(r.records);
  return 0;
}

int send_record(uint16_t list_type, uint16_t command, const RecordFields& f) {
  auto p = new_packet(list_type, command);
  if (!p) return -1;
  pack_record(*p, f);
  return exchange(*p) ? 0 : -1;
}

int delete_record(uint16_t list_type, int id, int kind) {
  auto p = new_packet(list_type, config::kListDelete);
  if (!p) return -1;
  ListPayloadHead head{};
  head.total_length = config::kListHeadLength;
  head.count = 1;
  head.id = id;
  head.selector = kind;
  pack_head(*p, head);
  return exchange(*p) ? 0 : -1;
}

int migrate(uint16_t list_type, int value1, int value2, int value3) {
  auto p = new_packet(list_type, config::kListMigrate);
  if (!p) return -1;
  const config::MigratePayload m{{value1, value2, value3}};
  std::memcpy(p->payload, &m, sizeof m);
  p->payload_length = sizeof m;
  return exchange(*p) ? 0 : -1;
}

int number_is_listed(const ListKind& kind, const char* number) {
  if (number == nullptr || number[0] == '\0') return -1;
  std::printf("%s %s\n", kind.tag, kind.test_name);
  auto p = new_packet(kind.list_type, config::kListFind);
  if (!p) return -1;
  pack_record(*p, {0, number, nullptr, nullptr, nullptr, nullptr, 0, 0, 0});
  auto payload = exchange(*p);
  if (!payload) {
    std::printf("%s get contact list fail\n", kind.tag);
    std::printf("%s %s fail\n", kind.tag, kind.test_name);
    return -1;
  }
  return listed_in(kind, read_list_reply(*payload), number);
}

int history_head_only(uint16_t command, int start, int count, int id, char** buffer) {
  config::HistoryPayloadHead head{};
  head.total_length = config::kHistoryHeadLength;
  head.start = start;
  head.count = count;
  head.id = id;
  if (buffer != nullptr) {
    ListPayloadHead raw{};
    std::memcpy(&raw, &head, sizeof head);
    return get_list(config::kListHistory, buffer, raw, config::kHistoryHeadLength);
  }
  auto p = new_packet(config::kListHistory, command);
  if (!p) return -1;
  std::memcpy(p->payload, &head, sizeof head);
  p->payload_length = config::kHistoryHeadLength;
  return exchange(*p) ? 0 : -1;
}

}  // namespace
}  // namespace phonecore::directory

using namespace phonecore;
using namespace phonecore::directory;

extern "C" {

int local_cantacts_get(char** buffer, int start, int count) noexcept {
  return get_records(config::kListContacts, buffer, start, count, 0);
}

int local_cantacts_get2(char** buffer, int start, int count, int group) noexcept {
  return get_records(config::kListContacts, buffer, start, count, group);
}

int local_contactlist_find(::ContactRecord** records, int* count, const char* text) noexcept {
  if (count != nullptr) *count = 0;
  if (text == nullptr || text[0] == '\0') return -1;
  return find_records(config::kListContacts, reinterpret_cast<config::ContactRecord**>(records), count, text);
}

int local_contactlist_find_uname_by_number(char* name, const char* number) noexcept {
  if (name == nullptr || number == nullptr || number[0] == '\0') return -1;
  auto p = new_packet(config::kListContacts, config::kListFindName);
  if (!p) return -1;
  pack_record(*p, {0, number, nullptr, nullptr, nullptr, nullptr, 0, 0, 0});
  auto payload = exchange(*p);
  if (!payload) return -1;
  const ListReply r = read_list_reply(*payload);
  if (r.head.count <= 0 || r.records == 0) return -1;
  const config::ContactRecord first = record_at(r, 0);
  const std::string_view found = field_text(first.name);
  std::memcpy(name, found.data(), found.size());
  name[found.size()] = '\0';
  return 0;
}

int local_cantacts_add(const char* name, const char* first_number, const char* phone_number, const char* other_number,
                       const char* extra, int value_a, int value_b, int value_c) noexcept {
  return send_record(config::kListContacts, config::kListAdd,
                     {0, name, first_number, phone_number, other_number, extra, value_a, value_b, value_c});
}

int local_cantacts_chg(int id, const char* name, const char* first_number, const char* phone_number,
                       const char* other_number, const char* extra, int value_a, int value_b, int value_c) noexcept {
  return send_record(config::kListContacts, config::kListChange,
                     {id, name, first_number, phone_number, other_number, extra, value_a, value_b, value_c});
}

int local_cantacts_del_byid(int id, int kind) noexcept {
  if (kind == 1) return local_blacklist_del_byid(id);
  if (kind == 2) return local_whitelist_del_byid(id);
  return delete_record(config::kListContacts, id, kind);
}

int local_contactlist_short_msg(int command, const char* text, int value) noexcept {
  auto p = new_packet(config::kListContacts, static_cast<uint16_t>(command));
  if (!p) return -1;
  config::ShortMessagePayload m{};
  m.value = value;
  if (text != nullptr) std::strncpy(m.text, text, sizeof m.text - 1);
  std::memcpy(p->payload, &m, sizeof m);
  p->payload_length = config::kShortMessageLength;
  return exchange(*p, config::kShortMessageWaitMs) ? 0 : -1;
}

int local_book_migration(int value1, int value2, int value3) noexcept {
  return migrate(config::kListBlock, value1, value2, value3);
}

int local_book_migration1(int value1, int value2, int value3) noexcept {
  return migrate(config::kListAllow, value1, value2, value3);
}

int local_blacklist_get(char** buffer, int start, int count) noexcept {
  return get_records(config::kListBlock, buffer, start, count, 0);
}

int local_whitelist_get(char** buffer, int start, int count) noexcept {
  return get_records(config::kListAllow, buffer, start, count, 0);
}

int local_blacklist_find(::ContactRecord** records, int* count, const char* text) noexcept {
  return find_records(config::kListBlock, reinterpret_cast<config::ContactRecord**>(records), count, text);
}

int local_whitelist_find(::ContactRecord** records, int* count, const char* text) noexcept {
  return find_records(config::kListAllow, reinterpret_cast<config::ContactRecord**>(records), count, text);
}

int local_blacklist_add(const char* name, const char* first_number, const char* phone_number, const char* other_number,
                        const char* extra, int value_a, int value_b, int value_c) noexcept {
  return send_record(config::kListBlock, config::kListAdd,
                     {0, name, first_number, phone_number, other_number, extra, value_a, value_b, value_c});
}

int local_whitelist_add(const char* name, const char* first_number, const char* phone_number, const char* other_number,
                        const char* extra, int value_a, int value_b, int value_c) noexcept {
  return send_record(config::kListAllow, config::kListAdd,
                     {0, name, first_number, phone_number, other_number, extra, value_a, value_b, value_c});
}

int local_blacklist_chg(int id, const char* name, const char* first_number, const char* phone_number,
                        const char* other_number, const char* extra, int value_a, int value_b, int value_c) noexcept {
  return send_record(config::kListBlock, config::kListChange,
                     {id, name, first_number, phone_number, other_number, extra, value_a, value_b, value_c});
}

int local_whitelist_chg(int id, const char* name, const char* first_number, const char* phone_number,
                        const char* other_number, const char* extra, int value_a, int value_b, int value_c) noexcept {
  return send_record(config::kListAllow, config::kListChange,
                     {id, name, first_number, phone_number, other_number, extra, value_a, value_b, value_c});
}

int local_blacklist_del_byid(int id) noexcept { return delete_record(config::kListBlock, id, 0); }

int local_whitelist_del_byid(int id) noexcept { return delete_record(config::kListAllow, id, 0); }

int local_contactlist_number_is_in_blacklist(const char* number) noexcept {
  return number_is_listed(kBlockList, number);
}

int local_contactlist_number_is_in_whitelist(const char* number) noexcept {
  return number_is_listed(kAllowList, number);
}

int local_history_list_add(int arg1, int /*arg2: not carried*/, int arg3, int arg4, int arg5, int arg6,
                           const char* text1, const char* text2, int arg9, const char* text3, int arg11) noexcept {
  auto p = new_packet(config::kListHistory, config::kListAdd);
  if (!p) return -1;
  config::HistoryPayloadHead head{};
  head.total_length = config::kHistoryRecordLength;
  head.count = 1;
  config::HistoryRecord r{};
  r.arg1 = arg1;
  r.arg3 = arg3;
  r.arg4 = arg4;
  r.arg5 = arg5;
  r.arg6 = arg6;
  put_text(r.text1, text1);
  put_text(r.text2, text2);
  r.arg9 = arg9;
  put_text(r.text3, text3);
  r.arg11 = arg11;
  std::memcpy(p->payload, &head, sizeof head);
  std::memcpy(p->payload + sizeof head, &r, sizeof r);
  p->payload_length = config::kHistoryRecordLength;
  return exchange(*p) ? 0 : -1;
}

int history_list_get(char** buffer, int start, int count) noexcept {
  if (buffer == nullptr) return -1;
  return history_head_only(config::kListGet, start, count, 0, buffer);
}

int history_list_del_byid(int id) noexcept { return history_head_only(config::kListDelete, 0, 1, id, nullptr); }

}  // extern "C"
