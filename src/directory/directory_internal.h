// The pure parts of the directory client: judging a reply, reading a list
// reply, the listed-number walk, and the group file's edits in memory.
// Reached by the calls and by the fuzz targets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "config/gnl_frame.h"
#include "phonecore/contacts.h"

namespace phonecore::directory {

// The payload of a reply of got bytes in p, its length word cut to what
// came, or nothing when it is too short for magic and list type or they
// are not the request's.
std::optional<std::span<const uint8_t>> judge_reply(const config::LocalListPacket& p, size_t got, uint16_t list_type);

// A text of a received record, ending at its terminator or at 63 bytes.
std::string_view field_text(const char (&field)[config::kContactText]);

// The head of a list reply, from the bytes that came (the rest zero), and
// the number of records it really holds: its count, cut to what came.
struct ListReply {
  config::ListPayloadHead head{};
  size_t records = 0;
  const uint8_t* first = nullptr;
};
ListReply read_list_reply(std::span<const uint8_t> payload);
config::ContactRecord record_at(const ListReply& r, size_t i);

// The block list and the allow list differ in their type and their words.
struct ListKind {
  uint16_t list_type;
  const char* tag;
  const char* test_name;
};
inline constexpr ListKind kBlockList{config::kListBlock, "tolk_black", "local_contactlist_number_is_in_blacklist"};
inline constexpr ListKind kAllowList{config::kListAllow, "tolk_white", "local_contactlist_number_is_in_whitelist"};

// The walk over the records of a find reply: 0 when listed, -1 when not.
int listed_in(const ListKind& kind, const ListReply& r, const char* number);

// The group file as records; well formed when it is a whole, non-zero
// number of records.
struct GroupFile {
  std::vector<GroupRecord> records;
  bool well_formed = false;
};
GroupFile parse_groups(const char* data, int size);

// The edits, in memory. Each answers the call's result; the file is to be
// written when add and change answer 0 and the file was well formed (add:
// always on 0), delete when it answers true.
int add_group(GroupFile& f, const char* name, int ring_id);
struct GroupChange {
  int result;
  size_t index;
  bool write;
};
GroupChange change_group(GroupFile& f, int id, const char* name, int ring_id);
bool delete_group(GroupFile& f, int id);

}  // namespace phonecore::directory
