// phone.cfg keys of the features, the programmable keys, voice and the
// system file, in the box with the board's devices: what each key stores,
// what it refuses, the volumes as integers and their levels (in hotel mode
// only the level), the language codes and the backlight applied at once.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "phonecore/hal.h"
#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "support/config_peer.h"
#include "support/factory_files.h"
#include "support/files.h"

namespace {

using phonecore::testing::ConfigPeer;
using phonecore::testing::FactoryFiles;
using phonecore::testing::slurp;
using phonecore::testing::text_at_pointer;
namespace pc = phonecore::phonecfg;

constexpr const char* kPwm = "/sys/class/pwm/pwmchip0/";
constexpr const char* kDevicesLog = "/run/phonebox/devices.log";

void write_control(const std::string& path, const std::string& text) {
  const int fd = ::open(path.c_str(), O_WRONLY);
  ASSERT_GE(fd, 0) << path;
  EXPECT_EQ(::write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size())) << path;
  ::close(fd);
}

std::vector<std::string> device_acts() {
  std::vector<std::string> lines;
  std::istringstream in(slurp(kDevicesLog));
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

void clear_device_acts() {
  const int fd = ::open(kDevicesLog, O_WRONLY | O_TRUNC);
  if (fd >= 0) ::close(fd);
}

// The JSON type of a member by pointer, json_type_null when absent.
json_type type_at_pointer(const std::string& file, const char* pointer) {
  json_object* root = json_object_from_file(("/appconfigs/" + file).c_str());
  json_object* o = nullptr;
  json_type type = json_type_null;
  if (root != nullptr && json_pointer_get(root, pointer, &o) == 0 && o != nullptr) type = json_object_get_type(o);
  json_object_put(root);
  return type;
}

class PhonecfgFeatures : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    ASSERT_TRUE(config_.clear());
    reload_something_flag = 0;
  }

  // Stores the item and gives back the member's text afterwards.
  static std::string after(const char* item, const char* file, const char* pointer) {
    my_dm_handle_value1(item);
    return text_at_pointer(file, pointer);
  }

  FactoryFiles files_{std::span(phonecore::testing::kItemFiles)};
  ConfigPeer config_;
};

TEST_F(PhonecfgFeatures, EveryFunctionKeyLandsInItsMember) {
  int rows = 0;
  for (const pc::KeyRow& row : pc::kKeyTable) {
    if (row.group != pc::Group::kFunction) continue;
    ++rows;
    ASSERT_TRUE(files_.restore());
    const std::string pointer = std::string("/") + row.store.section + "/" + row.store.member;
    EXPECT_EQ(after((std::string(row.key) + "=1").c_str(), "default/function.cfg", pointer.c_str()), "1") << row.key;
  }
  EXPECT_EQ(rows, 25);
}

TEST_F(PhonecfgFeatures, TwoKeysFeedMembersOfOtherNames) {
  EXPECT_EQ(after("Features.key_as_send=2", "default/function.cfg", "/FeatureGnlInfor/AutoRedialSwitch"), "2");
  EXPECT_EQ(
      after("PowerLED.Talk/Dial_Power_Light_on=1", "default/function.cfg", "/FeaturePowerLed/TalkPowerLightFlash"),
      "1");
  EXPECT_EQ(text_at_pointer("default/function.cfg", "/FeatureGnlInfor/key_as_send"), "<absent>");
  EXPECT_EQ(text_at_pointer("default/function.cfg", "/FeaturePowerLed/TalkPowerLightOn"), "<absent>");
}

TEST_F(PhonecfgFeatures, ForwardDelayHotlineDelayAndKeyAsSendBoundaries) {
  const char* delay = "/FeatureForwardDND/NoAnswerForwardDelayTime";
  const std::string factory = text_at_pointer("default/function.cfg", delay);
  EXPECT_EQ(after("Forward.no_answer.after_ring_time=6", "default/function.cfg", delay), factory);
  EXPECT_EQ(after("Forward.no_answer.after_ring_time=5", "default/function.cfg", delay), "5");
  EXPECT_EQ(after("Forward.no_answer.after_ring_time=0", "default/function.cfg", delay), "0");

  const char* hotline = "/FeatureGnlInfor/HotlineDelay";
  EXPECT_EQ(after("Features.HotlineDelay=11", "default/function.cfg", hotline), "10");
  EXPECT_EQ(after("Features.HotlineDelay=3", "default/function.cfg", hotline), "3");
  EXPECT_EQ(after("Features.HotlineDelay=007", "default/function.cfg", hotline), "007");
  EXPECT_EQ(after("Features.HotlineDelay=10", "default/function.cfg", hotline), "10");
  EXPECT_EQ(after("Features.HotlineDelay=abc", "default/function.cfg", hotline), "10");
  EXPECT_EQ(after("Features.HotlineDelay=99999999999", "default/function.cfg", hotline), "10");

  const char* send = "/FeatureGnlInfor/AutoRedialSwitch";
  EXPECT_EQ(after("Features.key_as_send=1", "default/function.cfg", send), "1");
  EXPECT_EQ(after("Features.key_as_send=3", "default/function.cfg", send), "1");
}

TEST_F(PhonecfgFeatures, ALineKeysLineIsStoredOneLowerASoftKeysAsItComes) {
  const char* line1 = "/Hotkey_lineKey/data/0/Line";
  EXPECT_EQ(after("LineKey1.Line=1", "default/programing_key.cfg", line1), "0");
  EXPECT_EQ(after("LineKey1.Line=4", "default/programing_key.cfg", line1), "3");
  EXPECT_EQ(after("LineKey1.Line=5", "default/programing_key.cfg", line1), "3");
  EXPECT_EQ(after("LineKey1.Line=0", "default/programing_key.cfg", line1), "3");
  EXPECT_EQ(after("LineKey4.Line=2", "default/programing_key.cfg", "/Hotkey_lineKey/data/3/Line"), "1");

  const char* soft3 = "/Hotkey_hotKey/data/2/Line";
  const std::string factory = text_at_pointer("default/programing_key.cfg", soft3);
  EXPECT_EQ(after("SoftKey3.Line=a", "default/programing_key.cfg", soft3), factory);
  EXPECT_EQ(after("SoftKey3.Line=7", "default/programing_key.cfg", soft3), "7");
}

TEST_F(PhonecfgFeatures, TheTwoTypeListsAreDisjoint) {
  const char* line_type = "/Hotkey_lineKey/data/0/Type";
  const char* soft_type = "/Hotkey_hotKey/data/0/Type";
  const std::string line_factory = text_at_pointer("default/programing_key.cfg", line_type);
  const std::string soft_factory = text_at_pointer("default/programing_key.cfg", soft_type);
  EXPECT_EQ(after("LineKey1.Type=16", "default/programing_key.cfg", line_type), line_factory);
  EXPECT_EQ(after("SoftKey1.Type=15", "default/programing_key.cfg", soft_type), soft_factory);
  for (const char* type : {"15", "106", "117", "213", "9", "10", "56"}) {
    EXPECT_EQ(after((std::string("LineKey1.Type=") + type).c_str(), "default/programing_key.cfg", line_type), type);
    EXPECT_EQ(after((std::string("SoftKey1.Type=") + type).c_str(), "default/programing_key.cfg", soft_type),
              soft_factory);
  }
  for (const char* type : {"201", "301", "5", "401"}) {
    EXPECT_EQ(after((std::string("SoftKey1.Type=") + type).c_str(), "default/programing_key.cfg", soft_type), type);
  }
  EXPECT_EQ(after("LineKey2.Label=Front desk", "default/programing_key.cfg", "/Hotkey_lineKey/data/1/Label"),
            "Front desk");
  EXPECT_EQ(after("SoftKey4.Extension=12", "default/programing_key.cfg", "/Hotkey_hotKey/data/3/Extension"), "12");
}

TEST_F(PhonecfgFeatures, VoiceSwitchesAndVolumesAsIntegers) {
  EXPECT_EQ(after("Voice.ECHO=0", "default/settinglist.cfg", "/SettingAudio/VPMECHO"), "0");
  EXPECT_EQ(after("Voice.VAD=1", "default/settinglist.cfg", "/SettingAudio/VPMVAD"), "1");
  EXPECT_EQ(after("Voice.CNG=1", "default/settinglist.cfg", "/SettingAudio/VPMCNG"), "1");

  struct Case {
    const char* key;
    const char* stored;
    const char* hal;
  };
  const Case cases[] = {
      {"Voice.Handset.Output", "/Volume/VolumeHandsetoutput", "/audio/handset-level"},
      {"Voice.Speaker", "/Volume/VolumeSpeaker", "/audio/speaker-level-call"},
      {"Voice.Ringtones", "/Volume/VolumeModulationRing", "/audio/ringtones-level"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.key);
    ASSERT_TRUE(files_.restore());
    const std::string before = text_at_pointer("default/settinglist.cfg", c.stored);
    EXPECT_EQ(after((std::string(c.key) + "=16").c_str(), "default/settinglist.cfg", c.stored), before);
    EXPECT_EQ(after((std::string(c.key) + "=12").c_str(), "default/settinglist.cfg", c.stored), "12");
    EXPECT_EQ(type_at_pointer("default/settinglist.cfg", c.stored), json_type_int);
    EXPECT_EQ(text_at_pointer("hal.cfg", c.hal), "12");
    EXPECT_EQ(type_at_pointer("hal.cfg", c.hal), json_type_int);
  }
}

TEST_F(PhonecfgFeatures, InHotelModeOnlyTheLevelIsSet) {
  json_object* hal = json_object_from_file("/appconfigs/hal.cfg");
  ASSERT_NE(hal, nullptr);
  json_object_object_add(json_object_object_get(hal, "audio"), "HotelModelEnable", json_object_new_string("1"));
  ASSERT_EQ(json_object_to_file("/appconfigs/hal.cfg", hal), 0);
  json_object_put(hal);
  ASSERT_EQ(hotel_mode_get(), 1);
  set_audio_mode(3);
  gl_data_write(0, 3);
  const std::string stored = text_at_pointer("default/settinglist.cfg", "/Volume/VolumeSpeaker");
  const std::string in_hal = text_at_pointer("hal.cfg", "/audio/speaker-level-call");
  ASSERT_NE(stored, "15");
  my_dm_handle_value1("Voice.Speaker=15");
  EXPECT_EQ(text_at_pointer("default/settinglist.cfg", "/Volume/VolumeSpeaker"), stored);
  EXPECT_EQ(text_at_pointer("hal.cfg", "/audio/speaker-level-call"), in_hal);
  int level = -1;
  gl_data_read(0, &level);  // speaker, call
  EXPECT_EQ(level, 15);
  gl_data_reset_vol();
}

TEST_F(PhonecfgFeatures, LanguageCodes) {
  const char* lang = "/systeminfo/lang";
  EXPECT_EQ(after("Language.Lcd=English", "system.cfg", lang), "es-us");
  EXPECT_EQ(after("Language.Lcd=Chinese", "system.cfg", lang), "zh-cn");
  EXPECT_EQ(after("Language.Lcd=French", "system.cfg", lang), "French");
}

TEST_F(PhonecfgFeatures, TheBacklightLevelIsStoredAndItsDutyWrittenAtOnce) {
  write_control(std::string(kPwm) + "export", "0");
  write_control(std::string(kPwm) + "pwm0/period", "1000");
  clear_device_acts();
  EXPECT_EQ(after("Phone.LcdBackLight_level=50", "system.cfg", "/hardware/bk_light_l_active"), "50");
  EXPECT_EQ(device_acts(), std::vector<std::string>{"pwm0 duty_cycle 69"});
  EXPECT_EQ(slurp(std::string(kPwm) + "pwm0/duty_cycle"), "69");
  clear_device_acts();
  EXPECT_EQ(after("Phone.LcdBackLight_level=15", "system.cfg", "/hardware/bk_light_l_active"), "50");
  EXPECT_TRUE(device_acts().empty());
  EXPECT_EQ(after("Phone.LcdBackLight_level=100", "system.cfg", "/hardware/bk_light_l_active"), "100");
  EXPECT_EQ(device_acts(), std::vector<std::string>{"pwm0 duty_cycle 40"});
  write_control(std::string(kPwm) + "unexport", "0");
}

TEST_F(PhonecfgFeatures, AMissingFileDropsItsWholeGroup) {
  struct Case {
    const char* file;
    const char* item;
  };
  const Case cases[] = {
      {"default/function.cfg", "Features.CallWaiting=1"},
      {"default/settinglist.cfg", "Voice.ECHO=1"},
      {"system.cfg", "Language.Lcd=French"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    ASSERT_TRUE(files_.restore());
    std::filesystem::remove(std::string("/appconfigs/") + c.file);
    ASSERT_TRUE(config_.clear());
    my_dm_handle_value1(c.item);
    EXPECT_FALSE(std::filesystem::exists(std::string("/appconfigs/") + c.file));
    EXPECT_EQ(reload_something_flag, 1);
    // The other seven are still written: 9 reads and 7 writes.
    EXPECT_EQ(config_.requests().size(), 16u);
  }
}

}  // namespace
