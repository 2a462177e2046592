// Contact groups: the library's own file voipGroupList.bin, records of 72
// bytes back to back, read and written whole through the configuration
// service. Edits are read-modify-write without a lock. The directory
// service hears only that a group went.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "config/gnl_frame.h"
#include "directory/directory_internal.h"
#include "phonecore/config.h"
#include "phonecore/contacts.h"

namespace phonecore::directory {
namespace {

static_assert(sizeof(GroupRecord) == 72);
static_assert(offsetof(GroupRecord, id) == 0);
static_assert(offsetof(GroupRecord, name) == 4);
static_assert(offsetof(GroupRecord, ring_id) == 68);

constexpr const char* kGroupFile = CONTACT_GROUP_FILE;
constexpr size_t kFullFile = CONTACT_GROUP_MAX * sizeof(GroupRecord);  // 2304
constexpr int32_t kFirstGroupId = 3;                                   // 1 and 2 are never given out
constexpr int32_t kAllGroups = -1;
constexpr size_t kNameMax = CONTACT_TEXT_SIZE - 1;

// Names a new group can't take, and those a rename can't: "whitelist" is
// refused only when adding.
constexpr std::string_view kReservedOnAdd[] = {"all", "blacklist", "whitelist"};
constexpr std::string_view kReservedOnChange[] = {"all", "blacklist"};

template <size_t N>
bool reserved(std::string_view name, const std::string_view (&names)[N]) {
  for (std::string_view r : names)
    if (r == name) return true;
  return false;
}

GroupFile read_groups() {
  char* data = nullptr;
  const int size = read_gnl_config_hex(kGroupFile, &data);
  GroupFile f = parse_groups(data, size);
  std::free(data);
  return f;
}

void write_groups(const std::vector<GroupRecord>& records) {
  // A zero-length write still hands over a buffer: a null one is refused.
  static const GroupRecord kNone{};
  const void* data = records.empty() ? static_cast<const void*>(&kNone) : records.data();
  write_gnl_config_hex(kGroupFile, data, static_cast<int>(records.size() * sizeof(GroupRecord)));
}

// The name as a record keeps it: at most 63 bytes.
std::string_view stored(const char (&field)[CONTACT_TEXT_SIZE]) { return {field, strnlen(field, kNameMax)}; }
std::string_view cut(const char* name) { return {name, strnlen(name, kNameMax)}; }

// The place of the group with the id; callers pass existing ids, and an id
// not found selects the first group.
size_t index_or_first(const std::vector<GroupRecord>& records, int id) {
  for (size_t i = 0; i < records.size(); ++i)
    if (records[i].id == id) return i;
  return 0;
}

// The directory service hears which group went (-1: all of them).
void notify_removed(int id) { local_contactlist_short_msg(config::kListGroupRemoved, "null", id); }

}  // namespace

GroupFile parse_groups(const char* data, int size) {
  GroupFile f;
  if (size > 0 && data != nullptr && size % static_cast<int>(sizeof(GroupRecord)) == 0) {
    f.records.resize(static_cast<size_t>(size) / sizeof(GroupRecord));
    std::memcpy(f.records.data(), data, static_cast<size_t>(size));
    f.well_formed = true;
  }
  return f;
}

int add_group(GroupFile& f, const char* name, int ring_id) {
  if (name == nullptr || name[0] == '\0' || reserved(name, kReservedOnAdd)) return -4;
  GroupRecord added{};
  if (f.well_formed) {
    if (f.records.size() * sizeof(GroupRecord) >= kFullFile) return -2;
    for (const GroupRecord& r : f.records)
      if (stored(r.name) == cut(name)) return -3;
    // The ids wrap past the largest one, as the board's 32-bit arithmetic does.
    added.id = static_cast<int32_t>(static_cast<uint32_t>(f.records.back().id) + 1U);
  } else {
    // Missing, empty or malformed: the file starts again with this group.
    f.records.clear();
    added.id = kFirstGroupId;
  }
  std::strncpy(added.name, name, kNameMax);
  added.ring_id = ring_id;
  f.records.push_back(added);
  f.well_formed = true;
  return 0;
}

GroupChange change_group(GroupFile& f, int id, const char* name, int ring_id) {
  if (name == nullptr) name = "";
  if (reserved(name, kReservedOnChange)) return {-4, 0, false};
  if (!f.well_formed) return {0, 0, false};
  // Another group holding the name refuses the change.
  for (const GroupRecord& r : f.records)
    if (r.id != id && stored(r.name) == cut(name)) return {-3, 0, false};
  const size_t index = index_or_first(f.records, id);
  GroupRecord& r = f.records[index];
  // 63 bytes, zero-padded; the field's last byte stays as it was.
  std::strncpy(r.name, name, kNameMax);
  r.ring_id = ring_id;
  return {0, index, true};
}

bool delete_group(GroupFile& f, int id) {
  if (id == kAllGroups) {
    f.records.clear();
    return true;
  }
  if (!f.well_formed) return false;
  f.records.erase(f.records.begin() + static_cast<std::ptrdiff_t>(index_or_first(f.records, id)));
  return true;
}

}  // namespace phonecore::directory

using namespace phonecore;
using namespace phonecore::directory;

extern "C" {

int local_cantacts_group_add(const char* name, int ring_id) noexcept {
  if (name == nullptr || name[0] == '\0' || reserved(name, kReservedOnAdd)) return -4;
  GroupFile f = read_groups();
  const int result = add_group(f, name, ring_id);
  if (result == 0) write_groups(f.records);
  return result;
}

int local_grouplist_get(GroupRecord** buffer, int* count) noexcept {
  if (buffer == nullptr || count == nullptr) return -1;
  std::free(*buffer);
  *buffer = nullptr;
  char* data = nullptr;
  const int size = read_gnl_config_hex(kGroupFile, &data);
  if (size < 1 || data == nullptr || size % static_cast<int>(sizeof(GroupRecord)) != 0) {
    std::free(data);
    *count = 0;
    return -1;
  }
  *buffer = reinterpret_cast<GroupRecord*>(data);
  *count = size / static_cast<int>(sizeof(GroupRecord));
  return 0;
}

int del_cantacts_group_byid(int id) noexcept {
  if (id == kAllGroups) {
    notify_removed(id);
    write_groups({});
    return 0;
  }
  GroupFile f = read_groups();
  if (!delete_group(f, id)) return 0;
  write_groups(f.records);
  notify_removed(id);
  return 0;
}

int chg_cantacts_group_byid(int id, const char* name, int ring_id) noexcept {
  if (name == nullptr) name = "";
  if (reserved(name, kReservedOnChange)) return -4;
  GroupFile f = read_groups();
  const GroupChange c = change_group(f, id, name, ring_id);
  if (!c.write) return c.result;
  write_groups(f.records);
  std::printf("tolk_group modify group id:%d name:%s ringId:%d index:%d\n", id, name, ring_id,
              static_cast<int>(c.index));
  return 0;
}

}  // extern "C"
