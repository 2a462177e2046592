// Hot keys against the peers: the list from "default/programing_key.cfg",
// its lookups, the editors of single bindings, and the reload monitor on
// the bus.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "phonecore/config.h"
#include "phonecore/hotkey.h"
#include "support/bus_session.h"
#include "support/files.h"
#include "support/json_files.h"

namespace {

using phonecore::testing::slurp;
using phonecore::testing::write_json_text;

constexpr const char* kFile = "default/programing_key.cfg";
constexpr const char* kPath = "/appconfigs/default/programing_key.cfg";

std::string binding(int real_key, const char* key, const char* type, const char* value, const char* extension) {
  return std::string(R"({"RealKey":)") + std::to_string(real_key) + R"(,"Key":")" + key + R"(","Type":")" + type +
         R"(","Line":"1","Value":")" + value + R"(","Label":"L)" + key + R"(","Extension":")" + extension + R"("})";
}

void write_bindings(const std::string& hot, const std::string& line) {
  const std::string text = R"({"Hotkey_hotKey":{"data":[)" + hot + R"(]},"Hotkey_lineKey":{"data":[)" + line + "]}}";
  write_json_text(kFile, text);
}

json_object* hot_element(json_object* root, size_t i, const char* array = "Hotkey_hotKey") {
  json_object* section = nullptr;
  json_object* data = nullptr;
  if (!json_object_object_get_ex(root, array, &section) || !json_object_object_get_ex(section, "data", &data)) {
    return nullptr;
  }
  return json_object_array_get_idx(data, i);
}

std::string member(json_object* element, const char* name) {
  json_object* m = nullptr;
  return json_object_object_get_ex(element, name, &m) ? json_object_get_string(m) : "absent";
}

class HotKeys : public ::testing::Test {
 protected:
  void SetUp() override {
    write_bindings(binding(11, "F1", "201", "", "") + "," + binding(20, "F2", "213", "8001", "x") + "," +
                       binding(256 + 30, "F3", "5", "", ""),
                   binding(20, "L1", "15", "9", "") + "," + binding(40, "L2", "301", "", ""));
    LocalReload();
  }
};

TEST_F(HotKeys, ReloadListsTheHotKeysThenTheLineKeysInFileOrder) {
  ASSERT_EQ(hotkey_data_lens, 5);
  EXPECT_EQ(_g_pHoykey_list[0].RealKey, 11);
  EXPECT_STREQ(_g_pHoykey_list[1].Key, "F2");
  EXPECT_EQ(_g_pHoykey_list[1].Type, 213);
  EXPECT_EQ(_g_pHoykey_list[1].Line, 1);
  EXPECT_STREQ(_g_pHoykey_list[1].Value, "8001");
  EXPECT_STREQ(_g_pHoykey_list[1].Label, "LF2");
  EXPECT_STREQ(_g_pHoykey_list[1].Extension, "x");
  EXPECT_STREQ(_g_pHoykey_list[3].Key, "L1");
  EXPECT_STREQ(_g_pHoykey_list[4].Key, "L2");
}

TEST_F(HotKeys, ProcessAnswersTheTypeOfTheFirstRecordOfTheKey) {
  EXPECT_EQ(HoykeyProcess(11), 201);
  EXPECT_EQ(HoykeyProcess(20), 213);  // in both arrays: the hot key serves
  EXPECT_EQ(HoykeyProcess(40), 301);
  EXPECT_EQ(HoykeyProcess(99), 0);
}

TEST_F(HotKeys, ARealKeyIsCutToEightBits) {
  EXPECT_EQ(_g_pHoykey_list[2].RealKey, 30);
  EXPECT_EQ(HoykeyProcess(30), 5);
  EXPECT_EQ(HoykeyProcess(256 + 30), 0);
}

TEST_F(HotKeys, DisplayContextIsTheKeyText) {
  char out[HOTKEY_TEXT_SIZE] = "untouched";
  EXPECT_EQ(GetKeyDisplayContext(40, out), 0);
  EXPECT_STREQ(out, "L2");
  char other[HOTKEY_TEXT_SIZE] = "untouched";
  EXPECT_EQ(GetKeyDisplayContext(99, other), -1);
  EXPECT_STREQ(other, "untouched");
}

TEST_F(HotKeys, HandlersAnswerZeroAndUnknownTypesMinusOne) {
  hotkey_record record{};
  for (int type : {5, 201, 301, 401, 117, 213}) {
    record.Type = type;
    EXPECT_EQ(HotKeyFindAndProcess(&record, 0, 0), 0) << type;
  }
  record.Type = 15;
  EXPECT_EQ(HotKeyFindAndProcess(&record, 0, 0), -1);
  EXPECT_EQ(HotKeyFindAndProcess(nullptr, 0, 0), -1);
  EXPECT_EQ(HoykeyProcess(20 + 0), 213);
}

TEST_F(HotKeys, SetHotKeyValEmptiesTheListUntilTheNextReload) {
  EXPECT_EQ(SetHotKeyVal(11, 213, 2, "5551234", "Boss", "ext"), 0);
  EXPECT_EQ(hotkey_data_lens, 0);
  EXPECT_EQ(HoykeyProcess(11), 0);
  char out[HOTKEY_TEXT_SIZE];
  EXPECT_EQ(GetKeyDisplayContext(11, out), -1);

  json_object* root = read_gnl_config_json(kFile);
  ASSERT_NE(root, nullptr);
  json_object* e = hot_element(root, 0);
  EXPECT_EQ(member(e, "Type"), "213");
  EXPECT_EQ(member(e, "Line"), "2");
  EXPECT_EQ(member(e, "Value"), "5551234");
  EXPECT_EQ(member(e, "Label"), "Boss");
  EXPECT_EQ(member(e, "Extension"), "ext");
  EXPECT_EQ(member(e, "Key"), "F1");
  json_object_put(root);

  LocalReload();
  EXPECT_EQ(HoykeyProcess(11), 213);
}

TEST_F(HotKeys, SetHotKeyValChangesTheFirstBindingOnlyAndLooksAtLineKeysLast) {
  SetHotKeyVal(20, 401, 0, "v", "l", "e");
  SetHotKeyVal(40, 117, 3, "v2", "l2", "e2");
  json_object* root = read_gnl_config_json(kFile);
  EXPECT_EQ(member(hot_element(root, 1), "Type"), "401");
  EXPECT_EQ(member(hot_element(root, 0, "Hotkey_lineKey"), "Type"), "15");
  EXPECT_EQ(member(hot_element(root, 1, "Hotkey_lineKey"), "Type"), "117");
  json_object_put(root);
}

TEST_F(HotKeys, SetHotKeyValForAnUnknownKeyStillRewritesTheFileUnchanged) {
  // A file written by hand, in a layout the service doesn't write.
  const std::string by_hand = R"({ "Hotkey_hotKey" : { "data" : [ )" + binding(11, "F1", "201", "", "") +
                              R"( ] } , "Hotkey_lineKey" : { "data" : [ ] } })";
  {
    FILE* f = std::fopen(kPath, "w");
    ASSERT_NE(f, nullptr);
    std::fputs(by_hand.c_str(), f);
    std::fclose(f);
  }
  EXPECT_EQ(SetHotKeyVal(77, 213, 1, "1", "2", "3"), 0);
  const std::string after = slurp(kPath);
  EXPECT_NE(after, by_hand);  // written again
  json_object* before_json = json_tokener_parse(by_hand.c_str());
  json_object* after_json = json_tokener_parse(after.c_str());
  EXPECT_TRUE(json_object_equal(before_json, after_json));
  json_object_put(before_json);
  json_object_put(after_json);
}

TEST_F(HotKeys, NodeSetRewritesEqualKeysAndAppendsNewOnes) {
  hotkey_node node{};
  std::strcpy(node.Key, "F2");
  std::strcpy(node.Type, "213");
  std::strcpy(node.Line, "3");
  std::strcpy(node.Label, "Desk");
  std::strcpy(node.Value, "4711");
  std::strcpy(node.Extension, "4711");
  EXPECT_EQ(hotkey_node_set(&node), 0);
  std::strcpy(node.Key, "F9");
  EXPECT_EQ(hotkey_node_set(&node), 0);

  json_object* root = read_gnl_config_json(kFile);
  json_object* f2 = hot_element(root, 1);
  EXPECT_EQ(member(f2, "Line"), "3");
  EXPECT_EQ(member(f2, "Value"), "4711");
  EXPECT_EQ(member(f2, "RealKey"), "20");  // untouched
  json_object* added = hot_element(root, 3);
  ASSERT_NE(added, nullptr);
  EXPECT_STREQ(json_object_to_json_string_ext(added, JSON_C_TO_STRING_PLAIN),
               R"({"Key":"F9","Type":"213","Line":"3","Value":"4711","Label":"Desk","Extension":"4711"})");
  json_object_put(root);
}

TEST_F(HotKeys, NodeSetStartsTheArrayWhenThereIsNone) {
  json_object* o = json_tokener_parse(R"({"Hotkey_lineKey":{"data":[]}})");
  ASSERT_EQ(write_gnl_config_json(kFile, o), 0);
  json_object_put(o);
  hotkey_node node{};
  std::strcpy(node.Key, "F1");
  std::strcpy(node.Type, "5");
  EXPECT_EQ(hotkey_node_set(&node), 0);
  json_object* root = read_gnl_config_json(kFile);
  EXPECT_EQ(member(hot_element(root, 0), "Type"), "5");
  EXPECT_EQ(member(hot_element(root, 0), "Extension"), "");
  json_object_put(root);
}

TEST_F(HotKeys, NodeGetLeavesTheExtensionAloneInEachSlot) {
  hotkey_node slots[HOTKEY_NODE_MAX];
  std::memset(slots, 0, sizeof slots);
  std::strcpy(slots[0].Type, "kept");
  void* result = &slots[0];
  EXPECT_EQ(hotkey_node_get(slots, &result), 0);
  EXPECT_EQ(result, &slots[0]);
  EXPECT_STREQ(slots[0].Key, "");  // F1 has an empty "Extension"
  EXPECT_STREQ(slots[1].Key, "x");
  EXPECT_STREQ(slots[0].Type, "kept");
  EXPECT_STREQ(slots[1].Value, "");
}

TEST_F(HotKeys, NodeGetSetsTheResultToNullWithoutTheArray) {
  json_object* o = json_tokener_parse(R"({"Hotkey_lineKey":{"data":[]}})");
  ASSERT_EQ(write_gnl_config_json(kFile, o), 0);
  json_object_put(o);
  hotkey_node slot[HOTKEY_NODE_MAX] = {};
  void* result = &slot;
  EXPECT_EQ(hotkey_node_get(slot, &result), 0);
  EXPECT_EQ(result, nullptr);
}

TEST_F(HotKeys, WithoutTheFileTheEditorsAnswerAsTheyShould) {
  ASSERT_EQ(std::remove(kPath), 0);
  hotkey_node node[HOTKEY_NODE_MAX] = {};
  void* result = &node;
  EXPECT_EQ(hotkey_node_set(node), -1);
  EXPECT_EQ(hotkey_node_get(node, &result), -1);
  EXPECT_EQ(SetHotKeyVal(11, 1, 1, "", "", ""), 0);
  EXPECT_EQ(LocalReload(), 0);
  EXPECT_EQ(hotkey_data_lens, 5);  // the list stays as it was
  EXPECT_EQ(HoykeyProcess(11), 201);
}

TEST_F(HotKeys, ParseNodeAppendsNoFurtherThanTheListHasRoom) {
  json_object* extra = json_tokener_parse(("[" + binding(50, "X", "117", "", "") + "]").c_str());
  EXPECT_EQ(parse_node(extra, 1), 0);
  EXPECT_EQ(hotkey_data_lens, 5);  // the list is full
  hotkey_data_lens = 4;
  EXPECT_EQ(parse_node(extra, 5), 0);  // five asked, one element there
  EXPECT_EQ(hotkey_data_lens, 5);
  EXPECT_EQ(HoykeyProcess(50), 117);
  json_object_put(extra);
}

TEST_F(HotKeys, TextsLongerThanTheirFieldsAreCut) {
  const std::string long_text(200, 'k');
  write_bindings(binding(60, long_text.c_str(), "5", long_text.c_str(), long_text.c_str()), "");
  LocalReload();
  ASSERT_EQ(hotkey_data_lens, 1);
  EXPECT_EQ(std::string(_g_pHoykey_list[0].Key), std::string(63, 'k'));
  EXPECT_EQ(std::string(_g_pHoykey_list[0].Extension), std::string(63, 'k'));
  hotkey_node slot{};
  void* result = nullptr;
  hotkey_node_get(&slot, &result);
  EXPECT_EQ(std::string(slot.Key), std::string(63, 'k'));
  EXPECT_EQ(slot.Type[0], '\0');
}

TEST_F(HotKeys, TheMonitorRebuildsTheListWhenAProcessAnnouncesAChange) {
  MessageClient* c = phonecore::testing::open_listening_session(5301, nullptr, "hotkey");
  ASSERT_NE(c, nullptr);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(LocalHoyKeyAddMonitor(c, 4), 0);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("LocalHoyKeyAddMonitor, "), std::string::npos);
  ASSERT_NE(__gl_pHoykey_hook, nullptr);

  SetHotKeyVal(11, 117, 1, "", "", "");  // empties this process's list
  EXPECT_EQ(HoykeyProcess(11), 0);
  EXPECT_EQ(LocalHoyKeyUpdateExt(), 0);
  int type = 0;
  for (int i = 0; i < 400 && (type = HoykeyProcess(11)) == 0; ++i) usleep(5000);
  EXPECT_EQ(type, 117);
  EXPECT_EQ(HoykeyProcess(40), 301);

  // Lookups go on while the monitor rebuilds the list again and again.
  for (int round = 0; round < 50; ++round) {
    LocalHoyKeyUpdateExt();
    for (int i = 0; i < 20; ++i) {
      const int t = HoykeyProcess(11);
      EXPECT_TRUE(t == 0 || t == 117) << t;
    }
    usleep(1000);
  }
  del_hook_monitor_thread(__gl_pHoykey_hook);
  del_hook(c, __gl_pHoykey_hook);
  request_pc_disconnect(c);
}

}  // namespace
