// The JSON toolkit: paths, typed readers, arrays, writers, the builder and
// the bounded copy.
#include "base/json.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace json = phonecore::json;

namespace {

json::Owned parse(const char* text) { return json::Owned(json_tokener_parse(text)); }

TEST(JsonToolkit, PathReadersCountTheirOwnKeys) {
  auto root = parse(R"({"data":{"desc":"hello","n":7,"t":"42x","deep":{"k":"v"}},"list":[1,2]})");
  EXPECT_STREQ(json::text(root.get(), "data", "desc"), "hello");
  EXPECT_STREQ(json::text(root.get(), "data", "n"), "7");  // numbers read as text
  EXPECT_EQ(json::integer(root.get(), "data", "n"), 7);
  EXPECT_EQ(json::text_integer(root.get(), "data", "t"), 42);
  EXPECT_STREQ(json::text(root.get(), "data", "deep", "k"), "v");
  EXPECT_EQ(json::at(root.get()), root.get());
}

TEST(JsonToolkit, AMissingStepGivesNullAndZero) {
  auto root = parse(R"({"data":{"desc":"hello","null":null},"s":"text"})");
  EXPECT_EQ(json::text(root.get(), "data", "absent"), nullptr);
  EXPECT_EQ(json::integer(root.get(), "nothing", "here"), 0);
  EXPECT_EQ(json::at(root.get(), "s", "inside"), nullptr);  // a text has no members
  EXPECT_EQ(json::at(nullptr, "data"), nullptr);
  EXPECT_EQ(json::step(root.get(), nullptr), nullptr);
  EXPECT_EQ(json::text(root.get(), "data", "null"), nullptr);
  EXPECT_TRUE(json::has(json::at(root.get(), "data"), "null"));
  EXPECT_FALSE(json::has(json::at(root.get(), "data"), "absent"));
}

TEST(JsonToolkit, ArraysThatAreAbsentOrNotArraysAreEmpty) {
  auto root = parse(R"({"rows":{"data":[{"a":1},{"a":2}]},"flat":{"data":"x"}})");
  json_object* rows = json::array(root.get(), "rows", "data");
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(json::length(rows), 2u);
  EXPECT_EQ(json::integer(json::element(rows, 1), "a"), 2);
  EXPECT_EQ(json::element(rows, 2), nullptr);
  EXPECT_EQ(json::array(root.get(), "flat", "data"), nullptr);
  EXPECT_EQ(json::length(json::at(root.get(), "flat")), 0u);
  EXPECT_EQ(json::element(nullptr, 0), nullptr);
}

TEST(JsonToolkit, SetNeedsThePathAndSetCreatingMakesIt) {
  auto root = parse(R"({"a":{}})");
  EXPECT_EQ(json::set(root.get(), "k", json::new_text("v"), "a"), 0);
  EXPECT_STREQ(json::text(root.get(), "a", "k"), "v");
  EXPECT_EQ(json::set(root.get(), "k", json_object_new_int(1), "b", "c"), -1);
  EXPECT_EQ(json::at(root.get(), "b"), nullptr);
  EXPECT_EQ(json::set_creating(root.get(), "k", json_object_new_int(3), "b", "c"), 0);
  EXPECT_EQ(json::integer(root.get(), "b", "c", "k"), 3);
  EXPECT_EQ(json::put(json::at(root.get(), "a", "k"), "x", json::new_text(nullptr)), -1);  // a text takes no member
}

TEST(JsonToolkit, BuilderMakesTextAndIntegerMembers) {
  json::Owned o(json::Builder().text("name", "phone_dail").integer("id", 4).text("none", nullptr).release());
  EXPECT_STREQ(json_object_to_json_string_ext(o.get(), JSON_C_TO_STRING_PLAIN),
               R"({"name":"phone_dail","id":4,"none":""})");
  EXPECT_TRUE(json_object_is_type(json::at(o.get(), "id"), json_type_int));
}

TEST(JsonToolkit, CopyTextCutsAtTheFieldAndAtMaxChars) {
  char field[8];
  std::memset(field, '#', sizeof field);
  json::copy_text(field, "0123456789");
  EXPECT_STREQ(field, "0123456");
  json::copy_text(field, sizeof field, "abcdef", 3);
  EXPECT_STREQ(field, "abc");
  json::copy_text(field, nullptr);
  EXPECT_STREQ(field, "abc");  // a null text leaves the field
}

TEST(JsonToolkit, TextToIntHoldsWithinInt) {
  EXPECT_EQ(json::text_to_int(" 12ab"), 12);
  EXPECT_EQ(json::text_to_int("99999999999"), 0x7fffffff);
  EXPECT_EQ(json::text_to_int(nullptr), 0);
}

}  // namespace
