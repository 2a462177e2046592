// The configuration service of the phone box, on loopback UDP 26001.
//
// One GnlConfigRecord in, one out. Numbered stores map to files below
// /appconfigs (the live status is built from the box's interfaces);
// category 4102 names its file by the path field. Every request is
// recorded, and a control port (UDP 27026) lets tests read that record or
// silence the service. What each answer holds is written down in
// sim/README.md.

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <json-c/json.h>
#include <net/if.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "base/json.h"
#include "config/gnl_frame.h"
#include "peer.h"

using namespace phonecore::config;
namespace json = phonecore::json;

namespace {

constexpr const char* kPeer = "configd";
constexpr const char* kRoot = "/appconfigs";
constexpr const char* kPhoneCfg = "/appconfigs/phone.cfg";
constexpr int kTakeupLimitS = 120;

struct Store {
  uint16_t category;
  const char* file;  // below /appconfigs; null for a store built live
  bool writable;
};

constexpr std::array kStores{
    Store{kCategoryNetwork, "network.cfg", true}, Store{kCategoryAccount, "voip.cfg", true},
    Store{kCategoryCwmp, "tr069.cfg", true},      Store{kCategoryStatus, nullptr, false},
    Store{kCategoryLdap, "ldap.cfg", true},
};

const Store* find_store(uint16_t category) {
  for (const Store& s : kStores)
    if (s.category == category) return &s;
  return nullptr;
}

std::optional<std::string> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Writes through a temporary file and a rename, so that a reader never sees
// half a file. Missing parent folders below /appconfigs are made.
bool write_file(const std::string& path, const void* data, size_t len) {
  for (size_t slash = std::strlen(kRoot) + 1; (slash = path.find('/', slash)) != std::string::npos; ++slash)
    mkdir(path.substr(0, slash).c_str(), 0755);
  std::string tmp = path + ".configd-tmp";
  FILE* f = fopen(tmp.c_str(), "wb");
  if (f == nullptr) return false;
  bool ok = fwrite(data, 1, len, f) == len;
  ok = (fclose(f) == 0) && ok;
  if (ok) ok = rename(tmp.c_str(), path.c_str()) == 0;
  if (!ok) unlink(tmp.c_str());
  return ok;
}

// A path of the request, as an absolute path below /appconfigs, or nothing
// when it is empty, absolute, has a ".." part, or leads out through a link.
std::optional<std::string> resolve(const char* field, uint16_t path_length) {
  size_t n = strnlen(field, std::min<size_t>(path_length, kGnlPathSize - 1));
  std::string rel(field, n);
  if (rel.empty() || rel.front() == '/') return std::nullopt;
  std::stringstream parts(rel);
  for (std::string part; std::getline(parts, part, '/');)
    if (part == "..") return std::nullopt;
  std::string full = std::string(kRoot) + "/" + rel;
  char real[PATH_MAX];
  // The deepest existing ancestor must still lie below the root.
  std::string probe = full;
  while (realpath(probe.c_str(), real) == nullptr) {
    size_t slash = probe.rfind('/');
    if (slash == std::string::npos || slash == 0) return std::nullopt;
    probe.resize(slash);
  }
  std::string r(real);
  if (r != kRoot && r.rfind(std::string(kRoot) + "/", 0) != 0) return std::nullopt;
  return full;
}

// The live status store: the box's first interface that is up with an IPv4
// address (the loopback when there is no other), its gateway and name
// servers.
std::string live_status() {
  std::string ifname = "lo", ip = "127.0.0.1", mask = "255.0.0.0";
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) == 0) {
    for (ifaddrs* i = list; i != nullptr; i = i->ifa_next) {
      if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET || !(i->ifa_flags & IFF_UP)) continue;
      if (i->ifa_flags & IFF_LOOPBACK) continue;
      char a[INET_ADDRSTRLEN], m[INET_ADDRSTRLEN];
      inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(i->ifa_addr)->sin_addr, a, sizeof a);
      inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(i->ifa_netmask)->sin_addr, m, sizeof m);
      ifname = i->ifa_name, ip = a, mask = m;
      break;
    }
    freeifaddrs(list);
  }
  std::string gateway;
  if (std::ifstream route("/proc/net/route"); route) {
    std::string line, name, dest, gw;
    std::getline(route, line);
    while (route >> name >> dest >> gw && std::getline(route, line)) {
      if (name == ifname && dest == "00000000") {
        in_addr a{static_cast<in_addr_t>(std::strtoul(gw.c_str(), nullptr, 16))};
        gateway = inet_ntoa(a);
        break;
      }
    }
  }
  std::vector<std::string> dns;
  if (std::ifstream resolv("/etc/resolv.conf"); resolv) {
    for (std::string word, addr; resolv >> word;)
      if (word == "nameserver" && resolv >> addr) dns.push_back(addr);
  }
  char mac[18] = "00:00:00:00:00:00";
  int fd = socket(AF_INET, SOCK_DGRAM, 0);
  if (fd >= 0) {
    ifreq req{};
    std::strncpy(req.ifr_name, ifname.c_str(), IFNAMSIZ - 1);
    if (ioctl(fd, SIOCGIFHWADDR, &req) == 0) {
      auto* h = reinterpret_cast<unsigned char*>(req.ifr_hwaddr.sa_data);
      snprintf(mac, sizeof mac, "%02X:%02X:%02X:%02X:%02X:%02X", h[0], h[1], h[2], h[3], h[4], h[5]);
    }
    close(fd);
  }
  json::Builder o;
  o.text("ipaddr", ip.c_str())
      .text("netmask", mask.c_str())
      .text("gateway", gateway.c_str())
      .text("dns1", dns.size() > 0 ? dns[0].c_str() : "")
      .text("dns2", dns.size() > 1 ? dns[1].c_str() : "")
      .text("mac", mac);
  return json_object_to_json_string_ext(o.get(), JSON_C_TO_STRING_PLAIN);
}

// The volume keys 0 to 8 of gl_data and the hal.cfg levels that a reset
// gives them back.
constexpr std::array<const char*, 9> kVolumeKeys{"speaker-level-call", "headset-level-call", "handset-level-call",
                                                 "speaker-level-tone", "headset-level-tone", "handset-level-tone",
                                                 "speaker-level-ring", "headset-level-ring", "handset-level-ring"};

class ConfigService {
 public:
  bool start() {
    fd_ = phonebox::bind_udp(kConfigPort);
    return fd_ >= 0 && control_.open(phonebox::kControlPortConfig);
  }

  void run() {
    for (;;) {
      pollfd fds[] = {{fd_, POLLIN, 0}, {control_.fd(), POLLIN, 0}};
      // While a take-up runs, its end is looked for every 50 ms.
      const int ready = poll(fds, 2, takeup_.pid > 0 ? 50 : -1);
      if (takeup_.pid > 0) watch_takeup();
      if (ready <= 0) continue;
      if (fds[1].revents & POLLIN) control_.serve();
      if (!(fds[0].revents & POLLIN)) continue;
      sockaddr_in from{};
      socklen_t from_len = sizeof from;
      // One byte more than the record, so that an oversized datagram is seen
      // as such rather than cut to size.
      ssize_t n = recvfrom(fd_, in_.data(), in_.size(), 0, reinterpret_cast<sockaddr*>(&from), &from_len);
      if (n < 0) continue;
      if (static_cast<size_t>(n) > kGnlBufferSize) {
        phonebox::log_line(kPeer, "dropped a datagram of more than %zu bytes", kGnlBufferSize);
        continue;
      }
      from_ = from;
      from_len_ = from_len;
      size_t out_len = answer(static_cast<size_t>(n));
      if (out_len > 0) sendto(fd_, &out_, out_len, 0, reinterpret_cast<sockaddr*>(&from), from_len);
    }
  }

 private:
  // Builds the reply in out_; returns its length, or 0 for no reply.
  size_t answer(size_t n) {
    auto head = decode_gnl_head({in_.data(), n});
    if (!head) {
      phonebox::log_line(kPeer, "dropped %zu bytes (short or wrong magic)", n);
      return 0;
    }
    std::memcpy(&req_, in_.data(), n);
    // The data length is cut to what the datagram really holds.
    req_data_len_ = std::min<size_t>(head->data_length, n - kGnlHeaderSize);
    record_request(n);
    // A silent service hears and records, and answers nothing.
    if (control_.silent()) return 0;
    std::memset(&out_, 0, kGnlHeaderSize);
    out_.magic = kGnlMagic;
    out_.category = req_.category;
    out_.operation = req_.operation;
    out_.format = req_.format;
    out_.path_length = req_.path_length;
    std::memcpy(out_.path, req_.path, kGnlPathSize);
    out_.data_length = 0;
    if (req_.category == kCategoryFile && req_.operation >= kGlWrite && req_.operation <= kGlReset) return gl_data();
    if (req_.category == kCategoryFile && req_.operation == kOperationUploadConfig) return take_up();
    if (req_.category == kCategoryFile && req_.operation == kOperationDownloadConfig) {
      phonebox::log_line(kPeer, "the reverse request of phone.cfg: answered empty");
      return empty_answer();
    }
    if (req_.category == kCategoryQuestion) return question();
    switch (req_.operation) {
      case kOperationRead:
        do_read();
        break;
      case kOperationWrite:
        do_write();
        break;
      case kOperationReload:
        phonebox::log_line(kPeer, "reload of category %u", req_.category);
        break;
      default:
        phonebox::log_line(kPeer, "unknown operation 0x%04x for category %u", req_.operation, req_.category);
    }
    out_.data[out_.data_length] = 0;
    return gnl_datagram_size(out_.data_length);
  }

  size_t empty_answer() {
    out_.data_length = 0;
    out_.data[0] = 0;
    return gnl_datagram_size(0);
  }

  // The take-up of /appconfigs/phone.cfg: the file is applied by the
  // library's own importer, `phonectl cfg import --no-reload`, in a child
  // whose exchanges this service answers meanwhile; the request is answered
  // when the child ends (killed after 120 s). No file, or a take-up already
  // running: answered at once.
  size_t take_up() {
    struct stat st {};
    if (takeup_.pid > 0) {
      phonebox::log_line(kPeer, "take-up of phone.cfg already running: answered at once");
      return empty_answer();
    }
    if (stat(kPhoneCfg, &st) != 0) {
      phonebox::log_line(kPeer, "take-up: no %s, answered at once", kPhoneCfg);
      return empty_answer();
    }
    const pid_t pid = fork();
    if (pid < 0) return empty_answer();
    if (pid == 0) {
      close(fd_);
      close(control_.fd());
      const int log = open("/run/phonebox/configd-takeup.log", O_WRONLY | O_CREAT | O_APPEND, 0644);
      if (log >= 0) {
        dup2(log, STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        close(log);
      }
      execlp("phonectl", "phonectl", "--json", "cfg", "import", "--no-reload", kPhoneCfg, static_cast<char*>(nullptr));
      _exit(127);
    }
    phonebox::log_line(kPeer, "take-up of %s: phonectl cfg import as pid %d", kPhoneCfg, static_cast<int>(pid));
    takeup_.pid = pid;
    takeup_.started = std::chrono::steady_clock::now();
    takeup_.to = from_;
    takeup_.to_len = from_len_;
    std::memcpy(&takeup_.head, &req_, kGnlHeaderSize);
    return 0;  // answered when the child ends
  }

  void watch_takeup() {
    int status = 0;
    pid_t done = waitpid(takeup_.pid, &status, WNOHANG);
    if (done == 0 && std::chrono::steady_clock::now() - takeup_.started > std::chrono::seconds(kTakeupLimitS)) {
      phonebox::log_line(kPeer, "take-up: pid %d still running after %d s, killed", static_cast<int>(takeup_.pid),
                         kTakeupLimitS);
      kill(takeup_.pid, SIGKILL);
      done = waitpid(takeup_.pid, &status, 0);
    }
    if (done == 0) return;
    phonebox::log_line(kPeer, "take-up ended (status %d)", WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    takeup_.pid = 0;
    takeup_.head.data_length = 0;
    std::memcpy(&out_, &takeup_.head, kGnlHeaderSize);
    out_.data[0] = 0;
    sendto(fd_, &out_, gnl_datagram_size(0), 0, reinterpret_cast<sockaddr*>(&takeup_.to), takeup_.to_len);
  }

  // One record line: category, operation, format, path and data length,
  // in decimal. The path is cut as a read cuts it; "-" when empty, bytes
  // other than printable ones as \xNN (gl_data and the questions carry
  // numbers in that field). The two phone.cfg requests, whose callers fill
  // the frame by hand, add every byte of the datagram in hex.
  void record_request(size_t datagram) {
    const size_t n = strnlen(req_.path, std::min<size_t>(req_.path_length, kGnlPathSize - 1));
    const std::string path = phonebox::record_token({req_.path, n});
    char line[64];
    snprintf(line, sizeof line, "%u %u %u ", req_.category, req_.operation, req_.format);
    std::string frame;
    if (req_.category == kCategoryFile &&
        (req_.operation == kOperationUploadConfig || req_.operation == kOperationDownloadConfig)) {
      frame = " ";
      for (size_t i = 0; i < datagram; ++i) {
        char hex[3];
        snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char>(in_[i]));
        frame += hex;
      }
    }
    control_.record(line + path + " " + std::to_string(req_data_len_) + frame);
  }

  size_t gl_data() {
    std::memcpy(&out_, &req_, kGnlHeaderSize);  // the frame comes back as it was
    out_.data_length = 0;
    GlDataBody body = gl_body(req_);
    switch (req_.operation) {
      case kGlWrite:
        gl_data_[body.key] = body.value;
        break;
      case kGlRead: {
        body.value = gl_data_.count(body.key) != 0 ? gl_data_[body.key] : 0;
        put_gl_body(out_, body);
        break;
      }
      case kGlReset: {
        json::Owned hal(json_object_from_file((std::string(kRoot) + "/hal.cfg").c_str()));
        for (size_t k = 0; k < kVolumeKeys.size(); ++k)
          gl_data_[static_cast<int32_t>(k)] = json::integer(hal.get(), "audio", kVolumeKeys[k]);
        break;
      }
      default:
        phonebox::log_line(kPeer, "gl_data: unknown operation 0x%04x", req_.operation);
    }
    out_.data[0] = 0;
    return gnl_datagram_size(0);
  }

  size_t question() {
    std::memcpy(&out_, &req_, kGnlHeaderSize);
    out_.data_length = 0;
    if (req_.operation == kQuestionAccount) {
      // The account store, as JSON text with its terminator.
      if (auto text = read_file(std::string(kRoot) + "/voip.cfg")) put_data(text->c_str(), text->size() + 1);
    } else if (req_.operation == kQuestionFileExists) {
      // The answer is the data length itself: 1 when the file exists.
      const size_t n = strnlen(req_.path, kGnlPathSize - 1);
      std::string name(req_.path, n);
      auto path = resolve(name.c_str(), static_cast<uint16_t>(name.size()));
      struct stat st;
      out_.data_length = path && stat(path->c_str(), &st) == 0 ? 1 : 0;
      out_.data[0] = 0;
      return gnl_datagram_size(0);
    } else {
      phonebox::log_line(kPeer, "question of unknown type 0x%04x", req_.operation);
    }
    out_.data[out_.data_length] = 0;
    return gnl_datagram_size(out_.data_length);
  }

  // The file of the request's store, or nothing.
  std::optional<std::string> target() {
    if (req_.category == kCategoryFile) {
      auto path = resolve(req_.path, req_.path_length);
      if (!path) phonebox::log_line(kPeer, "refused path \"%.*s\"", static_cast<int>(kGnlPathSize), req_.path);
      return path;
    }
    const Store* s = find_store(req_.category);
    if (s == nullptr || s->file == nullptr) return std::nullopt;
    return std::string(kRoot) + "/" + s->file;
  }

  void put_data(const void* data, size_t len) {
    // The reply carries one byte past its data, so at most 32767 bytes fit.
    if (len > kGnlDataSize - kGnlTrailer) {
      phonebox::log_line(kPeer, "answer of %zu bytes does not fit; empty answer", len);
      return;
    }
    std::memcpy(out_.data, data, len);
    out_.data_length = static_cast<uint16_t>(len);
  }

  void do_read() {
    std::optional<std::string> text;
    const bool json = req_.category != kCategoryFile || req_.format == kFormatJson;
    if (req_.category == kCategoryStatus) {
      text = live_status();
    } else if (auto path = target()) {
      text = read_file(*path);
    } else if (find_store(req_.category) == nullptr && req_.category != kCategoryFile) {
      phonebox::log_line(kPeer, "read of unknown category %u", req_.category);
    }
    if (!text) return;
    if (!json) {
      put_data(text->data(), text->size());
      return;
    }
    // JSON goes out as plain text with its terminator.
    if (json::Owned o{json_tokener_parse(text->c_str())})
      *text = json_object_to_json_string_ext(o.get(), JSON_C_TO_STRING_PLAIN);
    put_data(text->c_str(), text->size() + 1);
  }

  void do_write() {
    if (req_.category != kCategoryFile) {
      const Store* s = find_store(req_.category);
      if (s == nullptr || !s->writable) {
        phonebox::log_line(kPeer, "write to category %u refused", req_.category);
        return;
      }
    }
    auto path = target();
    if (!path) return;
    // Numbered stores always take JSON: their format word is not set by the
    // writer.
    const bool json = req_.category != kCategoryFile || req_.format == kFormatJson;
    if (!json && req_.format != kFormatRaw) {
      phonebox::log_line(kPeer, "write with unknown format %u refused", req_.format);
      return;
    }
    if (!json) {
      if (!write_file(*path, req_.data, req_data_len_)) phonebox::log_line(kPeer, "write of %s failed", path->c_str());
      return;
    }
    std::string text(reinterpret_cast<const char*>(req_.data),
                     strnlen(reinterpret_cast<const char*>(req_.data), req_data_len_));
    if (!json::Owned(json_tokener_parse(text.c_str()))) {
      phonebox::log_line(kPeer, "write of %s refused: not JSON", path->c_str());
      return;
    }
    if (!write_file(*path, text.data(), text.size())) phonebox::log_line(kPeer, "write of %s failed", path->c_str());
  }

  int fd_ = -1;
  phonebox::ControlPort control_;
  std::vector<uint8_t> in_ = std::vector<uint8_t>(kGnlBufferSize + 1);
  GnlConfigRecord req_{};
  size_t req_data_len_ = 0;
  GnlConfigRecord out_{};
  std::map<int32_t, int32_t> gl_data_;
  sockaddr_in from_{};
  socklen_t from_len_ = 0;
  struct TakeUp {
    pid_t pid = 0;
    std::chrono::steady_clock::time_point started;
    sockaddr_in to{};
    socklen_t to_len = 0;
    GnlConfigRecord head{};
  } takeup_;
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  static ConfigService service;  // two 32 KiB records: not on the stack
  if (!service.start()) {
    phonebox::log_line(kPeer, "cannot start: port %u or control port %u taken", kConfigPort,
                       phonebox::kControlPortConfig);
    return 1;
  }
  phonebox::announce_ready(argc > 1 ? argv[1] : nullptr);
  service.run();
}
