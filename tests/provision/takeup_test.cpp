// The configuration service of the box takes up /appconfigs/phone.cfg when
// a provisioning run asks (operation 0x3009): the library's own importer
// runs as its child, the service answers the child meanwhile, and the
// request is answered when the child is done.
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "config/gnl_frame.h"
#include "phonecore/config.h"
#include "phonecore/provision.h"
#include "provision/run.h"
#include "support/config_peer.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/net_peer.h"
#include "support/put_file.h"
#include "support/udp_client.h"

namespace {

using phonecore::testing::ConfigPeer;
using phonecore::testing::ConfigRequest;
using phonecore::testing::FactoryFiles;
using phonecore::testing::NetPeer;
using phonecore::testing::put_file;
using phonecore::testing::slurp;
using phonecore::testing::UdpClient;
namespace cfg = phonecore::config;

const char* kPhoneCfg = "/appconfigs/phone.cfg";

std::string vlan_vid() {
  json_object* root = read_gnl_config_json("default/internet.cfg");
  json_object* section = nullptr;
  json_object* vid = nullptr;
  std::string out = "<absent>";
  if (json_object_object_get_ex(root, "NetworkAdvanced", &section) &&
      json_object_object_get_ex(section, "VlanWanVid", &vid))
    out = json_object_get_string(vid);
  json_object_put(root);
  return out;
}

std::vector<uint8_t> request_bytes(uint16_t operation) {
  const cfg::GnlConfigRecord r = phonecore::provision::config_file_request(operation);
  const auto* p = reinterpret_cast<const uint8_t*>(&r);
  return {p, p + cfg::gnl_datagram_size(0)};
}

class TakeUp : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    unlink(kPhoneCfg);
    ASSERT_TRUE(peer_.clear());
  }
  void TearDown() override { unlink(kPhoneCfg); }
  FactoryFiles files_{"default/internet.cfg", "network.cfg", "tr069.cfg", "status.cfg"};
  ConfigPeer peer_;
};

TEST_F(TakeUp, TheFileIsAppliedBeforeTheAnswer) {
  put_file(kPhoneCfg, "#!version:1.0.0.1\nStatic.Network.Vlan.Wan.Vid = 20\n");
  ASSERT_NE(vlan_vid(), "20");
  EXPECT_EQ(upload_config_file(), 0);
  // The answer came after the child's writes: the setting is in place now.
  EXPECT_EQ(vlan_vid(), "20");
  // In the record: the take-up request, then the child's exchanges.
  const auto record = peer_.requests();
  const ConfigRequest takeup{cfg::kCategoryFile, cfg::kOperationUploadConfig, cfg::kFormatConfigFile, "", 0};
  size_t at = record.size();
  for (size_t i = 0; i < record.size() && at == record.size(); ++i)
    if (record[i] == takeup) at = i;
  ASSERT_LT(at, record.size());
  bool child_read = false;
  for (size_t i = at + 1; i < record.size(); ++i) child_read |= record[i].path == "default/internet.cfg";
  EXPECT_TRUE(child_read);
  EXPECT_NE(slurp("/run/phonebox/configd-takeup.log").find("\"items\":2"), std::string::npos);
}

TEST_F(TakeUp, NoFileIsAnsweredAtOnce) {
  UdpClient client;
  client.send_to(cfg::kConfigPort, request_bytes(cfg::kOperationUploadConfig));
  auto reply = client.receive(5000);
  ASSERT_TRUE(reply.has_value());
  EXPECT_EQ(reply->size(), 77u);
  EXPECT_EQ(peer_.requests().size(), 1u);  // nobody took anything up
  EXPECT_NE(slurp("/run/phonebox/configd.log").find("take-up: no /appconfigs/phone.cfg"), std::string::npos);
}

// While one take-up runs, a second request is answered at once; the first
// is answered when its child is done.
TEST_F(TakeUp, ASecondRequestDuringATakeUpIsAnsweredAtOnce) {
  // A silent network service holds each network key of the child for its
  // 5 s wait: the first take-up runs for a while.
  NetPeer net;
  ASSERT_TRUE(net.silent(true));
  put_file(kPhoneCfg, "Static.Network.Vlan.Wan.Vid = 31\nStatic.Network.Vlan.Wan.Vid = 33\n");
  UdpClient first, second;
  first.send_to(cfg::kConfigPort, request_bytes(cfg::kOperationUploadConfig));
  // The second asks once the first one's child has begun its work.
  for (int i = 0; i < 500 && peer_.requests().size() < 2; ++i) usleep(10000);
  second.send_to(cfg::kConfigPort, request_bytes(cfg::kOperationUploadConfig));
  auto quick = second.receive(5000);
  ASSERT_TRUE(quick.has_value());
  EXPECT_FALSE(first.receive(1).has_value());  // (0 would wait without end)
  auto late = first.receive(120000);
  ASSERT_TRUE(late.has_value());
  EXPECT_EQ(vlan_vid(), "33");
  EXPECT_TRUE(net.silent(false));
}

TEST_F(TakeUp, TheReverseRequestIsAnsweredEmpty) {
  UdpClient client;
  client.send_to(cfg::kConfigPort, request_bytes(cfg::kOperationDownloadConfig));
  auto reply = client.receive(5000);
  ASSERT_TRUE(reply.has_value());
  ASSERT_EQ(reply->size(), 77u);
  cfg::GnlConfigRecord head{};
  std::memcpy(&head, reply->data(), cfg::kGnlHeaderSize);
  EXPECT_EQ(head.operation, cfg::kOperationDownloadConfig);
  EXPECT_EQ(head.data_length, 0);
}

// The two requests as the library sends them, every byte: magic 0x05FF,
// category 4102, the operation, format 2, an empty path, and zeros to the
// 77th byte, little-endian as the board is.
TEST_F(TakeUp, BothRequestsGoOutByteForByte) {
  const auto frame = [](const char* operation_bytes) {
    return std::string("ff050610") + operation_bytes + "0200" + std::string(2 * (77 - 8), '0');
  };
  EXPECT_EQ(upload_config_file(), 0);
  EXPECT_EQ(download_config_file(), 0);
  const auto record = peer_.requests();
  ASSERT_EQ(record.size(), 2u);
  EXPECT_EQ(peer_.frames(), (std::vector<std::string>{frame("0930"), frame("0a30")}));
  EXPECT_EQ(record[0], (ConfigRequest{4102, 0x3009, 2, "", 0}));
  EXPECT_EQ(record[1], (ConfigRequest{4102, 0x300A, 2, "", 0}));
}

}  // namespace
