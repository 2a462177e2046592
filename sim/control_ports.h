// The control-and-record ports of the box's peers (UDP on the loopback),
// shared by the peers, pbctl and the tests that steer them.
#pragma once

#include <cstdint>

namespace phonebox {

constexpr uint16_t kControlPortMessageServer = 27020;
constexpr uint16_t kControlPortConfig = 27026;
constexpr uint16_t kControlPortSip = 27098;
constexpr uint16_t kControlPortDirectory = 27030;
constexpr uint16_t kControlPortNetwork = 27031;
constexpr uint16_t kControlPortHttp = 27080;
constexpr uint16_t kControlPortSerial = 27032;

}  // namespace phonebox
