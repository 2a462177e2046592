// Without the board SDK, in the process or as a library, there is no chip
// id: the lookup answers -1 and nothing is left loaded.

#include <gtest/gtest.h>

#include <cstdint>

#include "device/flash_internal.h"

namespace {

TEST(ChipId, WithoutTheSdkThereIsNone) {
  uint64_t id = 42;
  EXPECT_EQ(phonecore::device::read_chip_id(&id), -1);
  EXPECT_EQ(id, 42u);
}

}  // namespace
