// The directory service's reply as every call takes it, and any bytes as
// the group file. The first byte chooses: even, a reply datagram (cut to
// the 32844-byte packet as the receive cuts it), judged for each list type
// and read as the get, find, name and listed-number calls read it; odd, a
// group file, through every edit.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "directory/directory_internal.h"

using namespace phonecore;
using namespace phonecore::directory;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The listed-number walk traces every record.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 0;
  return 0;
}

namespace {

void reply(const uint8_t* data, size_t size) {
  auto p = std::make_unique<config::LocalListPacket>();
  const size_t got = std::min(size, sizeof *p);
  std::memcpy(p.get(), data, got);
  for (uint16_t type : {config::kListContacts, config::kListHistory, config::kListBlock, config::kListAllow}) {
    auto payload = judge_reply(*p, got, type);
    if (!payload) continue;
    // get: the whole payload copied.
    void* copy = std::malloc(payload->size());
    if (copy != nullptr && !payload->empty()) std::memcpy(copy, payload->data(), payload->size());
    std::free(copy);
    // find: the records without the head.
    const ListReply r = read_list_reply(*payload);
    void* records = std::malloc(r.records * sizeof(config::ContactRecord));
    if (records != nullptr && r.records > 0) std::memcpy(records, r.first, r.records * sizeof(config::ContactRecord));
    std::free(records);
    // name by number: the first name into 64 bytes.
    if (r.records > 0) {
      char name[CONTACT_NAME_ROOM];
      const config::ContactRecord first = record_at(r, 0);
      const auto text = field_text(first.name);
      std::memcpy(name, text.data(), text.size());
      name[text.size()] = '\0';
    }
    listed_in(type == config::kListAllow ? kAllowList : kBlockList, r, "5550100");
  }
}

void group_file(const uint8_t* data, size_t size) {
  const GroupFile f = parse_groups(reinterpret_cast<const char*>(data), static_cast<int>(size));
  const int32_t some_id = f.records.empty() ? 3 : f.records.back().id;
  GroupFile added = f;
  add_group(added, "fuzz", 1);
  GroupFile changed = f;
  change_group(changed, some_id, "renamed", 2);
  GroupFile unknown = f;
  change_group(unknown, -7, "other", 3);
  GroupFile deleted = f;
  delete_group(deleted, some_id);
  GroupFile all = f;
  delete_group(all, -1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > 70000) return 0;
  if (data[0] & 1) group_file(data + 1, size - 1);
  else reply(data + 1, size - 1);
  return 0;
}
