// A network key while the network service is silent: the mode datagram
// waits out its time, and the key is applied all the same.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <string>

#include "phonecore/phonecfg.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/net_peer.h"

namespace {

using phonecore::testing::FactoryFiles;
using phonecore::testing::NetPeer;
using phonecore::testing::slurp;

TEST(PhonecfgSilentNetwork, TheKeyIsAppliedAndTheFlagsRise) {
  FactoryFiles files{"network.cfg", "tr069.cfg", "default/internet.cfg", "status.cfg"};
  ASSERT_TRUE(files.restore());
  NetPeer net;
  ASSERT_TRUE(net.silent(true));
  start_network_flag = 0;
  reload_something_flag = 0;
  EXPECT_EQ(my_dm_handle_value1("Network.Wan.dns1=10.0.0.1"), 0);
  net.reset();
  json_object* root = json_tokener_parse(slurp("/appconfigs/network.cfg").c_str());
  json_object* dns1 = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(json_object_object_get(root, "wan"), "dns1", &dns1));
  EXPECT_STREQ(json_object_get_string(dns1), "10.0.0.1");
  json_object_put(root);
  EXPECT_EQ(start_network_flag, 1);
  EXPECT_EQ(reload_something_flag, 1);
}

}  // namespace
