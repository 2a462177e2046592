// The words of the message bus that both ends must agree on: packet kinds,
// message numbers and bus ids. The library, its tests and the peers of the
// box take them from here; the public macros are tied to them by
// static_assert (here for phonecore/bus_client.h, in the dial code for
// phonecore/hotkey.h), so that the two cannot drift.
#pragma once

#include <cstdint>

#include "phonecore/bus_client.h"

namespace phonecore::bus {

// How a receiver treats a packet (the header's kind word).
constexpr uint16_t kKindNumeric = 1;   // numeric request; msgtype selects it
constexpr uint16_t kKindEvent = 2;     // JSON event: name hooks, then the event thread
constexpr uint16_t kKindCommand = 3;   // command broadcast "{\"cmd\":\"...\"}"
constexpr uint16_t kKindDirected = 9;  // JSON request or reply to one receiver

// Message numbers (the header's msgtype word).
constexpr uint16_t kMsgtypeJson = 0;          // JSON that goes by its "msgtype" text
constexpr uint16_t kMsgtypeCommand = 5;       // command broadcast, with kind 3
constexpr uint16_t kMsgtypeBinary = 6;        // "account_get", "warnningist_get" and their binary replies
constexpr uint16_t kMsgtypeAccounts = 7;      // array of account records
constexpr uint16_t kMsgtypeHotkeyReload = 8;  // hot keys have changed; empty payload

// Bus ids.
constexpr uint16_t kBusIdSip = 4098;
constexpr uint16_t kBusIdTimeZone = 4099;
constexpr uint16_t kBusIdKeyClient = 4101;
constexpr uint16_t kBusIdTypeAll = 4107;
constexpr uint16_t kBusIdSessionless = 4110;  // source of packets sent without a session
constexpr uint16_t kBusIdAll = 65535;

// The seq word of every packet sent without a session.
constexpr uint16_t kSessionlessSeq = 0x0F0F;

static_assert(kBusIdSip == BUS_ID_SIP);
static_assert(kBusIdAll == BUS_ID_ALL);

}  // namespace phonecore::bus
