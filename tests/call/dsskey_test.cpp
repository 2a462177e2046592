// The four line keys against the box's SIP process: reads, both files
// after each write, and the BLF subscribe/unsubscribe sequence of each key
// change. Factory keys: 1 and 2 lines of account 1, 3 BLF on 1002, 4 speed
// dial *97.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "call/account_copy.h"
#include "phonecore/account.h"
#include "phonecore/config.h"
#include "phonecore/dsskey.h"
#include "phonecore/fileutil.h"
#include "phonecore/json_msg.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/json_files.h"
#include "support/sip_session.h"

using phonecore::testing::slurp;

namespace {

constexpr const char* kDss = "/appconfigs/default/dss.cfg";
constexpr const char* kKeys = "/appconfigs/default/programing_key.cfg";

std::string blf(int flag, int acc, const char* number) {
  return "9 0 { \"msgtype\": \"blf_subscribe\", \"data\": { \"startFlag\": " + std::to_string(flag) +
         ", \"acc_id\": " + std::to_string(acc) + ", \"number\": \"" + number + "\" } }";
}
std::string led(int line, int status) {
  return "9 0 { \"msgtype\": \"line_led_status\", \"data\": { \"lineId\": " + std::to_string(line) +
         ", \"ledStatus\": " + std::to_string(status) + " } }";
}

DssKeyInfo key_info(int type, uint32_t acc, const char* label, const char* value, const char* extension = "") {
  DssKeyInfo k{};
  k.type = type;
  k.accId = acc;
  snprintf(k.label, sizeof k.label, "%s", label);
  snprintf(k.value, sizeof k.value, "%s", value);
  snprintf(k.extension, sizeof k.extension, "%s", extension);
  return k;
}

// A member of a file by path, as text; "(missing)" when absent.
std::string at(const char* file, std::initializer_list<const char*> keys) {
  json_object* root = json_object_from_file(file);
  json_object* o = root;
  for (const char* k : keys) {
    if (o == nullptr) break;
    o = json_object_is_type(o, json_type_array) ? json_object_array_get_idx(o, std::atoi(k))
                                                : json_object_object_get(o, k);
  }
  std::string out = o != nullptr ? json_object_get_string(o) : "(missing)";
  json_object_put(root);
  return out;
}

class DssKeys : public phonecore::testing::SipSessionTest {
 protected:
  phonecore::testing::FactoryFiles factory_{"default/dss.cfg", "default/programing_key.cfg"};
  // What the SIP process heard, without anything but BLF and LED commands.
  std::vector<std::string> blf_traffic() {
    std::vector<std::string> out;
    for (const auto& l : sip_.log())
      if (l.find("blf_subscribe") != std::string::npos || l.find("line_led_status") != std::string::npos)
        out.push_back(l);
    return out;
  }
  int write(int key, DssKeyInfo info) {
    sip_.control("clear");
    const int r = voip_func_Dsskey_data(client_, 1, key, &info);
    heard_all();
    return r;
  }
  // Commands without a reply arrive on their own time: a mark sent after
  // them on the same path arrives after them.
  void heard_all() {
    send_sjson_to_sip(client_, "test_mark", nullptr);
    for (int i = 0; i < 2000; ++i) {
      auto lines = sip_.log();
      if (!lines.empty() && lines.back().find("test_mark") != std::string::npos) return;
      usleep(5000);
    }
    ADD_FAILURE() << "the SIP process never heard the mark";
  }
};

// First in this file: the table of last targets belongs to the process and
// starts empty.
TEST_F(DssKeys, ABlfKeyWithTheSameTargetIsRenewedOnceTheTableKnowsIt) {
  // The first write with the same target: the table has no row yet, so
  // only the new subscription goes out.
  write(3, key_info(DSS_TYPE_BLF, 1, "Reception", "1002", "1002"));
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(769, 1, "1002")}));
  // Now the table holds account 1's target: it ends and is renewed.
  write(3, key_info(DSS_TYPE_BLF, 1, "Reception", "1002", "1002"));
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(0, 1, "1002"), blf(769, 1, "1002")}));
}

TEST_F(DssKeys, ReadingWithTypeMinusOneTakesTheStoredType) {
  DssKeyInfo k{};
  k.type = -1;
  EXPECT_EQ(voip_func_Dsskey_data(client_, 0, 3, &k), 0);
  EXPECT_EQ(k.type, DSS_TYPE_BLF);
  EXPECT_EQ(k.accId, 1u);
  EXPECT_STREQ(k.label, "Reception");
  EXPECT_STREQ(k.value, "1002");
  EXPECT_STREQ(k.extension, "1002");
}

TEST_F(DssKeys, ReadingWithAGivenTypeReadsThatTypesMember) {
  DssKeyInfo k{};
  k.type = DSS_TYPE_SPEED_DIAL;
  EXPECT_EQ(voip_func_Dsskey_data(client_, 0, 3, &k), 0);
  // No "SAccSpeedDial" on this BLF key: the key number and nothing else.
  EXPECT_EQ(k.type, DSS_TYPE_SPEED_DIAL);
  EXPECT_EQ(k.accId, 3u);
  EXPECT_STREQ(k.label, "");
  EXPECT_STREQ(k.value, "");
}

TEST_F(DssKeys, ReadingALineKeyTakesValueAndExtensionFromTheAccountCopy) {
  DssKeyInfo k{};
  k.type = -1;
  voip_func_Dsskey_data(client_, 0, 1, &k);
  EXPECT_EQ(k.type, DSS_TYPE_LINE);
  EXPECT_EQ(k.accId, 1u);
  EXPECT_STREQ(k.label, "Office 1001");
  EXPECT_STREQ(k.value, "");  // no account copy yet

  phonecore::testing::add_account_copy(client_, 4);
  k.type = -1;
  voip_func_Dsskey_data(client_, 0, 1, &k);
  EXPECT_STREQ(k.value, "1001");
  EXPECT_STREQ(k.extension, "1001");
  LocalAcountInforBufferDel(client_);
  __atomic_store_n(&_gl_accountLen, 0, __ATOMIC_RELEASE);
}

TEST_F(DssKeys, ReadingAnUnknownKeyOrTypeGivesAnEmptyRecord) {
  DssKeyInfo k = key_info(-1, 7, "x", "y", "z");
  EXPECT_EQ(voip_func_Dsskey_data(client_, 0, 5, &k), 0);
  EXPECT_EQ(k.type, 0);
  EXPECT_EQ(k.accId, 0u);
  EXPECT_STREQ(k.label, "");
  k = key_info(9, 7, "x", "y");
  EXPECT_EQ(voip_func_Dsskey_data(client_, 0, 3, &k), 0);
  EXPECT_EQ(k.type, 9);
  EXPECT_EQ(k.accId, 0u);
  EXPECT_STREQ(k.value, "");
}

TEST_F(DssKeys, ChangingABlfKeyToSpeedDialUnsubscribesAndDarkensItsLed) {
  EXPECT_EQ(write(3, key_info(DSS_TYPE_SPEED_DIAL, 1, "Pizza", "5550100")), 0);
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(0, 1, "1002"), led(1, 35)}));
  EXPECT_EQ(at(kDss, {"DssArr", "2", "type"}), "3");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccSpeedDial", "accId"}), "1");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccSpeedDial", "label"}), "Pizza");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccSpeedDial", "value"}), "5550100");
  // The old member stays, so every later change unsubscribes again.
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccBlf", "value"}), "1002");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Type"}), "213");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Line"}), "0");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Value"}), "5550100");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Label"}), "Pizza");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Extension"}), "");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Key"}), "L3");

  write(3, key_info(DSS_TYPE_INTERCOM, 2, "Door", "300"));
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(0, 1, "1002"), led(1, 35)}));
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Line"}), "1");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Type"}), "117");
}

TEST_F(DssKeys, ASpeedDialKeyBecomesABlfKeyAndSubscribes) {
  EXPECT_EQ(write(4, key_info(DSS_TYPE_BLF, 2, "Boss", "1010", "1010")), 0);
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf((4 << 8) | 1, 2, "1010")}));
  EXPECT_EQ(at(kDss, {"DssArr", "3", "type"}), "1");
  EXPECT_EQ(at(kDss, {"DssArr", "3", "SAccBlf", "accId"}), "2");
  EXPECT_EQ(at(kDss, {"DssArr", "3", "SAccBlf", "extension"}), "1010");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "3", "Type"}), "106");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "3", "Line"}), "1");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "3", "Value"}), "1010");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "3", "Extension"}), "1010");
  EXPECT_NE(sip_.control("state").find(R"({"key":4,"acc_id":2,"number":"1010"})"), std::string::npos);
}

TEST_F(DssKeys, ABlfKeyOnANewTargetEndsTheOldSubscriptionFirst) {
  write(3, key_info(DSS_TYPE_BLF, 1, "Sales", "1020", "1020"));
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(0, 1, "1002"), blf(769, 1, "1020")}));
  // Another account: the old one ends too.
  write(3, key_info(DSS_TYPE_BLF, 3, "Sales", "1020", "1020"));
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(0, 1, "1020"), blf(769, 3, "1020")}));
}

TEST_F(DssKeys, ABlfKeyWithoutAccountStillComparesTheOldValue) {
  write(3, key_info(DSS_TYPE_BLF, DSS_NO_ACCOUNT, "Any", "1030"));
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(0, 1, "1002"), blf(769, -1, "1030")}));
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Line"}), "3");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccBlf", "accId"}), "-1");
}

TEST_F(DssKeys, ALineKeyWithoutAccountOnAKeyOfAccountTwoChangesNothing) {
  write(1, key_info(DSS_TYPE_LINE, 2, "Second", ""));
  EXPECT_EQ(at(kDss, {"DssArr", "0", "SAccLine", "accId"}), "2");
  const std::string dss = slurp(kDss), keys = slurp(kKeys);
  testing::internal::CaptureStdout();
  EXPECT_EQ(write(1, key_info(DSS_TYPE_LINE, DSS_NO_ACCOUNT, "Changed", "")), 0);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("tolk_dss write line info, do nothing"), std::string::npos);
  EXPECT_EQ(slurp(kDss), dss);
  EXPECT_EQ(slurp(kKeys), keys);
}

TEST_F(DssKeys, ALineKeyWithoutAccountOnANewEntryTakesTheKeyNumber) {
  json_object* dss = read_gnl_config_json("default/dss.cfg");
  json_object* e = json_object_array_get_idx(json_object_object_get(dss, "DssArr"), 1);
  json_object_object_del(e, "SAccLine");
  write_gnl_config_json("default/dss.cfg", dss);
  json_object_put(dss);
  EXPECT_EQ(write(2, key_info(DSS_TYPE_LINE, DSS_NO_ACCOUNT, "Two", "ignored")), 0);
  EXPECT_EQ(at(kDss, {"DssArr", "1", "SAccLine", "accId"}), "2");
  EXPECT_EQ(at(kDss, {"DssArr", "1", "SAccLine", "label"}), "Two");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "1", "Line"}), "1");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "1", "Type"}), "15");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "1", "Value"}), "");
  EXPECT_TRUE(blf_traffic().empty());
}

TEST_F(DssKeys, ATypeAboveSixOnABlfKeyChangesOnlyTheTypeAndEndsTheSubscription) {
  write(3, key_info(9, 1, "Gone", "1002"));
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf(0, 1, "1002")}));
  EXPECT_EQ(at(kDss, {"DssArr", "2", "type"}), "9");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccBlf", "label"}), "Reception");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Type"}), "106");
  EXPECT_EQ(at(kKeys, {"Hotkey_lineKey", "data", "2", "Label"}), "Gone");
}

TEST_F(DssKeys, AKeyOutsideTheFourLeavesTheKeyFileAlone) {
  const std::string keys = slurp(kKeys);
  EXPECT_EQ(write(5, key_info(DSS_TYPE_SPEED_DIAL, 1, "Five", "555")), 0);
  EXPECT_EQ(at(kDss, {"DssArr", "4", "Account"}), "4");
  EXPECT_EQ(at(kDss, {"DssArr", "4", "SAccSpeedDial", "value"}), "555");
  EXPECT_EQ(phonecore::testing::plain_json(slurp(kKeys)), phonecore::testing::plain_json(keys));
}

TEST_F(DssKeys, AWriteWithoutTheKeyFileAnswersMinusOne) {
  unlink(kKeys);
  const std::string dss = slurp(kDss);
  DssKeyInfo k = key_info(DSS_TYPE_SPEED_DIAL, 1, "x", "1");
  EXPECT_EQ(voip_func_Dsskey_data(client_, 1, 4, &k), -1);
  EXPECT_EQ(slurp(kDss), dss);
}

TEST_F(DssKeys, AKeyFileWithoutLineKeysAnswersZeroAndWritesNothing) {
  phonecore::testing::write_json_text("default/programing_key.cfg", R"({"Hotkey_hotKey":{}})");
  const std::string dss = slurp(kDss);
  DssKeyInfo k = key_info(DSS_TYPE_SPEED_DIAL, 1, "x", "1");
  EXPECT_EQ(voip_func_Dsskey_data(client_, 1, 4, &k), 0);
  EXPECT_EQ(slurp(kDss), dss);
  phonecore::testing::write_json_text("default/programing_key.cfg", R"({"Hotkey_lineKey":{}})");
  EXPECT_EQ(voip_func_Dsskey_data(client_, 1, 4, &k), 0);
  EXPECT_EQ(slurp(kDss), dss);
}

TEST_F(DssKeys, BlfKeysSubscribeWhenTheirAccountComesOnline) {
  sip_.control("clear");
  start_blf_after_reg(1, 0, client_);
  start_blf_after_reg(2, 1, client_);
  usleep(30000);
  EXPECT_TRUE(blf_traffic().empty());
  start_blf_after_reg(1, 1, client_);
  EXPECT_EQ(blf_traffic(), (std::vector<std::string>{blf((3 << 8) | 1, 1, "1002")}));
}

TEST_F(DssKeys, OnlineZeroOnlyPrints) {
  sip_.control("clear");
  testing::internal::CaptureStdout();
  start_blf_after_reg(1, 0, client_);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("bOnline = 0, return"), std::string::npos);
  usleep(20000);
  EXPECT_TRUE(sip_.log().empty());
}

TEST_F(DssKeys, SetDdsTypeRebuildsTheKeysFromTheKeyFile) {
  json_object* keys = read_gnl_config_json("default/programing_key.cfg");
  json_object* data = json_object_object_get(json_object_object_get(keys, "Hotkey_lineKey"), "data");
  auto set = [&](int i, const char* type, const char* line, const char* value, const char* label) {
    json_object* k = json_object_array_get_idx(data, i);
    json_object_object_add(k, "Type", json_object_new_string(type));
    json_object_object_add(k, "Line", json_object_new_string(line));
    json_object_object_add(k, "Value", json_object_new_string(value));
    json_object_object_add(k, "Label", json_object_new_string(label));
    json_object_object_add(k, "Extension", json_object_new_string("x9"));
  };
  set(0, "117", "1", "300", "Door");
  set(1, "5", "0", "", "DND");
  set(2, "106", "3", "1040", "Ops");
  set(3, "999", "0", "1", "Odd");
  write_gnl_config_json("default/programing_key.cfg", keys);
  json_object_put(keys);
  const std::string before4 = at(kDss, {"DssArr", "3"});

  EXPECT_EQ(set_dds_type(), 0);
  EXPECT_EQ(at(kDss, {"DssArr", "0", "type"}), "2");
  json_object* dss = json_object_from_file(kDss);
  json_object* intercom = json_object_object_get(
      json_object_object_get(json_object_array_get_idx(json_object_object_get(dss, "DssArr"), 0), "SAccIntercom"),
      "accId");
  EXPECT_TRUE(json_object_is_type(intercom, json_type_string));  // text, unlike every other type
  EXPECT_STREQ(json_object_get_string(intercom), "2");
  json_object_put(dss);
  EXPECT_EQ(at(kDss, {"DssArr", "0", "SAccIntercom", "value"}), "300");
  // "5": type 14, the members stay.
  EXPECT_EQ(at(kDss, {"DssArr", "1", "type"}), "14");
  EXPECT_EQ(at(kDss, {"DssArr", "1", "SAccLine", "label"}), "Office 1001");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "type"}), "1");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccBlf", "accId"}), "4");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccBlf", "value"}), "1040");
  EXPECT_EQ(at(kDss, {"DssArr", "2", "SAccBlf", "extension"}), "x9");
  EXPECT_EQ(at(kDss, {"DssArr", "3"}), before4);
}

TEST_F(DssKeys, SetDdsTypeWithoutAFileAnswersMinusOne) {
  unlink(kDss);
  EXPECT_EQ(set_dds_type(), -1);
  factory_.restore();
  unlink(kKeys);
  EXPECT_EQ(set_dds_type(), -1);
}

}  // namespace
