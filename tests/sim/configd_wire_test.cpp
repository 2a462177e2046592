// Byte-exact tests of the configuration-service peer, through raw sockets.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string>

#include "config/gnl_frame.h"
#include "support/config_peer.h"
#include "support/files.h"
#include "support/udp_client.h"

using namespace phonecore::config;
using phonecore::testing::ConfigPeer;
using phonecore::testing::ConfigRequest;
using phonecore::testing::UdpClient;

namespace {

struct Request {
  uint16_t category;
  uint16_t operation;
  uint16_t format;
  std::string path;
  std::string data;  // sent as given; add the terminator yourself
};

std::vector<uint8_t> encode(const Request& r) {
  static GnlConfigRecord rec;
  std::memset(&rec, 0, sizeof rec);
  rec.magic = kGnlMagic;
  rec.category = r.category;
  rec.operation = r.operation;
  rec.format = r.format;
  std::memcpy(rec.path, r.path.data(), std::min(r.path.size(), kGnlPathSize));
  rec.path_length = static_cast<uint16_t>(r.path.size());
  std::memcpy(rec.data, r.data.data(), r.data.size());
  rec.data_length = static_cast<uint16_t>(r.data.size());
  auto* b = reinterpret_cast<const uint8_t*>(&rec);
  return {b, b + gnl_datagram_size(r.data.size())};
}

struct Reply {
  GnlHead head;
  size_t size;
  std::string data;  // data_length bytes
};

std::optional<Reply> ask(const Request& r) {
  UdpClient c;
  auto in = c.exchange(kConfigPort, encode(r));
  if (!in) return std::nullopt;
  auto head = decode_gnl_head(*in);
  if (!head) return std::nullopt;
  std::string data(reinterpret_cast<const char*>(in->data()) + kGnlHeaderSize,
                   std::min<size_t>(head->data_length, in->size() - kGnlHeaderSize));
  return Reply{*head, in->size(), data};
}

using phonecore::testing::slurp;

bool same_json(const std::string& a, const std::string& b) {
  json_object* x = json_tokener_parse(a.c_str());
  json_object* y = json_tokener_parse(b.c_str());
  bool same = x != nullptr && y != nullptr && json_object_equal(x, y);
  json_object_put(x);
  json_object_put(y);
  return same;
}

TEST(ConfigService, JsonReadAnswersTheFileAsTextWithItsTerminator) {
  auto r = ask({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->head.category, kCategoryFile);
  EXPECT_EQ(r->head.operation, kOperationRead);
  ASSERT_GT(r->head.data_length, 1);
  EXPECT_EQ(r->size, r->head.data_length + 77u);
  EXPECT_EQ(r->data.back(), '\0');
  EXPECT_EQ(std::strlen(r->data.c_str()) + 1, r->data.size());
  EXPECT_TRUE(same_json(r->data.c_str(), slurp("/appconfigs/hal.cfg")));
}

TEST(ConfigService, ReplyEchoesMagicCategoryAndPath) {
  UdpClient c;
  auto in = c.exchange(kConfigPort, encode({kCategoryFile, kOperationRead, kFormatJson, "default/dss.cfg", ""}));
  ASSERT_TRUE(in);
  GnlConfigRecord rec{};
  std::memcpy(&rec, in->data(), std::min(in->size(), sizeof rec));
  EXPECT_EQ(rec.magic, 1535);
  EXPECT_EQ(rec.category, 4102);
  EXPECT_EQ(rec.path_length, 15);
  EXPECT_STREQ(rec.path, "default/dss.cfg");
}

TEST(ConfigService, RawReadAnswersTheBytesAsTheyAre) {
  std::string blob("\x00\x01\x02\xff group", 10);
  {
    std::ofstream out("/appconfigs/voipGroupList.bin", std::ios::binary);
    out << blob;
  }
  auto r = ask({kCategoryFile, kOperationRead, kFormatRaw, "voipGroupList.bin", ""});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->head.data_length, blob.size());
  EXPECT_EQ(r->data, blob);
  EXPECT_EQ(r->size, blob.size() + 77);
}

TEST(ConfigService, MissingFileAnswersNoData) {
  auto r = ask({kCategoryFile, kOperationRead, kFormatJson, "default/nothing.cfg", ""});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->head.data_length, 0);
  EXPECT_EQ(r->size, 77u);
}

TEST(ConfigService, JsonWriteStoresTheTextAndAnswersTheCategory) {
  std::string text = "{ \"audio\": { \"speaker-level-call\": 3 } }";
  auto r = ask({kCategoryFile, kOperationWrite, kFormatJson, "hal.cfg", text + '\0'});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->head.category, kCategoryFile);
  EXPECT_EQ(r->head.operation, kOperationWrite);
  EXPECT_EQ(slurp("/appconfigs/hal.cfg"), text);
  auto back = ask({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""});
  EXPECT_TRUE(same_json(back->data.c_str(), text));
}

TEST(ConfigService, RawWriteStoresExactlyDataLengthBytes) {
  std::string blob("\x10\x00\x20\x00\xff", 5);
  ask({kCategoryFile, kOperationWrite, kFormatRaw, "voipGroupList.bin", blob});
  EXPECT_EQ(slurp("/appconfigs/voipGroupList.bin"), blob);
}

TEST(ConfigService, WriteOfTextThatIsNotJsonChangesNothing) {
  std::string before = slurp("/appconfigs/status.cfg");
  auto r = ask({kCategoryFile, kOperationWrite, kFormatJson, "status.cfg", std::string("not json{", 10)});
  ASSERT_TRUE(r);
  EXPECT_EQ(slurp("/appconfigs/status.cfg"), before);
}

TEST(ConfigService, NumberedStoresMapToTheirFiles) {
  struct {
    uint16_t category;
    const char* file;
  } stores[] = {{4096, "network.cfg"}, {4097, "voip.cfg"}, {4099, "tr069.cfg"}, {4101, "ldap.cfg"}};
  for (auto s : stores) {
    auto r = ask({s.category, kOperationRead, kFormatJson, "", ""});
    ASSERT_TRUE(r) << s.category;
    EXPECT_EQ(r->head.category, s.category);
    EXPECT_TRUE(same_json(r->data.c_str(), slurp(std::string("/appconfigs/") + s.file))) << s.category;
  }
}

TEST(ConfigService, NumberedStoreWriteIgnoresTheFormatWord) {
  std::string text = "{\"wan\":{\"mode\":\"static_ip\"}}";
  ask({4096, kOperationWrite, 0xBEEF, "", text + '\0'});
  EXPECT_EQ(slurp("/appconfigs/network.cfg"), text);
}

TEST(ConfigService, LiveStatusHoldsTheSixMembersOfTheBoxInterface) {
  auto r = ask({4100, kOperationRead, kFormatJson, "", ""});
  ASSERT_TRUE(r);
  json_object* o = json_tokener_parse(r->data.c_str());
  ASSERT_NE(o, nullptr);
  for (const char* key : {"ipaddr", "netmask", "gateway", "dns1", "dns2", "mac"}) {
    json_object* v = nullptr;
    EXPECT_TRUE(json_object_object_get_ex(o, key, &v)) << key;
  }
  json_object* ip = nullptr;
  json_object_object_get_ex(o, "ipaddr", &ip);
  EXPECT_STREQ(json_object_get_string(ip), "192.0.2.10");  // the box's eth0
  json_object_put(o);
  // The live status is not writable.
  ask({4100, kOperationWrite, kFormatJson, "", "{}"});
  EXPECT_FALSE(std::ifstream("/appconfigs/status").good());
}

TEST(ConfigService, ReloadAnswersWithTheCategory) {
  for (uint16_t category : {4096, 4097, 4099, 4102}) {
    auto r = ask({category, kOperationReload, kFormatRaw, "", ""});
    ASSERT_TRUE(r) << category;
    EXPECT_EQ(r->head.category, category);
    EXPECT_EQ(r->head.operation, kOperationReload);
    EXPECT_EQ(r->size, 77u);
  }
}

TEST(ConfigService, PathsThatLeaveAppconfigsAreRefused) {
  for (const char* path : {"../etc/passwd", "/etc/passwd", "default/../../etc/passwd", "..", "", "etc/../../x"}) {
    auto r = ask({kCategoryFile, kOperationRead, kFormatRaw, path, ""});
    ASSERT_TRUE(r) << path;
    EXPECT_EQ(r->head.data_length, 0) << path;
  }
  ask({kCategoryFile, kOperationWrite, kFormatRaw, "../escaped.txt", "x"});
  EXPECT_FALSE(std::ifstream("/escaped.txt").good());
  // A link inside that points outside is refused as well.
  ASSERT_EQ(symlink("/etc", "/appconfigs/outside"), 0);
  auto r = ask({kCategoryFile, kOperationRead, kFormatRaw, "outside/hostname", ""});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->head.data_length, 0);
}

TEST(ConfigService, UnknownCategoryOrOperationAnswersEmpty) {
  auto a = ask({5000, kOperationRead, kFormatJson, "", ""});
  ASSERT_TRUE(a);
  EXPECT_EQ(a->head.category, 5000);
  EXPECT_EQ(a->head.data_length, 0);
  auto b = ask({kCategoryFile, 0x7777, kFormatJson, "hal.cfg", ""});
  ASSERT_TRUE(b);
  EXPECT_EQ(b->head.operation, 0x7777);
  EXPECT_EQ(b->head.data_length, 0);
}

TEST(ConfigService, FileTooLargeForTheBufferAnswersEmptyAndNeverSendsMore) {
  {
    std::ofstream out("/appconfigs/big.bin", std::ios::binary);
    out << std::string(40000, 'z');
  }
  UdpClient c;
  auto in = c.exchange(kConfigPort, encode({kCategoryFile, kOperationRead, kFormatRaw, "big.bin", ""}));
  ASSERT_TRUE(in);
  EXPECT_LE(in->size(), kGnlBufferSize);
  EXPECT_EQ(decode_gnl_head(*in)->data_length, 0);
  {
    std::ofstream out("/appconfigs/edge.bin", std::ios::binary);
    out << std::string(32767, 'e');
  }
  auto edge = c.exchange(kConfigPort, encode({kCategoryFile, kOperationRead, kFormatRaw, "edge.bin", ""}));
  ASSERT_TRUE(edge);
  EXPECT_EQ(edge->size(), kGnlBufferSize);
}

TEST(ConfigService, SurvivesBadInputAndGoesOnServing) {
  UdpClient c;
  c.send_to(kConfigPort, std::vector<uint8_t>{0xFF, 0x05, 0x06});  // short
  auto wrong = encode({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""});
  wrong[0] = 0;
  c.send_to(kConfigPort, wrong);  // wrong magic
  EXPECT_FALSE(c.receive(300));
  c.send_to(kConfigPort, std::vector<uint8_t>(60000, 0xFF));  // oversized
  EXPECT_FALSE(c.receive(300));
  // A data length beyond the datagram is cut to what came.
  auto lying = encode({kCategoryFile, kOperationWrite, kFormatRaw, "lying.bin", "abc"});
  lying[74] = 0xFF, lying[75] = 0x7F;
  c.send_to(kConfigPort, lying);
  ASSERT_TRUE(c.receive(2000));
  EXPECT_EQ(slurp("/appconfigs/lying.bin"), std::string("abc\0", 4));
  // A path without a terminator in its 64 bytes.
  std::string long_path(80, 'p');
  auto r = ask({kCategoryFile, kOperationRead, kFormatJson, long_path, ""});
  ASSERT_TRUE(r);
  EXPECT_EQ(r->head.data_length, 0);
  auto ok = ask({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""});
  ASSERT_TRUE(ok);
  EXPECT_GT(ok->head.data_length, 0);
}

// The control port (UDP 27026) -------------------------------------------

// Speaks again when the test ends, whatever happened in it.
struct Silenced {
  Silenced() { EXPECT_TRUE(ConfigPeer().silent(true)); }
  ~Silenced() { ConfigPeer().silent(false); }
};

TEST(ConfigServiceControl, AnswersPingAndRefusesUnknownCommands) {
  ConfigPeer peer;
  EXPECT_EQ(peer.control("ping"), "pong");
  EXPECT_EQ(peer.control("outcome ring"), "error: unknown command");
  EXPECT_EQ(peer.control(""), "error: unknown command");
}

TEST(ConfigServiceControl, RecordsEachRequestInTheOrderItCame) {
  ConfigPeer peer;
  ASSERT_TRUE(peer.clear());
  ask({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""});
  ask({kCategoryAccount, kOperationRead, kFormatRaw, "", ""});
  ask({kCategoryFile, kOperationWrite, kFormatRaw, "default/blob.bin", std::string("abc\0de", 6)});
  ask({kCategoryNetwork, kOperationReload, kFormatRaw, "", ""});
  auto lines = peer.log();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0], "4102 1 1 hal.cfg 0");
  EXPECT_EQ(lines[1], "4097 1 0 - 0");
  EXPECT_EQ(lines[2], "4102 2 0 default/blob.bin 6");
  EXPECT_EQ(lines[3], "4096 8197 0 - 0");
  auto requests = peer.requests();
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[2], (ConfigRequest{kCategoryFile, kOperationWrite, kFormatRaw, "default/blob.bin", 6}));
  EXPECT_EQ(requests[1].path, "");
}

TEST(ConfigServiceControl, RecordsTheNumbersOfTheFrameBodyAsEscapedBytes) {
  ConfigPeer peer;
  ASSERT_TRUE(peer.clear());
  // A gl_data write of key 0x0105: the path field holds key and value.
  Request write{kCategoryFile, 0x3005, 2, std::string("\x05\x01\0\0\x07\0\0\0", 8), ""};
  auto r = ask(write);
  ASSERT_TRUE(r);
  auto lines = peer.log();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "4102 12293 2 \\x05\\x01 0");
}

TEST(ConfigServiceControl, CutsTheRecordedDataLengthToWhatCame) {
  ConfigPeer peer;
  ASSERT_TRUE(peer.clear());
  auto lying = encode({kCategoryFile, kOperationWrite, kFormatRaw, "lying2.bin", "abc"});
  lying[74] = 0xFF, lying[75] = 0x7F;
  UdpClient c;
  ASSERT_TRUE(c.exchange(kConfigPort, lying));
  EXPECT_EQ(peer.log(), std::vector<std::string>{"4102 2 0 lying2.bin 4"});
}

TEST(ConfigServiceControl, BadDatagramsAreNotRecorded) {
  ConfigPeer peer;
  ASSERT_TRUE(peer.clear());
  UdpClient c;
  c.send_to(kConfigPort, std::vector<uint8_t>{0xFF, 0x05, 0x06});
  EXPECT_FALSE(c.receive(300));
  EXPECT_TRUE(peer.log().empty());
}

TEST(ConfigServiceControl, ClearForgetsTheRecord) {
  ConfigPeer peer;
  ask({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""});
  EXPECT_FALSE(peer.log().empty());
  EXPECT_TRUE(peer.clear());
  EXPECT_TRUE(peer.log().empty());
}

TEST(ConfigServiceControl, ASilentServiceRecordsAndAnswersNothing) {
  ConfigPeer peer;
  ASSERT_TRUE(peer.clear());
  const std::string before = slurp("/appconfigs/status.cfg");
  {
    Silenced quiet;
    UdpClient c;
    EXPECT_FALSE(c.exchange(kConfigPort, encode({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""}), 300));
    // Nor does it act on what it hears.
    std::string text = "{\"silent\":1}";
    EXPECT_FALSE(
        c.exchange(kConfigPort, encode({kCategoryFile, kOperationWrite, kFormatJson, "status.cfg", text + '\0'}), 300));
    EXPECT_EQ(slurp("/appconfigs/status.cfg"), before);
    EXPECT_EQ(peer.log().size(), 2u);
  }
  auto r = ask({kCategoryFile, kOperationRead, kFormatJson, "hal.cfg", ""});
  ASSERT_TRUE(r);
  EXPECT_GT(r->head.data_length, 0);
  EXPECT_EQ(peer.log().size(), 3u);
}

}  // namespace
