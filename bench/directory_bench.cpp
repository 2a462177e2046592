// The directory client against the box's directoryd, beside the floor
// measured in the same run: the raw exchange of the same datagram with the
// service plus decoding its reply (the records copied out; for the listed
// test, the exact walk). Traces go to /dev/null.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/support/timing.h"
#include "config/gnl_frame.h"
#include "phonecore/calllists.h"
#include "phonecore/contacts.h"
#include "support/directory_peer.h"
#include "support/udp_client.h"

using namespace phonecore::config;
using Record = phonecore::config::ContactRecord;
using phonecore::bench::Stats;
using phonecore::testing::DirectoryPeer;
using phonecore::testing::UdpClient;

namespace {

constexpr int kRounds = 2000;

// A request as the library builds it: head, and a record with the text in
// its name field, or a get of start and count.
std::vector<uint8_t> find_request(uint16_t type, const char* text) {
  LocalListPacket p{};
  p.magic = kGnlMagic;
  p.list_type = type;
  p.command = kListFind;
  p.command_class = kListClass;
  p.payload_length = kListRecordLength;
  ListPayloadHead head{kListRecordLength, 0, 1, 0, 0, 0, 0};
  Record r{};
  std::strncpy(r.name, text, sizeof r.name - 1);
  std::memcpy(p.payload, &head, sizeof head);
  std::memcpy(p.payload + sizeof head, &r, sizeof r);
  auto* b = reinterpret_cast<const uint8_t*>(&p);
  return {b, b + gnl_datagram_size(kListRecordLength)};
}

std::vector<uint8_t> get_request(int start, int count) {
  LocalListPacket p{};
  p.magic = kGnlMagic;
  p.list_type = kListContacts;
  p.command = kListGet;
  p.command_class = kListClass;
  p.payload_length = kListHeadLength;
  ListPayloadHead head{kListHeadLength, start, count, 0, 0, 0, 0};
  std::memcpy(p.payload, &head, sizeof head);
  auto* b = reinterpret_cast<const uint8_t*>(&p);
  return {b, b + gnl_datagram_size(kListHeadLength)};
}

// The floor's decoding: magic and type, then the records copied out.
size_t decode(const std::vector<uint8_t>& in, uint16_t type, bool with_head) {
  if (in.size() < kGnlHeaderSize) return 0;
  uint16_t magic, list_type, length;
  std::memcpy(&magic, in.data(), 2);
  std::memcpy(&list_type, in.data() + 2, 2);
  std::memcpy(&length, in.data() + 74, 2);
  if (magic != kGnlMagic || list_type != type) return 0;
  length = static_cast<uint16_t>(std::min<size_t>(length, in.size() - kGnlHeaderSize));
  ListPayloadHead head{};
  std::memcpy(&head, in.data() + kGnlHeaderSize, std::min<size_t>(length, sizeof head));
  const size_t n = with_head ? length : static_cast<size_t>(std::max(head.count, 0)) * sizeof(Record);
  void* copy = std::malloc(n);
  if (copy != nullptr && n > 0)
    std::memcpy(copy, in.data() + kGnlHeaderSize + (with_head ? 0 : sizeof head), std::min<size_t>(n, length));
  std::free(copy);
  return n;
}

bool listed(const std::vector<uint8_t>& in, const char* number) {
  if (decode(in, kListBlock, true) == 0) return false;
  ListPayloadHead head;
  std::memcpy(&head, in.data() + kGnlHeaderSize, sizeof head);
  for (int i = 0; i < head.count; ++i) {
    Record c;
    std::memcpy(&c, in.data() + kGnlHeaderSize + sizeof head + i * sizeof c, sizeof c);
    if (std::strcmp(c.first_number, number) == 0 || std::strcmp(c.other_number, number) == 0 ||
        std::strcmp(c.phone_number, number) == 0)
      return true;
  }
  return false;
}

}  // namespace

int main() {
  DirectoryPeer peer;
  if (!peer.reset()) {
    fprintf(stderr, "directoryd does not answer\n");
    return 1;
  }
  for (int i = 0; i < 120; ++i)
    local_cantacts_add(("Contact " + std::to_string(i)).c_str(), ("555" + std::to_string(1000 + i)).c_str(), "", "", "",
                       0, 0, 0);
  local_blacklist_add("spam", "5550100", "", "", "", 0, 0, 0);
  local_blacklist_add("spam2", "55501000", "", "", "", 0, 0, 0);

  // Results to the real standard output; the library's traces to /dev/null.
  FILE* out = fdopen(dup(STDOUT_FILENO), "w");
  int null = open("/dev/null", O_WRONLY);
  fflush(stdout);
  dup2(null, STDOUT_FILENO);

  UdpClient raw;
  const auto find_bytes = find_request(kListContacts, "contact 11");  // 11, 110 to 119
  const auto get_bytes = get_request(0, 97);
  const auto listed_bytes = find_request(kListBlock, "5550100");
  Stats raw_find = phonecore::bench::measure(kRounds, [&] {
    auto in = raw.exchange(kDirectoryPort, find_bytes);
    if (in) decode(*in, kListContacts, false);
  });
  Stats find = phonecore::bench::measure(kRounds, [] {
    ::ContactRecord* r = nullptr;
    int n = 0;
    local_contactlist_find(&r, &n, "contact 11");
    std::free(r);
  });
  Stats raw_get = phonecore::bench::measure(kRounds, [&] {
    auto in = raw.exchange(kDirectoryPort, get_bytes);
    if (in) decode(*in, kListContacts, true);
  });
  Stats get = phonecore::bench::measure(kRounds, [] {
    char* b = nullptr;
    local_cantacts_get(&b, 0, 97);
    std::free(b);
  });
  Stats raw_listed = phonecore::bench::measure(kRounds, [&] {
    auto in = raw.exchange(kDirectoryPort, listed_bytes);
    if (in) listed(*in, "5550100");
  });
  Stats is_listed = phonecore::bench::measure(kRounds, [] { local_contactlist_number_is_in_blacklist("5550100"); });

  fflush(stdout);
  fprintf(out, "directory client against directoryd, %d rounds each (microseconds)\n", kRounds);
  phonecore::bench::report(out, "floor: raw find exchange + copy of 11 records", raw_find);
  phonecore::bench::report(out, "local_contactlist_find (11 records)", find);
  phonecore::bench::report(out, "floor: raw get exchange + copy of 97 records", raw_get);
  phonecore::bench::report(out, "local_cantacts_get (97 records)", get);
  phonecore::bench::report(out, "floor: raw block-list find + exact walk", raw_listed);
  phonecore::bench::report(out, "local_contactlist_number_is_in_blacklist", is_listed);
  fprintf(out, "  find   p50 / floor = %.2f\n", find.p50_us / raw_find.p50_us);
  fprintf(out, "  get    p50 / floor = %.2f\n", get.p50_us / raw_get.p50_us);
  fprintf(out, "  listed p50 / floor = %.2f\n", is_listed.p50_us / raw_listed.p50_us);
  fclose(out);
  return 0;
}
