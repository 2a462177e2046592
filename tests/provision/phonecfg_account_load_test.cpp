// 5,000 phone.cfg items through the account handler in the box: every key
// of its groups over and over, with refused values, unknown keys and
// lines that are no pairs mixed in. Descriptors and resident memory stay
// flat, and every file still parses afterwards.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <string>
#include <vector>

#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "support/factory_files.h"
#include "support/process_stats.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#else
constexpr bool kAddressSanitizer = false;
#endif

using phonecore::testing::FactoryFiles;
using phonecore::testing::open_descriptors;
using phonecore::testing::resident_kib;
namespace pc = phonecore::phonecfg;

std::vector<std::string> items() {
  std::vector<std::string> out;
  for (const pc::KeyRow& row : pc::kKeyTable) {
    if (row.group == pc::Group::kNetwork) continue;
    const std::string key(row.key);
    out.push_back(key + "=1");
    out.push_back(key + " = 0");
  }
  out.push_back("Account5.AccountUserName=x");
  out.push_back("[Status]");
  out.push_back("LDAP.Port=99999999999999999999");
  out.push_back("Dialplan.Dial_now.Rule4=\xff\xfe");
  return out;
}

TEST(PhonecfgAccountLoad, FiveThousandItemsLeaveDescriptorsAndMemoryFlatAndFilesParsing) {
  FactoryFiles files{std::span(phonecore::testing::kItemFiles)};
  ASSERT_TRUE(files.restore());
  const std::vector<std::string> all = items();
  constexpr int kWarmUp = 200;
  constexpr int kItems = 5000;
  for (int i = 0; i < kWarmUp; ++i) my_dm_handle_value1(all[static_cast<size_t>(i) % all.size()].c_str());
  const int descriptors = open_descriptors();
  const long resident = resident_kib();
  ASSERT_GE(descriptors, 0);
  ASSERT_GT(resident, 0);
  for (int i = 0; i < kItems; ++i) my_dm_handle_value1(all[static_cast<size_t>(i) % all.size()].c_str());
  EXPECT_EQ(open_descriptors(), descriptors);
  // Flat: what a leak of one object per item would pass by far. Under
  // AddressSanitizer freed memory sits in its quarantine, so resident
  // memory says nothing there; its leak check at exit stands in.
  if (!kAddressSanitizer) {
    EXPECT_LT(resident_kib() - resident, 2048) << resident;
  }
  for (std::string_view name : phonecore::testing::kItemFiles) {
    json_object* o = json_object_from_file(("/appconfigs/" + std::string(name)).c_str());
    EXPECT_NE(o, nullptr) << name;
    json_object_put(o);
  }
  // The rule arrays grew to five and no further.
  json_object* settings = json_object_from_file("/appconfigs/default/settinglist.cfg");
  json_object* data = nullptr;
  ASSERT_EQ(json_pointer_get(settings, "/DialplanDialnow/data", &data), 0);
  EXPECT_EQ(json_object_array_length(data), 5u);
  json_object_put(settings);
}

}  // namespace
