// The command broadcast's encoder and decoder, without the bus: what one
// encodes the other reads back, and the decoder's result stays -1 for every
// command it looked at.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "bus/command_broadcast.h"

namespace {

using phonecore::bus::CommandHandlers;
using phonecore::bus::decode_command;
using phonecore::bus::encode_command;
using phonecore::bus::kCommandTextSize;

int g_reboots = 0;
int g_progress = -1;
int g_reset = 0;

void on_reboot() { ++g_reboots; }
void on_upgrade(int progress) { g_progress = progress; }
void on_reset(int value) { g_reset = value; }

class CommandBroadcast : public ::testing::Test {
 protected:
  void SetUp() override {
    g_reboots = 0;
    g_progress = -1;
    g_reset = 0;
  }
  const CommandHandlers handlers_{on_reboot, on_upgrade, on_reset};
};

TEST_F(CommandBroadcast, EncodesTheCommandObject) {
  char text[kCommandTextSize];
  encode_command("reload_account", text, sizeof text);
  EXPECT_STREQ(text, R"({"cmd":"reload_account"})");
  encode_command(nullptr, text, sizeof text);
  EXPECT_STREQ(text, R"({"cmd":""})");
}

TEST_F(CommandBroadcast, CutsAnOverlongNameAtTheRoom) {
  const std::string name(400, 'x');
  char text[kCommandTextSize + 8];
  std::memset(text, '#', sizeof text);
  encode_command(name.c_str(), text, kCommandTextSize);
  EXPECT_EQ(std::strlen(text), kCommandTextSize - 1);
  EXPECT_EQ(text[kCommandTextSize], '#');
}

TEST_F(CommandBroadcast, DecodesWhatTheEncoderWrites) {
  char text[kCommandTextSize];
  encode_command("reboot", text, sizeof text);
  EXPECT_EQ(decode_command(text, handlers_), -1);
  EXPECT_EQ(g_reboots, 1);
  encode_command("default_reset", text, sizeof text);
  EXPECT_EQ(decode_command(text, handlers_), -1);
  EXPECT_EQ(g_reset, 1);
}

TEST_F(CommandBroadcast, UpgradeCarriesItsProgress) {
  EXPECT_EQ(decode_command(R"({"cmd":"upgrade","progress":42})", handlers_), -1);
  EXPECT_EQ(g_progress, 42);
}

TEST_F(CommandBroadcast, UnknownCommandDoesNothingAndStillAnswersMinusOne) {
  EXPECT_EQ(decode_command(R"({"cmd":"reload_account"})", handlers_), -1);
  EXPECT_EQ(decode_command(R"({"cmd":null})", handlers_), -1);
  EXPECT_EQ(g_reboots + g_reset, 0);
  EXPECT_EQ(g_progress, -1);
}

TEST_F(CommandBroadcast, NoCommandAnswersZeroAndBadTextMinusOne) {
  EXPECT_EQ(decode_command(R"({"progress":3})", handlers_), 0);
  EXPECT_EQ(decode_command("not json {", handlers_), -1);
  EXPECT_EQ(decode_command(nullptr, handlers_), -1);
}

}  // namespace
