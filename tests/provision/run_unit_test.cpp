// The request that has the configuration service take up phone.cfg, byte
// for byte as it leaves: 77 bytes.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "provision/run.h"

namespace cfg = phonecore::config;

namespace {

std::vector<uint8_t> sent_bytes(uint16_t operation) {
  const cfg::GnlConfigRecord r = phonecore::provision::config_file_request(operation);
  const auto* p = reinterpret_cast<const uint8_t*>(&r);
  return {p, p + cfg::gnl_datagram_size(r.data_length)};
}

TEST(TakeUpRequest, IsSeventySevenBytesOfHeadAndZeros) {
  const auto bytes = sent_bytes(cfg::kOperationUploadConfig);
  ASSERT_EQ(bytes.size(), 77u);
  std::vector<uint8_t> expected(77, 0);
  const uint8_t head[] = {0xFF, 0x05, 0x06, 0x10, 0x09, 0x30, 0x02, 0x00};
  std::copy(std::begin(head), std::end(head), expected.begin());
  EXPECT_EQ(bytes, expected);
}

TEST(TakeUpRequest, TheReverseRequestDiffersOnlyInItsOperation) {
  const auto up = sent_bytes(cfg::kOperationUploadConfig);
  const auto down = sent_bytes(cfg::kOperationDownloadConfig);
  ASSERT_EQ(down.size(), 77u);
  EXPECT_EQ(down[4], 0x0A);
  EXPECT_EQ(down[5], 0x30);
  for (size_t i = 0; i < up.size(); ++i)
    if (i != 4) {
      EXPECT_EQ(up[i], down[i]) << i;
    }
}

}  // namespace
