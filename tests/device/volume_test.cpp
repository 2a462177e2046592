// Volume levels and hotel mode against the configuration-service peer.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "phonecore/config.h"
#include "phonecore/hal.h"
#include "phonecore/json_msg.h"
#include "support/factory_files.h"

namespace {

int file_level(const char* key) {
  json_object* hal = read_gnl_config_json("hal.cfg");
  int level = get_int_from_json_rl(hal, 2, "audio", key);
  json_object_put(hal);
  return level;
}

class Volume : public ::testing::Test {
 protected:
  void SetUp() override {
    // Every test starts from the factory file.
    ASSERT_TRUE(hal_.restore());
    switch_audio_channel(1);
    set_audio_mode(3);
    hotel_mode_set(0);
  }

  phonecore::testing::FactoryFiles hal_{"hal.cfg"};
};

TEST_F(Volume, LevelSixteenIsRefusedBeforeAnyFileAccess) {
  remove("/appconfigs/hal.cfg");
  EXPECT_EQ(hal_volume_config_set(1, 16), -1);
  EXPECT_EQ(hal_volume_config_set_mic(1, 16), -1);
  EXPECT_EQ(hal_volume_config_set_ringtones(16), -1);
  EXPECT_EQ(read_gnl_config_json("hal.cfg"), nullptr);
}

TEST_F(Volume, SetThenGetOnEachChannelAndMode) {
  EXPECT_EQ(hal_volume_config_set(2, 7), 0);
  EXPECT_EQ(file_level("headset-level-call"), 7);
  int level = -1;
  EXPECT_EQ(hal_volume_config_get(2, &level), 0);
  EXPECT_EQ(level, 7);
  set_audio_mode(1);
  hal_volume_config_set(3, 4);
  EXPECT_EQ(file_level("handset-level-tone"), 4);
  set_audio_mode(9);  // any other mode is tone as well
  hal_volume_config_get(3, &level);
  EXPECT_EQ(level, 4);
  hal_volume_config_set(7, 5);  // any other channel is the speaker
  EXPECT_EQ(file_level("speaker-level-tone"), 5);
}

TEST_F(Volume, LevelFifteenReadsBackAsOne) {
  hal_current_volume_set(15);
  float value = 0;
  hal_current_volume_get_f(&value);
  EXPECT_FLOAT_EQ(value, 1.0f);
  hal_current_volume_set_f(0.5f);  // 7.5 truncated
  int level = 0;
  hal_current_volume_get(&level);
  EXPECT_EQ(level, 7);
}

TEST_F(Volume, HotelModeKeepsTheFileAndServesTheNewLevel) {
  hal_volume_config_set(1, 9);
  ASSERT_EQ(hotel_mode_set(1), 0);
  EXPECT_EQ(hotel_mode_get(), 1);
  EXPECT_EQ(hal_volume_config_set(1, 3), 0);
  EXPECT_EQ(file_level("speaker-level-call"), 9);
  int level = 0;
  hal_volume_config_get(1, &level);
  EXPECT_EQ(level, 3);
  int raw = -1;
  gl_data_read(0, &raw);  // speaker, call
  EXPECT_EQ(raw, 3);
  hotel_mode_set(0);
  hal_volume_config_get(1, &level);
  EXPECT_EQ(level, 9);
}

TEST_F(Volume, HotelModeSetStoresOneOnlyForOne) {
  hotel_mode_set(2);
  EXPECT_EQ(hotel_mode_get(), 0);
  hotel_mode_set(1);
  EXPECT_EQ(hotel_mode_get(), 1);
  remove("/appconfigs/hal.cfg");
  EXPECT_EQ(hotel_mode_set(1), -1);
  EXPECT_EQ(hotel_mode_get(), 0);
}

TEST_F(Volume, RingModeWithoutPermissionChangesNothingAndAnswersZero) {
  json_object* hal = read_gnl_config_json("hal.cfg");
  set_string_to_json(hal, "RingVoluemEnable", "0", 1, "audio");
  write_gnl_config_json("hal.cfg", hal);
  json_object_put(hal);
  set_audio_mode(2);
  const int before = file_level("speaker-level-ring");
  EXPECT_EQ(hal_volume_config_set(1, 2), 0);
  EXPECT_EQ(file_level("speaker-level-ring"), before);
  // The ring set refuses with -1 instead.
  EXPECT_EQ(hal_volume_config_set_ringtones(2), -1);
  EXPECT_EQ(get_allowringvolumeset(), 0);
}

TEST_F(Volume, RingtonesUseTheRingKeyOfTheCurrentChannel) {
  switch_audio_channel(3);
  EXPECT_EQ(hal_volume_config_set_ringtones(11), 0);
  EXPECT_EQ(file_level("handset-level-ring"), 11);
  int level = 0;
  hal_volume_config_get_ringtones_int(&level);
  EXPECT_EQ(level, 11);
  float value = 0;
  hal_volume_config_get_ringtones(&value);
  EXPECT_FLOAT_EQ(value, 11 / 15.0f);
}

TEST_F(Volume, MicLevelsIgnoreHotelMode) {
  hotel_mode_set(1);
  EXPECT_EQ(hal_volume_config_set_mic(2, 13), 0);
  EXPECT_EQ(file_level("hemic-level"), 13);
  int level = 0;
  hal_volume_config_get_mic(2, &level);
  EXPECT_EQ(level, 13);
  switch_audio_channel(1);
  hal_current_volume_set_mic_f(0.2f);
  EXPECT_EQ(file_level("spk-mic-level"), 3);
}

TEST_F(Volume, WithoutHalCfgTheFirstGetCreatesItWithTheDefaults) {
  remove("/appconfigs/hal.cfg");
  int level = 0;
  EXPECT_EQ(hal_volume_config_get(1, &level), 0);
  EXPECT_EQ(level, 12);
  EXPECT_EQ(file_level("handset-level-tone"), 10);
  EXPECT_EQ(file_level("ringtones-level"), 6);
  json_object* hal = read_gnl_config_json("hal.cfg");
  EXPECT_EQ(get_int_from_json_rl(hal, 2, "lcd", "bk_light_pwm"), 40);
  json_object_put(hal);
  EXPECT_EQ(get_allowringvolumeset(), 0);  // the defaults don't allow ring volume
}

TEST_F(Volume, AudioModeAndChannelAndDefaultAudio) {
  set_audio_mode(2);
  EXPECT_EQ(get_audio_mode(), 2);
  switch_audio_channel(2);
  EXPECT_EQ(get_audio_channel(), 2);
  EXPECT_EQ(hal_get_default_audio(), 0);
  set_speaking_flag(1);
  set_hal_from_flag(1);
  EXPECT_EQ(has_one_speaking_flag, 1);
  EXPECT_EQ(hal_from_flag, 1);
}

TEST_F(Volume, ResetGivesTheVolumeKeysBackTheFileLevels) {
  gl_data_write(0, 1);
  gl_data_write(9, 3);
  EXPECT_EQ(gl_data_reset_vol(), 0);
  int value = -1;
  gl_data_read(0, &value);
  EXPECT_EQ(value, file_level("speaker-level-call"));
  gl_data_read(9, &value);
  EXPECT_EQ(value, 3);  // the audio mode is no volume
}

}  // namespace
