// Call-control logic that needs no peer: status texts, the volume level,
// the account record's layout and the sound file of a character.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "call/call_internal.h"
#include "phonecore/account.h"
#include "phonecore/dsskey.h"
#include "phonecore/prompt.h"
#include "phonecore/voip.h"

using phonecore::call::volume_level_from_float;

namespace {

TEST(StatusText, EnglishAndChineseTextsOfACode) {
  EXPECT_STREQ(voip_status_desc(0, 486), "Busy Here!");
  EXPECT_STREQ(voip_status_desc(1, 486), "正在忙!");
  EXPECT_STREQ(voip_status_desc(0, 400), "Bad Request!");
  EXPECT_STREQ(voip_status_desc(0, 606), "Not Acceptable!");
  EXPECT_STREQ(voip_status_desc(1, 406), "不可接受!");
}

TEST(StatusText, ChineseTextsFrom493To604HaveNoExclamationMark) {
  EXPECT_STREQ(voip_status_desc(1, 493), "不可辨识");
  EXPECT_STREQ(voip_status_desc(1, 500), "服务器内部错误");
  EXPECT_STREQ(voip_status_desc(1, 604), "不存在");
  EXPECT_STREQ(voip_status_desc(1, 606), "不可接受");
}

TEST(StatusText, UnknownCodesAndLanguagesAnswerNull) {
  EXPECT_EQ(voip_status_desc(0, 999), nullptr);
  EXPECT_EQ(voip_status_desc(2, 486), nullptr);
  EXPECT_EQ(voip_status_desc(0, 200), nullptr);
}

TEST(StatusText, TheChineseRowOf700CanNeverBeFound) {
  EXPECT_STREQ(voip_status_desc(0, 700), "Forbidden Number!");
  EXPECT_EQ(voip_status_desc(1, 700), nullptr);
}

TEST(VolumeLevel, FullVolumeIsFifteenHalfIsEightAboveOneIsRefused) {
  int level = -1;
  EXPECT_TRUE(volume_level_from_float(1.0f, &level));
  EXPECT_EQ(level, 15);
  EXPECT_TRUE(volume_level_from_float(0.5f, &level));
  EXPECT_EQ(level, 8);
  EXPECT_TRUE(volume_level_from_float(0.0f, &level));
  EXPECT_EQ(level, 0);
  level = 4;
  EXPECT_FALSE(volume_level_from_float(1.5f, &level));
  EXPECT_FALSE(volume_level_from_float(-0.1f, &level));
  EXPECT_EQ(level, 4);
}

TEST(AccountRecord, HasTheWireLayout) {
  EXPECT_EQ(sizeof(AccountRecord), 676u);
  EXPECT_EQ(offsetof(AccountRecord, text[3]), 200u);
  EXPECT_EQ(offsetof(AccountRecord, text[5]), 328u);
  EXPECT_EQ(offsetof(AccountRecord, reg_state), 596u);
  EXPECT_EQ(offsetof(AccountRecord, text9), 612u);
  EXPECT_EQ(sizeof(DssKeyInfo), 4u + 4u + 3u * 64u);
}

TEST(AccountCopy, WithoutRecordsTheStateIsMinusTen) {
  EXPECT_EQ(get_reg_status(1), -10);
  callback_on_reg_changed(1, 1);  // no record: nothing happens
  EXPECT_EQ(get_reg_status(1), -10);
}

TEST(SoundFile, LettersAreLowerCaseFilesOfTheLanguage) {
  char path[256] = "";
  EXPECT_EQ(get_audio_file_from_char_extend('Q', "en", path), 0);
  EXPECT_STREQ(path, "/customer/audio/en/sounds/letters/q.wav");
  EXPECT_EQ(get_audio_file_from_char_extend('q', "zh", path), 0);
  EXPECT_STREQ(path, "/customer/audio/zh/sounds/letters/q.wav");
  EXPECT_EQ(get_audio_file_from_char_extend('7', "en", path), 0);
  EXPECT_STREQ(path, "/customer/audio/en/sounds/digits/7.wav");
}

TEST(SoundFile, DotSpaceAndSlashHaveLetterFiles) {
  char path[256] = "";
  EXPECT_EQ(get_audio_file_from_char_extend('.', "en", path), 0);
  EXPECT_STREQ(path, "/customer/audio/en/sounds/letters/dot.wav");
  EXPECT_EQ(get_audio_file_from_char_extend(' ', "en", path), 0);
  EXPECT_STREQ(path, "/customer/audio/en/sounds/letters/space.wav");
  EXPECT_EQ(get_audio_file_from_char_extend('/', "en", path), 0);
  EXPECT_STREQ(path, "/customer/audio/en/sounds/letters/slash.wav");
}

TEST(SoundFile, ACharacterWithoutSoundAnswersMinusOneAndLeavesTheDestination) {
  char path[256] = "keep";
  EXPECT_EQ(get_audio_file_from_char_extend('#', "en", path), -1);
  EXPECT_EQ(get_audio_file_from_char_extend('\xe4', "en", path), -1);
  EXPECT_STREQ(path, "keep");
}

}  // namespace
