// The directory service of the phone box, on loopback UDP 30001.
//
// One LocalListPacket in, one out: the request's head with the answer's
// payload length, payload length + 77 bytes. Contacts, block list, allow
// list and call history are held for real, each list a file of records
// below /run/phonebox/directory/, written before the answer goes and read
// at start, so a restarted service keeps them. A control port (UDP 27030)
// gives the record of every datagram heard (in hex), the lists, silence,
// a delay, leaving and joining 30001, and one-shot faults of the next
// reply. Its choices are written down in sim/README.md.

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "config/gnl_frame.h"
#include "peer.h"

using namespace phonecore::config;

namespace {

constexpr const char* kPeer = "directoryd";
constexpr const char* kStore = "/run/phonebox/directory";
constexpr const char* kPidFile = "/run/phonebox/directoryd.pid";
constexpr const char* kGroupFile = "/appconfigs/voipGroupList.bin";
constexpr size_t kPage = kListMaxRecords;  // records in one reply at most

// One list: its type, its file and the size of its records.
struct ListFile {
  uint16_t type;
  const char* name;  // for dump and the file
  size_t record_size;
  size_t head_size;  // of a request's payload before the record
};

constexpr std::array kLists{
    ListFile{kListContacts, "contacts", sizeof(ContactRecord), sizeof(ListPayloadHead)},
    ListFile{kListBlock, "block", sizeof(ContactRecord), sizeof(ListPayloadHead)},
    ListFile{kListAllow, "allow", sizeof(ContactRecord), sizeof(ListPayloadHead)},
    ListFile{kListHistory, "history", sizeof(HistoryRecord), sizeof(HistoryPayloadHead)},
};

// Records of one list as raw bytes; every record starts with its id.
struct List {
  const ListFile* file;
  std::vector<std::string> records;
  int32_t next_id = 1;
};

int32_t id_of(const std::string& record) {
  int32_t id;
  std::memcpy(&id, record.data(), sizeof id);
  return id;
}

std::string text_of(const char* field) { return {field, strnlen(field, kContactText)}; }

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string hex(const uint8_t* p, size_t n) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(2 * n);
  for (size_t i = 0; i < n; ++i) {
    out += kDigits[p[i] >> 4];
    out += kDigits[p[i] & 15];
  }
  return out;
}

// One-shot faults of the next reply.
enum class Fault { kNone, kMagic, kType, kShort, kCount, kBig, kPort, kTwice };
struct FaultName {
  std::string_view name;
  Fault fault;
};
constexpr FaultName kFaults[] = {
    {"magic", Fault::kMagic}, {"type", Fault::kType}, {"short", Fault::kShort}, {"count", Fault::kCount},
    {"big", Fault::kBig},     {"port", Fault::kPort}, {"twice", Fault::kTwice},
};

class DirectoryService {
 public:
  bool start() {
    mkdir("/run/phonebox", 0755);
    mkdir(kStore, 0755);
    for (const ListFile& f : kLists) lists_.push_back(load(f));
    if (FILE* pid = fopen(kPidFile, "w")) {
      fprintf(pid, "%d\n", static_cast<int>(getpid()));
      fclose(pid);
    }
    fd_ = phonebox::bind_udp(kDirectoryPort);
    return fd_ >= 0 && control_.open(phonebox::kControlPortDirectory);
  }

  void run() {
    for (;;) {
      pollfd fds[] = {{control_.fd(), POLLIN, 0}, {fd_, POLLIN, 0}};
      if (poll(fds, fd_ >= 0 ? 2 : 1, -1) < 0) continue;
      if (fds[0].revents & POLLIN) control_.serve(*this, kCommands);
      if (fd_ < 0 || !(fds[1].revents & POLLIN)) continue;
      sockaddr_in from{};
      socklen_t from_len = sizeof from;
      ssize_t n = recvfrom(fd_, in_.data(), in_.size(), 0, reinterpret_cast<sockaddr*>(&from), &from_len);
      if (n < 0) continue;
      control_.record(hex(in_.data(), static_cast<size_t>(n)));
      if (control_.silent()) continue;
      size_t out_len = answer(static_cast<size_t>(n));
      if (out_len == 0) continue;
      if (delay_ms_ > 0) usleep(static_cast<useconds_t>(delay_ms_) * 1000);
      send_reply(out_len, from, from_len);
    }
  }

 private:
  static List load(const ListFile& f) {
    List l{&f, {}, 1};
    std::ifstream in(std::string(kStore) + "/" + f.name + ".bin", std::ios::binary);
    std::string rec(f.record_size, '\0');
    while (in.read(rec.data(), static_cast<std::streamsize>(rec.size()))) {
      l.records.push_back(rec);
      l.next_id = std::max(l.next_id, id_of(rec) + 1);
    }
    return l;
  }

  static bool store(const List& l) {
    const std::string path = std::string(kStore) + "/" + l.file->name + ".bin";
    const std::string tmp = path + ".tmp";
    FILE* f = fopen(tmp.c_str(), "wb");
    if (f == nullptr) return false;
    bool ok = true;
    for (const std::string& r : l.records) ok = ok && fwrite(r.data(), 1, r.size(), f) == r.size();
    ok = (fclose(f) == 0) && ok;
    if (ok) ok = rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) phonebox::log_line(kPeer, "storing %s failed", l.file->name);
    return ok;
  }

  List* find_list(uint16_t type) {
    for (List& l : lists_)
      if (l.file->type == type) return &l;
    return nullptr;
  }

  // Builds the reply in out_; its length, or 0 for none.
  size_t answer(size_t n) {
    if (n < kGnlHeaderSize || n > kGnlBufferSize) {
      phonebox::log_line(kPeer, "dropped a datagram of %zu bytes", n);
      return 0;
    }
    std::memset(&req_, 0, sizeof req_);
    std::memcpy(&req_, in_.data(), n);
    if (req_.magic != kGnlMagic) {
      phonebox::log_line(kPeer, "dropped a datagram with magic 0x%04x", req_.magic);
      return 0;
    }
    req_len_ = std::min<size_t>(req_.payload_length, n - kGnlHeaderSize);
    std::memcpy(&out_, &req_, kGnlHeaderSize);
    out_.payload_length = 0;
    List* list = find_list(req_.list_type);
    if (req_.list_type == kListContacts && req_.command == kListGroupRemoved) {
      group_removed();
    } else if (list == nullptr) {
      phonebox::log_line(kPeer, "unknown list type 0x%04x", req_.list_type);
    } else {
      command(*list);
    }
    out_.payload[out_.payload_length] = 0;
    return gnl_datagram_size(out_.payload_length);
  }

  ListPayloadHead request_head() const {
    ListPayloadHead h{};
    std::memcpy(&h, req_.payload, std::min(req_len_, sizeof h));
    return h;
  }

  // The record of an add or change, from what came (the rest zero).
  std::string request_record(const List& l) const {
    std::string r(l.file->record_size, '\0');
    if (req_len_ > l.file->head_size)
      std::memcpy(r.data(), req_.payload + l.file->head_size, std::min(req_len_ - l.file->head_size, r.size()));
    return r;
  }

  void command(List& l) {
    const ListPayloadHead h = request_head();
    std::vector<const std::string*> hits;
    switch (req_.command) {
      case kListGet: {
        const int32_t group = l.file->type == kListContacts ? h.selector : 0;
        size_t skipped = 0;
        for (const std::string& r : l.records) {
          if (group != 0 && reinterpret_cast<const ContactRecord*>(r.data())->value_a != group) continue;
          if (skipped++ < static_cast<size_t>(std::max(h.start, 0))) continue;
          if (hits.size() >= std::min<size_t>(kPage, static_cast<size_t>(std::max(h.count, 0)))) break;
          hits.push_back(&r);
        }
        break;
      }
      case kListAdd: {
        std::string r = request_record(l);
        const int32_t id = l.next_id++;
        std::memcpy(r.data(), &id, sizeof id);
        l.records.push_back(r);
        store(l);
        hits.push_back(&l.records.back());
        break;
      }
      case kListChange: {
        std::string r = request_record(l);
        for (std::string& old : l.records) {
          if (id_of(old) == id_of(r)) {
            old = r;
            store(l);
            hits.push_back(&old);
            break;
          }
        }
        break;
      }
      case kListDelete: {
        const int32_t id = h.id;
        auto gone =
            std::remove_if(l.records.begin(), l.records.end(), [id](const std::string& r) { return id_of(r) == id; });
        const int32_t removed = static_cast<int32_t>(l.records.end() - gone);
        l.records.erase(gone, l.records.end());
        store(l);
        put_list(l, {}, removed);
        return;
      }
      case kListFind:
      case kListFindName: {
        if (l.file->type == kListHistory) break;
        const ContactRecord wanted = as_contact(request_record(l));
        const std::string text = lower(text_of(wanted.name));
        for (const std::string& r : l.records) {
          if (hits.size() >= kPage) break;
          const ContactRecord c = as_contact(r);
          const std::string numbers[] = {text_of(c.first_number), text_of(c.phone_number), text_of(c.other_number)};
          bool match = false;
          if (req_.command == kListFindName) {
            for (const std::string& number : numbers) match = match || number == text_of(wanted.name);
          } else {
            match = lower(text_of(c.name)).find(text) != std::string::npos;
            for (const std::string& number : numbers) match = match || lower(number).find(text) != std::string::npos;
          }
          if (match) hits.push_back(&r);
        }
        break;
      }
      case kListMigrate:
        phonebox::log_line(kPeer, "migrate on %s", l.file->name);
        break;
      default:
        phonebox::log_line(kPeer, "unknown command 0x%04x on %s", req_.command, l.file->name);
        return;
    }
    put_list(l, hits, static_cast<int32_t>(hits.size()));
  }

  static ContactRecord as_contact(const std::string& r) {
    ContactRecord c{};
    std::memcpy(&c, r.data(), std::min(r.size(), sizeof c));
    return c;
  }

  // The reply payload: the list's head (count) and the records.
  void put_list(const List& l, const std::vector<const std::string*>& records, int32_t count) {
    const size_t head = l.file->head_size;
    ListPayloadHead h{};
    h.total_length = static_cast<int32_t>(head + records.size() * l.file->record_size);
    h.start = request_head().start;
    h.count = count;
    std::memcpy(out_.payload, &h, head);
    size_t at = head;
    for (const std::string* r : records) {
      std::memcpy(out_.payload + at, r->data(), r->size());
      at += r->size();
    }
    out_.payload_length = static_cast<uint16_t>(at);
  }

  // A group went: its contacts lose the group (all groups for -1).
  void group_removed() {
    ShortMessagePayload m{};
    std::memcpy(&m, req_.payload, std::min(req_len_, sizeof m));
    struct stat st;
    const long size = stat(kGroupFile, &st) == 0 ? static_cast<long>(st.st_size) : -1;
    phonebox::log_line(kPeer, "group %d removed; group file %ld bytes", m.value, size);
    List& contacts = *find_list(kListContacts);
    for (std::string& r : contacts.records) {
      auto* c = reinterpret_cast<ContactRecord*>(r.data());
      if (m.value == -1 || c->value_a == m.value) c->value_a = 0;
    }
    store(contacts);
    notices_.push_back(std::to_string(m.value) + " " + std::to_string(size));
  }

  void send_reply(size_t len, const sockaddr_in& to, socklen_t to_len) {
    const Fault fault = fault_;
    fault_ = Fault::kNone;
    int fd = fd_;
    std::vector<uint8_t> bytes(reinterpret_cast<const uint8_t*>(&out_), reinterpret_cast<const uint8_t*>(&out_) + len);
    switch (fault) {
      case Fault::kMagic:
        bytes[0] ^= 0xFF;
        break;
      case Fault::kType:
        bytes[2] ^= 0xFF;
        break;
      case Fault::kShort:
        bytes.resize(std::min<size_t>(bytes.size(), 40));
        break;
      case Fault::kCount: {
        const int32_t claimed = 90;
        if (bytes.size() >= kGnlHeaderSize + 12) std::memcpy(bytes.data() + kGnlHeaderSize + 8, &claimed, 4);
        break;
      }
      case Fault::kBig:
        bytes.resize(65507, 0xAB);
        break;
      case Fault::kPort:
        fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        break;
      default:
        break;
    }
    sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), to_len);
    if (fault == Fault::kTwice)
      sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), to_len);
    if (fd != fd_) close(fd);
  }

  // Control commands of this peer.
  std::string reset(const std::string&) {
    for (List& l : lists_) {
      l.records.clear();
      l.next_id = 1;
      store(l);
    }
    notices_.clear();
    return "ok";
  }
  std::string dump(const std::string& rest) {
    if (rest == "notices") {
      std::string out;
      for (const std::string& n : notices_) out += n + "\n";
      return out;
    }
    for (const List& l : lists_) {
      if (rest != l.file->name) continue;
      std::string out;
      for (const std::string& r : l.records) out += hex(reinterpret_cast<const uint8_t*>(r.data()), r.size()) + "\n";
      return out;
    }
    return "error: no list " + rest;
  }
  std::string count(const std::string& rest) {
    for (const List& l : lists_)
      if (rest == l.file->name) return std::to_string(l.records.size());
    return "error: no list " + rest;
  }
  std::string delay(const std::string& rest) {
    delay_ms_ = std::max(0, std::atoi(rest.c_str()));
    return "ok";
  }
  std::string leave(const std::string&) {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    return "ok";
  }
  std::string join(const std::string&) {
    if (fd_ < 0) fd_ = phonebox::bind_udp(kDirectoryPort);
    return fd_ >= 0 ? "ok" : "error: 30001 is taken";
  }
  std::string fault(const std::string& rest) {
    for (const FaultName& f : kFaults) {
      if (f.name == rest) {
        fault_ = f.fault;
        return "ok";
      }
    }
    return "error: no fault " + rest;
  }

  static constexpr phonebox::ControlCommand<DirectoryService> kCommands[] = {
      {"reset", &DirectoryService::reset}, {"dump", &DirectoryService::dump},   {"count", &DirectoryService::count},
      {"delay", &DirectoryService::delay}, {"leave", &DirectoryService::leave}, {"join", &DirectoryService::join},
      {"fault", &DirectoryService::fault},
  };

  int fd_ = -1;
  phonebox::ControlPort control_;
  std::vector<uint8_t> in_ = std::vector<uint8_t>(65536);
  LocalListPacket req_{};
  size_t req_len_ = 0;
  LocalListPacket out_{};
  std::vector<List> lists_;
  std::vector<std::string> notices_;
  int delay_ms_ = 0;
  Fault fault_ = Fault::kNone;
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  static DirectoryService service;  // two 32 KiB packets: not on the stack
  if (!service.start()) {
    phonebox::log_line(kPeer, "cannot start: port %u or control port %u taken", kDirectoryPort,
                       phonebox::kControlPortDirectory);
    return 1;
  }
  phonebox::announce_ready(argc > 1 ? argv[1] : nullptr);
  service.run();
}
