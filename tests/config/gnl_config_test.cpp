// The configuration client against the configuration-service peer.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "config/gnl_frame.h"
#include "phonecore/config.h"
#include "phonecore/json_msg.h"
#include "support/config_service.h"
#include "support/files.h"
#include "support/udp_client.h"

using namespace phonecore::config;
using phonecore::testing::UdpClient;

namespace {

using phonecore::testing::slurp;

TEST(GnlConfig, ReadsAFileThroughTheService) {
  json_object* hal = read_gnl_config_json("hal.cfg");
  ASSERT_NE(hal, nullptr);
  EXPECT_EQ(get_int_from_json_rl(hal, 2, "audio", "speaker-level-call"), 12);
  json_object_put(hal);
}

TEST(GnlConfig, ReadsTheNumberedStores) {
  json_object* network = read_network_config();
  ASSERT_NE(network, nullptr);
  EXPECT_STREQ(get_string_from_json(network, 2, "wan", "mode"), "dhcp");
  json_object_put(network);
  json_object* status = read_status_config();
  ASSERT_NE(status, nullptr);
  EXPECT_STREQ(get_string_from_json(status, 1, "ipaddr"), "192.0.2.10");  // the box's eth0
  json_object_put(status);
  json_object* voip = read_gnl_config(4097, nullptr);
  ASSERT_NE(voip, nullptr);
  EXPECT_NE(get_jobj_from_json(voip, 1, "account"), nullptr);
  json_object_put(voip);
}

TEST(GnlConfig, WriteThenReadGivesTheSameObject) {
  json_object* o = json_tokener_parse(R"({"vlanid":"42"})");
  EXPECT_EQ(write_gnl_config_json("status.cfg", o), 0);
  json_object* back = read_gnl_config_json("status.cfg");
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(json_object_equal(o, back));
  json_object_put(o);
  json_object_put(back);
}

TEST(GnlConfig, NumberedWriteReachesTheStoreFile) {
  json_object* network = read_network_config();
  set_string_to_json(network, "mode", "static_ip", 1, "wan");
  EXPECT_EQ(write_gnl_config(4096, nullptr, network), 0);
  json_object_put(network);
  EXPECT_NE(slurp("/appconfigs/network.cfg").find("static_ip"), std::string::npos);
}

TEST(GnlConfig, NullArgumentsSendNothing) {
  EXPECT_EQ(read_gnl_config_json(nullptr), nullptr);
  json_object* o = json_object_new_object();
  EXPECT_EQ(write_gnl_config_json(nullptr, o), -1);
  EXPECT_EQ(write_gnl_config_json("x.cfg", nullptr), -1);
  EXPECT_FALSE(std::ifstream("/appconfigs/x.cfg").good());
  json_object_put(o);
  char* buffer = nullptr;
  EXPECT_EQ(read_gnl_config_hex(nullptr, &buffer), -1);
  EXPECT_EQ(write_gnl_config_hex(nullptr, "x", 1), -1);
  EXPECT_EQ(write_gnl_config_hex("x.bin", nullptr, 1), -1);
}

TEST(GnlConfig, HexRoundTripAndAnEmptyFileGiveZeroWithABlockToFree) {
  const char bytes[] = {0x01, 0x00, 0x02, static_cast<char>(0xFF)};
  EXPECT_EQ(write_gnl_config_hex("voipGroupList.bin", bytes, 4), 0);
  char* back = nullptr;
  ASSERT_EQ(read_gnl_config_hex("voipGroupList.bin", &back), 4);
  EXPECT_EQ(std::memcmp(back, bytes, 4), 0);
  free(back);
  std::ofstream("/appconfigs/empty.bin");
  char* empty = nullptr;
  EXPECT_EQ(read_gnl_config_hex("empty.bin", &empty), 0);
  EXPECT_NE(empty, nullptr);
  free(empty);
}

TEST(GnlConfig, ReloadAnswersZeroForTheCategory) {
  EXPECT_EQ(reload_config(4097, nullptr), 0);
  EXPECT_EQ(reload_config(4102, "hal.cfg"), 0);
}

TEST(GnlConfig, TextTooLongForOneDatagramIsRefusedAndNothingSent) {
  json_object* big = json_object_new_object();
  json_object_object_add(big, "blob", json_object_new_string(std::string(40000, 'b').c_str()));
  EXPECT_EQ(write_gnl_config_json("big.cfg", big), -1);
  EXPECT_EQ(write_gnl_config(4102, "big.cfg", big), 0);
  EXPECT_FALSE(std::ifstream("/appconfigs/big.cfg").good());
  json_object_put(big);
}

TEST(GnlConfig, FileOfThirtyTwoKilobytesOrMoreReadsAsNull) {
  std::ofstream("/appconfigs/huge.cfg") << "{\"a\":\"" << std::string(33000, 'x') << "\"}";
  EXPECT_EQ(read_gnl_config_json("huge.cfg"), nullptr);
}

TEST(GnlConfig, FileThatIsNotJsonReadsAsNull) {
  std::ofstream("/appconfigs/broken.cfg") << "{\"half\": ";
  EXPECT_EQ(read_gnl_config_json("broken.cfg"), nullptr);
}

TEST(GnlConfig, AbsolutePathHelper) {
  char path[128];
  EXPECT_EQ(get_config_file_ABSpath("hal.cfg", path), 0);
  EXPECT_STREQ(path, "/appconfigs/hal.cfg");
}

TEST(GnlConfig, CacheReadsOnceAndRefreshWritesBack) {
  open_config_client();
  json_object* network = get_config_slot(4096);
  ASSERT_NE(network, nullptr);
  EXPECT_EQ(g_config_json[0], network);
  EXPECT_EQ(get_config_slot(4096), network);  // no second read
  set_string_to_json(network, "ipaddr", "10.0.0.9", 1, "wan");
  EXPECT_EQ(refresh_config(4096, 1, nullptr), 0);
  EXPECT_NE(slurp("/appconfigs/network.cfg").find("10.0.0.9"), std::string::npos);
  EXPECT_EQ(refresh_config(4102, 0, "hal.cfg"), 0);
  EXPECT_NE(g_config_json[13], nullptr);
  EXPECT_EQ(close_config_client(), 0);
}

TEST(GnlConfig, ReadJsonValFromFilePrintsTheValue) {
  char prog[] = "tool", mode[] = "get", file[] = "/appconfigs/quorbit_ota.cfg", k1[] = "QuorbitOta",
       k2[] = "sw_version", missing[] = "nope";
  char* argv[] = {prog, mode, file, k1, k2};
  testing::internal::CaptureStdout();
  EXPECT_EQ(read_json_val_from_file(5, argv), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "1.0.0");
  char* argv2[] = {prog, mode, file, missing};
  testing::internal::CaptureStdout();
  EXPECT_EQ(read_json_val_from_file(4, argv2), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  char bad[] = "/appconfigs/etc/webauth.cfg";
  char* argv3[] = {prog, mode, bad};
  EXPECT_EQ(read_json_val_from_file(3, argv3), -1);
}

// A fake service on 26001 (the peer stopped) for the answers the peer
// never gives.
class FakeService : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(phonecore::testing::stop_config_service()); }

  // Plays the service for count requests: each is handed to answer, which
  // returns the datagram to send back (nothing for an empty one).
  // The port is bound before the thread starts, so that no request finds
  // it closed however late the thread runs.
  static std::thread serve(int count, std::function<std::vector<uint8_t>(std::vector<uint8_t>&)> answer) {
    auto socket = std::make_shared<UdpClient>(kConfigPort);
    return std::thread([socket, count, answer] {
      UdpClient& s = *socket;
      for (int i = 0; i < count; ++i) {
        sockaddr_in from{};
        socklen_t len = sizeof from;
        std::vector<uint8_t> request(kGnlBufferSize);
        ssize_t n = recvfrom(s.fd(), request.data(), request.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0) return;
        request.resize(static_cast<size_t>(n));
        auto reply = answer(request);
        if (!reply.empty()) sendto(s.fd(), reply.data(), reply.size(), 0, reinterpret_cast<sockaddr*>(&from), len);
      }
    });
  }
};

TEST_F(FakeService, ReplyForAnotherCategoryIsNothing) {
  std::thread server = serve(2, [](std::vector<uint8_t>& request) {
    const char json[] = "{\"a\":1}";
    std::vector<uint8_t> reply(76 + sizeof json + 1, 0);
    std::memcpy(reply.data(), request.data(), 76);
    std::memcpy(reply.data() + 76, json, sizeof json);
    reply[2] = 0x07;  // category 4103
    reply[74] = sizeof json, reply[75] = 0;
    return reply;
  });
  usleep(50000);
  EXPECT_EQ(read_gnl_config_json("hal.cfg"), nullptr);
  EXPECT_EQ(reload_config(4102, "hal.cfg"), -1);
  server.join();
}

TEST_F(FakeService, WrongMagicIsNothingAndWriteLeavesTheFormatWordUnset) {
  std::vector<uint8_t> seen;
  std::thread server = serve(1, [&](std::vector<uint8_t>& request) {
    seen = request;
    std::vector<uint8_t> reply(request.begin(), request.begin() + 77);
    reply[0] = 0;  // wrong magic
    return reply;
  });
  usleep(50000);
  json_object* o = json_tokener_parse(R"({"k":"v"})");
  EXPECT_EQ(write_gnl_config(4096, nullptr, o), 0);
  server.join();
  const std::string text = json_object_get_string(o);
  ASSERT_EQ(seen.size(), text.size() + 1 + 77);  // data length + 77
  uint16_t category, operation, data_length;
  std::memcpy(&category, seen.data() + 2, 2);
  std::memcpy(&operation, seen.data() + 4, 2);
  std::memcpy(&data_length, seen.data() + 74, 2);
  EXPECT_EQ(category, 4096);
  EXPECT_EQ(operation, 2);
  EXPECT_EQ(data_length, text.size() + 1);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(seen.data() + 76)), text);
  json_object_put(o);
}

TEST_F(FakeService, ReplyLongerThanTheBufferIsCutAndNeverOverruns) {
  std::thread server = serve(1, [](std::vector<uint8_t>& request) {
    std::vector<uint8_t> big(40000, 'x');
    std::memcpy(big.data(), request.data(), 76);
    big[74] = 0xFF, big[75] = 0xFF;  // a data length beyond everything
    big[76] = '{';
    return big;
  });
  usleep(50000);
  EXPECT_EQ(read_gnl_config_json("hal.cfg"), nullptr);  // cut text: no JSON
  server.join();
}

TEST_F(FakeService, MissingServiceCostsFiveSecondsAndGivesNull) {
  auto t0 = std::chrono::steady_clock::now();
  EXPECT_EQ(read_gnl_config_json("hal.cfg"), nullptr);
  auto took = std::chrono::steady_clock::now() - t0;
  EXPECT_GE(took, std::chrono::milliseconds(4900));
  EXPECT_LT(took, std::chrono::seconds(60));  // one wait of 5 s; the margin is for a loaded machine
}

}  // namespace
