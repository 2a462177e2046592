// pbctl: speaks the wire formats of the phone box's peers from a shell, for
// the demo and for a developer at "phonebox shell".
//
//   pbctl exchange ID_A ID_B TEXT   two sessions; A sends TEXT to B
//   pbctl connect ID                connect, print the ports, disconnect
//   pbctl read PATH | CATEGORY      read a file (or a numbered store)
//   pbctl write PATH JSON           write a JSON file
//   pbctl reload CATEGORY           ask the service to reload a store
//   pbctl sip LINE...               one control line to the SIP process
//   pbctl control PEER LINE...      one control line to msgserver, configd, sipd, httppeer, netd or uartd
//   pbctl net names                 ask the network service for the three names
//   pbctl net mode MODE [VID]       hand the network service a mode and a vid
//   pbctl net LINE...               one control line to the network service
//
// The configuration frames go through the library's frame exchange, as the
// phone's processes send them.

#include <sys/time.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bus/bus_wire.h"
#include "config/gnl_frame.h"
#include "peer.h"

using namespace phonecore;

namespace {

std::optional<bus::BusControlReply> control(uint16_t id, uint16_t code) {
  bus::BusControlRequest req{bus::kControlMagic, 0, id, code, 1};
  uint8_t out[bus::kControlRequestSize];
  bus::encode_record(req, out);
  auto in = phonebox::exchange(bus::kControlPort, out, bus::kControlReplyBuffer);
  return in ? bus::decode_control_reply(*in) : std::nullopt;
}

int cmd_connect(uint16_t id) {
  auto r = control(id, bus::kControlConnect);
  if (!r) return printf("no answer from the message server\n"), 1;
  printf("connect %u: status %u, server_port %u, local_port %u\n", id, r->status, r->server_port, r->local_port);
  auto d = control(id, bus::kControlDisconnect);
  printf("disconnect %u: %s\n", id, d ? "answered" : "no answer");
  return r->status == 0 ? 0 : 1;
}

int cmd_exchange(uint16_t a, uint16_t b, const char* text) {
  auto ra = control(a, bus::kControlConnect);
  auto rb = control(b, bus::kControlConnect);
  if (!ra || !rb || ra->status != 0 || rb->status != 0) return printf("connect failed\n"), 1;
  printf("session %u: sends to port %u, listens on %u\n", a, ra->server_port, ra->local_port);
  printf("session %u: sends to port %u, listens on %u\n", b, rb->server_port, rb->local_port);
  int fa = phonebox::bind_udp(ra->local_port);
  int fb = phonebox::bind_udp(rb->local_port);
  timeval tv{2, 0};
  setsockopt(fb, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  size_t len = strlen(text);
  std::vector<uint8_t> pkt(bus::kPacketHeaderSize + len + 1, 0);
  bus::BusPacketHeader h{bus::kPacketMagic, 1, 0, 9, b, a, static_cast<uint32_t>(len)};
  bus::encode_record(h, pkt);
  memcpy(pkt.data() + bus::kPacketHeaderSize, text, len);
  sockaddr_in to = phonebox::loopback(ra->server_port);
  sendto(fa, pkt.data(), pkt.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
  std::vector<uint8_t> in(bus::kListenerBuffer);
  ssize_t n = recv(fb, in.data(), in.size(), 0);
  int rc = 1;
  if (auto got = bus::decode_packet_header({in.data(), n > 0 ? static_cast<size_t>(n) : 0})) {
    printf("session %u received %zd bytes from %u (kind %u, seq %u): %.*s\n", b, n, got->source, got->kind, got->seq,
           static_cast<int>(got->length), reinterpret_cast<const char*>(in.data() + bus::kPacketHeaderSize));
    rc = 0;
  } else {
    printf("session %u received nothing\n", b);
  }
  close(fa);
  close(fb);
  control(a, bus::kControlDisconnect);
  control(b, bus::kControlDisconnect);
  return rc;
}

int cmd_config(uint16_t category, uint16_t operation, const char* path, const char* json) {
  static config::GnlConfigRecord rec;  // 32 KiB: not on the stack
  memset(&rec, 0, sizeof rec);
  rec.magic = config::kGnlMagic;
  rec.category = category;
  rec.operation = operation;
  rec.format = operation == config::kOperationReload ? config::kFormatRaw : config::kFormatJson;
  if (path != nullptr) {
    strncpy(rec.path, path, config::kGnlPathSize - 1);
    rec.path_length = static_cast<uint16_t>(strlen(rec.path));
  }
  if (json != nullptr) {
    size_t n = std::min(strlen(json) + 1, config::kGnlDataSize - 1);
    memcpy(rec.data, json, n);
    rec.data_length = static_cast<uint16_t>(n);
  }
  // The reply comes into the request's own record.
  auto got = config::frame_exchange(config::kConfigPort, rec, rec);
  auto head = got ? config::decode_gnl_head({reinterpret_cast<const uint8_t*>(&rec), *got}) : std::nullopt;
  if (!head || head->category != category) return printf("no answer from the configuration service\n"), 1;
  size_t n = std::min<size_t>(head->data_length, *got - config::kGnlHeaderSize);
  printf("answer: category %u, operation %u, %u data bytes%s", head->category, head->operation, head->data_length,
         n > 0 ? ":\n" : "\n");
  const char* data = reinterpret_cast<const char*>(rec.data);
  if (n > 0) printf("%.*s\n", static_cast<int>(strnlen(data, n)), data);
  return 0;
}

struct ControlPeer {
  std::string_view name;
  uint16_t port;
};
constexpr ControlPeer kControlPeers[] = {
    {"msgserver", phonebox::kControlPortMessageServer},
    {"configd", phonebox::kControlPortConfig},
    {"sipd", phonebox::kControlPortSip},
    {"httppeer", phonebox::kControlPortHttp},
    {"directoryd", phonebox::kControlPortDirectory},
    {"netd", phonebox::kControlPortNetwork},
    {"uartd", phonebox::kControlPortSerial},
};

const ControlPeer* peer_named(std::string_view name) {
  for (const ControlPeer& peer : kControlPeers)
    if (peer.name == name) return &peer;
  return nullptr;
}

// The short forms: "pbctl sip LINE" is "pbctl control sipd LINE".
struct ShortForm {
  std::string_view word;
  std::string_view peer;
};
constexpr ShortForm kShortForms[] = {{"sip", "sipd"}, {"net", "netd"}, {"dir", "directoryd"}};

// One line (the words from argv[first] on) to a peer's control port; its
// answer on stdout.
int cmd_control(const ControlPeer& peer, int first, int argc, char** argv) {
  std::string line;
  for (int i = first; i < argc; ++i) {
    if (i > first) line += ' ';
    line += argv[i];
  }
  auto in = phonebox::exchange(peer.port, {reinterpret_cast<const uint8_t*>(line.data()), line.size()}, 65536);
  if (!in) {
    fprintf(stderr, "%.*s did not answer\n", static_cast<int>(peer.name.size()), peer.name.data());
    return 1;
  }
  // An empty answer (an empty record) prints nothing.
  std::string answer(in->begin(), in->end());
  printf("%s%s", answer.c_str(), answer.empty() || answer.back() == '\n' ? "" : "\n");
  return answer.rfind("error", 0) == 0 ? 1 : 0;
}

// The network service's two requests, through the frame exchange.
int cmd_net(uint16_t operation, int mode, const char* vid) {
  static config::GnlConfigRecord rec;
  std::memset(&rec, 0, sizeof rec);
  rec.magic = config::kGnlMagic;
  rec.category = config::kCategoryNic;
  rec.operation = operation;
  if (operation == config::kNicSetMode) {
    config::NicModeData data{};
    data.mode = mode;
    if (vid != nullptr) std::memcpy(data.vid, vid, strnlen(vid, config::kNicVidSize));
    std::memcpy(rec.data, &data, sizeof data);
    rec.data_length = sizeof data;
  }
  auto got = config::frame_exchange(config::kNetworkPort, rec, rec);
  auto head = got ? config::decode_gnl_head({reinterpret_cast<const uint8_t*>(&rec), *got}) : std::nullopt;
  if (!head) return printf("no answer from the network service\n"), 1;
  if (operation == config::kNicSetMode) return printf("answer: %zu bytes\n", *got), 0;
  config::NicNamesData names{};
  std::memcpy(&names, rec.data,
              std::min(sizeof names, *got > config::kGnlHeaderSize ? *got - config::kGnlHeaderSize : 0));
  printf("wan %.16s\nlan %.16s\nwifi %.16s\n", names.wan, names.lan, names.wifi);
  return 0;
}

bool is_number(const char* s) { return *s != 0 && strspn(s, "0123456789") == strlen(s); }

}  // namespace

int main(int argc, char** argv) {
  std::string cmd = argc > 1 ? argv[1] : "";
  if (cmd == "exchange" && argc == 5) return cmd_exchange(atoi(argv[2]), atoi(argv[3]), argv[4]);
  if (cmd == "connect" && argc == 3) return cmd_connect(atoi(argv[2]));
  if (cmd == "read" && argc == 3) {
    if (is_number(argv[2])) return cmd_config(atoi(argv[2]), config::kOperationRead, nullptr, nullptr);
    return cmd_config(config::kCategoryFile, config::kOperationRead, argv[2], nullptr);
  }
  if (cmd == "write" && argc == 4) return cmd_config(config::kCategoryFile, config::kOperationWrite, argv[2], argv[3]);
  if (cmd == "reload" && argc == 3) return cmd_config(atoi(argv[2]), config::kOperationReload, nullptr, nullptr);
  if (cmd == "net" && argc == 3 && std::string_view(argv[2]) == "names")
    return cmd_net(config::kNicRefreshNames, 0, nullptr);
  if (cmd == "net" && (argc == 4 || argc == 5) && std::string_view(argv[2]) == "mode")
    return cmd_net(config::kNicSetMode, atoi(argv[3]), argc == 5 ? argv[4] : "");
  for (const ShortForm& form : kShortForms)
    if (cmd == form.word && argc >= 3) return cmd_control(*peer_named(form.peer), 2, argc, argv);
  if (cmd == "control" && argc >= 4)
    if (const ControlPeer* peer = peer_named(argv[2])) return cmd_control(*peer, 3, argc, argv);
  fprintf(stderr,
          "usage: pbctl exchange ID_A ID_B TEXT | connect ID | read PATH|CATEGORY | write PATH JSON | reload CATEGORY"
          " | sip LINE | control msgserver|configd|sipd|httppeer|directoryd|netd|uartd LINE | net names | net mode "
          "MODE [VID]"
          " | net LINE | dir LINE\n");
  return 2;
}
