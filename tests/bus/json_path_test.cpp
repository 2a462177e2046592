#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstring>
#include <string>
#include <vector>

#include "phonecore/json_msg.h"

namespace {

json_object* parse(const char* text) { return json_tokener_parse(text); }

class JsonPath : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = parse(R"({"msgtype":"connect","data":{"accNumber":2,"callID":"1002","nested":{"n":"17"}}})");
  }
  void TearDown() override { json_object_put(root_); }
  json_object* root_ = nullptr;
};

TEST_F(JsonPath, ReadsTextsAndIntegersByPath) {
  EXPECT_STREQ(get_string_from_json(root_, 2, "data", "callID"), "1002");
  EXPECT_STREQ(get_string_from_json_rl(root_, 1, "msgtype"), "connect");
  EXPECT_EQ(get_int_from_json_rl(root_, 2, "data", "accNumber"), 2);
  EXPECT_EQ(get_int_from_char_json(root_, 3, "data", "nested", "n"), 17);
  EXPECT_NE(get_jobj_from_json(root_, 2, "data", "nested"), nullptr);
  const char* keys[] = {"data", "nested", "n"};
  EXPECT_STREQ(json_object_get_string(get_json_obj(root_, 3, keys)), "17");
}

TEST_F(JsonPath, MissingKeysGiveNullOrZero) {
  EXPECT_EQ(get_string_from_json(root_, 2, "data", "absent"), nullptr);
  EXPECT_EQ(get_int_from_json_rl(root_, 2, "data", "absent"), 0);
  EXPECT_EQ(get_int_from_char_json(root_, 2, "nothing", "n"), 0);
  EXPECT_EQ(get_jobj_from_json(root_, 3, "data", "callID", "deeper"), nullptr);
  EXPECT_EQ(get_string_from_json(nullptr, 1, "data"), nullptr);
}

TEST_F(JsonPath, ReplyWithStatusAndNoDataParsesAndAnswersNullForDataPaths) {
  json_object* reply = parse(R"({"msgtype":"phone_dail_response","status":"0"})");
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(get_string_from_json(reply, 2, "data", "callId"), nullptr);
  EXPECT_STREQ(get_string_from_json(reply, 1, "status"), "0");
  json_object_put(reply);
}

TEST_F(JsonPath, SetOnAMissingPathPartAnswersMinusOneAndLeavesTheObject) {
  const std::string before = json_object_get_string(root_);
  EXPECT_EQ(set_string_to_json(root_, "k", "v", 2, "data", "missing"), -1);
  EXPECT_EQ(set_int_to_json(root_, "k", 1, 1, "missing"), -1);
  EXPECT_EQ(json_object_get_string(root_), before);
}

TEST_F(JsonPath, SetTwoCreatesTheMissingParts) {
  EXPECT_EQ(set_string_to_json2(root_, "k", "v", 2, "data", "missing"), 0);
  EXPECT_STREQ(get_string_from_json(root_, 3, "data", "missing", "k"), "v");
  EXPECT_EQ(set_int_to_json2(root_, "i", 5, 2, "a", "b"), 0);
  EXPECT_EQ(get_int_from_json_rl(root_, 3, "a", "b", "i"), 5);
}

TEST_F(JsonPath, SetReplacesAnExistingMember) {
  EXPECT_EQ(set_string_to_json(root_, "callID", "2000", 1, "data"), 0);
  EXPECT_STREQ(get_string_from_json(root_, 2, "data", "callID"), "2000");
  EXPECT_EQ(set_int_to_json(root_, "accNumber", 4, 1, "data"), 0);
  EXPECT_EQ(get_int_from_json_rl(root_, 2, "data", "accNumber"), 4);
  EXPECT_EQ(set_obj_to_json(root_, "list", json_object_new_array(), 1, "data"), 0);
  EXPECT_TRUE(json_object_is_type(get_jobj_from_json(root_, 2, "data", "list"), json_type_array));
  EXPECT_EQ(set_obj_to_json(root_, "list", json_object_new_array(), 1, "gone"), -1);
}

TEST(JsonBuild, MakeSimpleDataTakesPairsOfTexts) {
  json_object* o = make_simple_data(4, "dialAccId", "1", "phoneNumber", "1002");
  ASSERT_NE(o, nullptr);
  EXPECT_STREQ(json_object_get_string(o), R"({ "dialAccId": "1", "phoneNumber": "1002" })");
  json_object_put(o);
  EXPECT_EQ(make_simple_data(3, "a", "b", "c"), nullptr);
}

TEST(JsonBuild, MakeSimpleData2TakesTriplesOfFlagKeyAndValue) {
  json_object* o = make_simple_data2(6, 1, "dialAccId", 1, 0, "phoneNumber", "1002");
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(get_int_from_json_rl(o, 1, "dialAccId"), 1);
  EXPECT_TRUE(json_object_is_type(get_jobj_from_json(o, 1, "dialAccId"), json_type_int));
  EXPECT_STREQ(get_string_from_json(o, 1, "phoneNumber"), "1002");
  json_object_put(o);
  // A count of 4 answers null without reading any argument.
  EXPECT_EQ(make_simple_data2(4), nullptr);
}

TEST(JsonBuild, SendMsgPutsMsgtypeFirstAndDataSecond) {
  char text[JSON_MSG_TEXT_MAX];
  int length = 0;
  EXPECT_EQ(make_simple_send_msg("phone_dail", make_simple_data(2, "phoneNumber", "1002"), text, &length), 0);
  EXPECT_STREQ(text, R"({ "msgtype": "phone_dail", "data": { "phoneNumber": "1002" } })");
  EXPECT_EQ(length, static_cast<int>(std::strlen(text)));
  EXPECT_EQ(make_simple_request("phone_state_get", nullptr, text), 0);
  EXPECT_STREQ(text, R"({ "msgtype": "phone_state_get" })");
  EXPECT_EQ(make_simple_response(0, "phone_dail_response", "0", nullptr, text), 0);
  EXPECT_STREQ(text, R"({ "msgtype": "phone_dail_response", "status": "0" })");
}

TEST(JsonArrays, IntListRoundTrips) {
  const int values[] = {5, 7, 11};
  json_object* array = get_obj_list_from_array(values, 3);
  int out[3] = {};
  int count = 0;
  EXPECT_EQ(get_int_list_from_array(array, out, &count), 0);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(out[2], 11);
  json_object* obj = json_object_new_object();
  EXPECT_EQ(get_int_list_from_array(obj, out, &count), -1);
  json_object_put(obj);
  json_object_put(array);
}

TEST(JsonArrays, IntListKeepsToItsRoom) {
  json_object* array = json_object_new_array();
  for (int i = 0; i < JSON_INT_LIST_MAX + 10; ++i) json_object_array_add(array, json_object_new_int(i));
  std::vector<int> out(JSON_INT_LIST_MAX + 1, -7);
  int count = 12345;
  EXPECT_EQ(get_int_list_from_array(array, out.data(), &count), 0);
  EXPECT_EQ(count, JSON_INT_LIST_MAX);
  EXPECT_EQ(out[JSON_INT_LIST_MAX - 1], JSON_INT_LIST_MAX - 1);
  EXPECT_EQ(out[JSON_INT_LIST_MAX], -7);
  json_object_put(array);
}

TEST(JsonBuild, MessageTextKeepsToItsRoom) {
  const std::string number(2 * JSON_MSG_TEXT_MAX, '5');
  std::vector<char> text(JSON_MSG_TEXT_MAX + 1, '#');
  int length = 0;
  EXPECT_EQ(
      make_simple_send_msg("phone_dail", make_simple_data(2, "phoneNumber", number.c_str()), text.data(), &length), 0);
  EXPECT_EQ(length, JSON_MSG_TEXT_MAX - 1);
  EXPECT_EQ(text[JSON_MSG_TEXT_MAX - 1], '\0');
  EXPECT_EQ(text[JSON_MSG_TEXT_MAX], '#');
}

int collect(json_object*, int index, void* user) {
  static_cast<std::vector<int>*>(user)->push_back(index);
  return 0;
}

TEST(JsonArrays, ArrayParseMatchesByTextByNumberOrCallsForAll) {
  json_object* a = json_tokener_parse(R"([{"name":"a","n":1},{"n":2},{"name":"a","n":2}])");
  std::vector<int> hits;
  EXPECT_EQ(api_json_arry_parse(a, 0, "name", "a", 0, collect, &hits), 0);
  EXPECT_EQ(hits, (std::vector<int>{0, 2}));
  hits.clear();
  EXPECT_EQ(api_json_arry_parse(a, 1, "n", nullptr, 2, collect, &hits), 0);
  EXPECT_EQ(hits, (std::vector<int>{1, 2}));
  hits.clear();
  EXPECT_EQ(api_json_arry_parse(a, 0, "name", "b", 0, collect, &hits), -1);
  // Mode 2 calls for every member and still answers -1.
  EXPECT_EQ(api_json_arry_parse(a, 2, nullptr, nullptr, 0, collect, &hits), -1);
  EXPECT_EQ(hits.size(), 3u);
  json_object* o = json_object_new_object();
  EXPECT_EQ(api_json_arry_parse(o, 0, "name", "a", 0, collect, &hits), 0);
  json_object_put(o);
  json_object_put(a);
}

}  // namespace

#include "bus/json_msg_internal.h"

namespace {

TEST(SlowCallRule, ExactlyFiftyMillisecondsPrintsNothingAndFiftyOnePrints) {
  testing::internal::CaptureStdout();
  EXPECT_FALSE(phonecore::bus::report_slow_call("phone_dail", 50));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  testing::internal::CaptureStdout();
  EXPECT_TRUE(phonecore::bus::report_slow_call("phone_dail", 51));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "msgtype:phone_dail time too long 51\n\r");
  testing::internal::CaptureStdout();
  EXPECT_TRUE(phonecore::bus::report_slow_call(6, 120));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "msgtype:6 time too long 120\n\r");
}

TEST(SlowCallRule, MillisecondClockWrapsWithoutAFalseReport) {
  // The clock is a wrapping 32-bit count: a call across the wrap measures
  // its true length.
  const uint32_t start = 0xFFFFFFF0u;
  const uint32_t end = 0x00000010u;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(phonecore::bus::report_slow_call("x", end - start));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
