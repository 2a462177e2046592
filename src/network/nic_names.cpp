// The interface names of the network service (loopback UDP 31001) and the
// refresher thread that keeps them, and the mode request to that service.
//
// The refresher is the only writer of the three names. Readers take no
// lock and may read a name while it is replaced; each byte is stored
// atomically and only a changed name is written, so a reader sees either
// byte and never a torn store.

#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

#include "base/atomic_field.h"
#include "config/gnl_config_internal.h"
#include "config/gnl_frame.h"
#include "network/nic_names.h"
#include "phonecore/net_info.h"

pthread_t nic_thread_id;

namespace phonecore::network {
namespace {

using base::load;
using base::store;
using namespace phonecore::config;

static_assert(PHONECORE_NIC_NAME_SIZE == kNicNameSize);

struct NicState {
  char names[3][kNicNameSize];  // WAN, LAN, Wi-Fi
  long long last_refresh;       // seconds of the monotonic clock
  int started;
  int ready;
};
NicState g_nic{};

long long now_seconds() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec;
}

// Stores a name that the service sent: at most 15 bytes, so it stays
// terminated; untouched when it is the same.
void put_name(char (&slot)[kNicNameSize], const char* from) {
  char next[kNicNameSize] = {};
  std::memcpy(next, from, kNicNameSize - 1);
  const size_t n = strnlen(next, kNicNameSize - 1);
  std::memset(next + n, 0, kNicNameSize - n);
  for (size_t i = 0; i < kNicNameSize; ++i)
    if (load(slot[i]) != next[i]) store(slot[i], next[i]);
}

void* refresher(void*) {
  for (unsigned pass = 0;; ++pass) {
    if (pass % 5 == 0) client_update_nic_infor();
    store(g_nic.ready, 1);
    sleep(1);
  }
  return nullptr;
}

}  // namespace

int update_names() {
  const long long now = now_seconds();
  // A refresh at most every two seconds; a failed attempt counts as one.
  if (now <= load(g_nic.last_refresh) + 1) return 0;
  store(g_nic.last_refresh, now);

  auto request = std::make_unique<GnlConfigRecord>();
  auto reply = std::make_unique<GnlConfigRecord>();
  fill_head(request.get(), kCategoryNic, kNicRefreshNames, kFormatRaw, nullptr);
  request->data_length = 0;
  const auto got = frame_exchange(kNetworkPort, *request, *reply);
  if (!got) return -1;
  return take_names({reinterpret_cast<const uint8_t*>(reply.get()), *got}) ? 0 : -1;
}

bool take_names(std::span<const uint8_t> datagram) {
  if (!decode_gnl_head(datagram)) return false;
  // The names as far as the datagram holds them; bytes it lacks read as
  // zero.
  NicNamesData names{};
  if (datagram.size() > kGnlHeaderSize)
    std::memcpy(&names, datagram.data() + kGnlHeaderSize, std::min(sizeof names, datagram.size() - kGnlHeaderSize));
  put_name(g_nic.names[0], names.wan);
  put_name(g_nic.names[1], names.lan);
  put_name(g_nic.names[2], names.wifi);
  return true;
}

void fill_mode_request(GnlConfigRecord& request, int mode, const char* vid) {
  fill_head(&request, kCategoryNic, kNicSetMode, kFormatRaw, nullptr);
  NicModeData data{};
  data.mode = mode;
  // The first 8 bytes of the vid; a shorter text is not read past its end.
  if (vid != nullptr) std::memcpy(data.vid, vid, strnlen(vid, kNicVidSize));
  std::memcpy(request.data, &data, sizeof data);
  request.data_length = sizeof data;
}

int set_mode(int mode, const char* vid) {
  auto request = std::make_unique<GnlConfigRecord>();
  auto reply = std::make_unique<GnlConfigRecord>();
  fill_mode_request(*request, mode, vid);
  return frame_exchange(kNetworkPort, *request, *reply) ? 0 : -1;
}

char* wan_name_started() {
  // No guard against two first callers at once: each may start a thread.
  if (!load(g_nic.started)) {
    store(g_nic.started, 1);
    pthread_t thread;
    if (pthread_create(&thread, nullptr, refresher, nullptr) != 0) {
      store(g_nic.started, 0);
      return nullptr;
    }
    pthread_detach(thread);
    store(nic_thread_id, thread);
  }
  while (!load(g_nic.ready)) usleep(10000);
  return g_nic.names[0];
}

char* cached_name(NicRole role) { return g_nic.names[static_cast<int>(role)]; }

}  // namespace phonecore::network

using namespace phonecore::network;

extern "C" {

int client_update_nic_infor(void) noexcept { return update_names(); }

int client_set_network_mode(int mode, const char* vid) noexcept { return set_mode(mode, vid); }

char* client_getWANName(void) noexcept { return wan_name_started(); }
char* client_getWANName_web(void) noexcept { return cached_name(NicRole::kWan); }
char* client_getLANName(void) noexcept { return cached_name(NicRole::kLan); }
char* client_getWifiName(void) noexcept { return cached_name(NicRole::kWifi); }

}  // extern "C"
