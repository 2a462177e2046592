// Any datagram as the network service's answer to the names request, and
// any vid text into the mode request: the cached names stay terminated and
// are the fields' first bytes; the request carries the vid's first 8 bytes
// and nothing read past its end.
//
// Input: the datagram; its first 9 bytes are also the mode and a vid (a
// text cut at its first zero byte).

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>

#include "config/gnl_frame.h"
#include "network/nic_names.h"
#include "phonecore/net_info.h"

namespace pc = phonecore::config;
namespace pn = phonecore::network;

namespace {

void check_name(pn::NicRole role, const uint8_t* field, size_t available) {
  const char* name = pn::cached_name(role);
  const size_t n = strnlen(name, pc::kNicNameSize);
  if (n >= pc::kNicNameSize) __builtin_trap();
  // What the field held up to its first zero, cut at 15; missing bytes zero.
  char expected[pc::kNicNameSize] = {};
  std::memcpy(expected, field, std::min(available, pc::kNicNameSize - 1));
  if (std::strcmp(name, expected) != 0) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const size_t taken = std::min(size, sizeof(pc::GnlConfigRecord));
  std::string before[3];
  for (int r = 0; r < 3; ++r) before[r] = pn::cached_name(static_cast<pn::NicRole>(r));
  const bool took = pn::take_names(std::span(data, taken));
  if (took != pc::decode_gnl_head(std::span(data, taken)).has_value()) __builtin_trap();
  if (took) {
    const size_t body = taken > pc::kGnlHeaderSize ? taken - pc::kGnlHeaderSize : 0;
    const uint8_t* names = data + pc::kGnlHeaderSize;
    for (int r = 0; r < 3; ++r) {
      const size_t at = static_cast<size_t>(r) * pc::kNicNameSize;
      check_name(static_cast<pn::NicRole>(r), names + std::min(at, body), body > at ? body - at : 0);
    }
  } else {
    for (int r = 0; r < 3; ++r)
      if (before[r] != pn::cached_name(static_cast<pn::NicRole>(r))) __builtin_trap();
  }

  // The mode request from the first bytes: a 32-bit mode and a vid text.
  int32_t mode = 0;
  std::memcpy(&mode, data, std::min(size, sizeof mode));
  const std::string vid(reinterpret_cast<const char*>(data) + std::min(size, sizeof mode),
                        size > sizeof mode ? std::min<size_t>(size - sizeof mode, 64) : 0);
  auto request = std::make_unique<pc::GnlConfigRecord>();
  pn::fill_mode_request(*request, mode, vid.c_str());
  if (request->data_length != sizeof(pc::NicModeData) || request->operation != pc::kNicSetMode) __builtin_trap();
  pc::NicModeData sent;
  std::memcpy(&sent, request->data, sizeof sent);
  if (sent.mode != mode) __builtin_trap();
  const size_t n = strnlen(vid.c_str(), pc::kNicVidSize);
  if (std::memcmp(sent.vid, vid.c_str(), n) != 0) __builtin_trap();
  for (size_t i = n; i < pc::kNicVidSize; ++i)
    if (sent.vid[i] != 0) __builtin_trap();
  return 0;
}
