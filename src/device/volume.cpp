// Volume levels of the three audio paths. They persist as integers under
// "audio" in "hal.cfg"; in hotel mode they go to the volatile gl_data table
// of the configuration service instead, so that a guest's changes do not
// survive. The channel and the hotel flag are process-wide, one writer.

#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/json.h"
#include "config/gnl_frame.h"
#include "phonecore/config.h"
#include "phonecore/hal.h"
#include "phonecore/json_msg.h"
#include "phonecore/udp.h"

namespace json = phonecore::json;

using namespace phonecore::config;

namespace {

constexpr const char* kHalFile = "hal.cfg";
constexpr int kMaxLevel = 15;
constexpr float kLevelScale = 15.0f;
constexpr int kModeTone = 1;
constexpr int kModeRing = 2;
constexpr int kModeCall = 3;
constexpr int kAudioModeKey = 9;  // gl_data key of the audio mode

// gl_data requests go on the file category, told apart by the operation.
constexpr uint16_t kCategoryGlData = kCategoryFile;

int g_channel = 1;
int g_hotel = 0;  // refreshed at each volume call

struct Path {
  const char* level;  // "speaker-level%s"
  const char* mic;
  int keys[3];  // gl_data key for tone, ring, call
};

constexpr Path kPaths[] = {
    {"speaker-level%s", "spk-mic-level", {3, 6, 0}},
    {"headset-level%s", "hemic-level", {4, 7, 1}},
    {"handset-level%s", "hamic-level", {5, 8, 2}},
};

const Path& path_of(int channel) { return channel == 2 || channel == 3 ? kPaths[channel - 1] : kPaths[0]; }

// "speaker-level-call" and its sisters: a mode other than 2 or 3 is tone.
void level_key(int channel, int mode, char* key, size_t size) {
  const char* suffix = mode == kModeRing ? "-ring" : mode == kModeCall ? "-call" : "-tone";
  snprintf(key, size, path_of(channel).level, suffix);
}

int gl_key(int channel, int mode) {
  if (mode < kModeTone || mode > kModeCall) return 0;
  return path_of(channel).keys[mode - 1];
}

// "hal.cfg", created with the defaults when it is missing.
json_object* open_hal() {
  json_object* hal = read_gnl_config_json(kHalFile);
  return hal != nullptr ? hal : new_hal_config_file();
}

void refresh_hotel(json_object* hal) {
  const char* text = json::text(hal, "audio", "HotelModelEnable");
  g_hotel = text != nullptr && std::strcmp(text, "1") == 0;
}

// One gl_data exchange of 77 bytes; the reply in r.
bool gl_exchange(uint16_t operation, uint16_t pair, int key, int value, GnlConfigRecord* r) {
  std::memset(r, 0, kGnlHeaderSize + 1);
  r->magic = kGnlMagic;
  r->category = kCategoryGlData;
  r->operation = operation;
  r->format = kGlDataFormat;
  put_gl_body(*r, GlDataBody{pair, static_cast<int32_t>(key), static_cast<int32_t>(value)});
  const auto got = frame_exchange(kConfigPort, *r, *r);
  return got && *got >= kGlBodyOffset + sizeof(GlDataBody);
}

// One gl_data exchange on a record of its own: 32 KiB from the heap for
// each call, so that any thread may ask. With read_value, the reply must be
// a read's answer, and its value goes there.
bool gl_call(uint16_t operation, uint16_t pair, int key, int value, int32_t* read_value) {
  std::unique_ptr<GnlConfigRecord, decltype(&std::free)> r(
      static_cast<GnlConfigRecord*>(std::malloc(sizeof(GnlConfigRecord))), &std::free);
  if (r == nullptr || !gl_exchange(operation, pair, key, value, r.get())) return false;
  if (read_value == nullptr) return true;
  if (r->magic != kGnlMagic || r->operation != operation) return false;
  std::memcpy(read_value, reinterpret_cast<uint8_t*>(r.get()) + kGlValueOffset, sizeof *read_value);
  return true;
}

// The level of a channel in a mode: from gl_data in hotel mode, else from
// the file. The output is cleared first.
int read_level(int channel, int mode, int* level) {
  if (level == nullptr) return 0;
  *level = 0;
  json_object* hal = open_hal();
  refresh_hotel(hal);
  if (g_hotel) {
    gl_data_read(gl_key(channel, mode), level);
  } else {
    char key[32];
    level_key(channel, mode, key, sizeof key);
    *level = json::integer(hal, "audio", key);
  }
  json_object_put(hal);
  return 0;
}

int set_level(int channel, int mode, int level, json_object* hal) {
  char key[32];
  level_key(channel, mode, key, sizeof key);
  json::set_creating(hal, key, json_object_new_int(level), "audio");
  write_gnl_config_json(kHalFile, hal);
  return 0;
}

}  // namespace

extern "C" {

int has_one_speaking_flag = 0;
int hal_from_flag = 0;

json_object* new_hal_config_file(void) noexcept {
  json_object* hal = json_object_new_object();
  json_object* audio = json_object_new_object();
  const struct {
    const char* key;
    int value;
  } defaults[] = {
      {"speaker-level-call", 12}, {"speaker-level-tone", 12}, {"speaker-level-ring", 12}, {"handset-level-call", 10},
      {"handset-level-tone", 10}, {"handset-level-ring", 10}, {"headset-level-call", 10}, {"headset-level-tone", 10},
      {"headset-level-ring", 10}, {"spk-mic-level", 8},       {"hamic-level", 6},         {"hemic-level", 6},
      {"ringtones-level", 6},
  };
  for (const auto& d : defaults) json_object_object_add(audio, d.key, json_object_new_int(d.value));
  json_object_object_add(hal, "audio", audio);
  json_object* lcd = json_object_new_object();
  json_object_object_add(lcd, "bk_light_pwm", json_object_new_int(40));
  json_object_object_add(hal, "lcd", lcd);
  write_gnl_config_json(kHalFile, hal);
  return hal;
}

int gl_data_write(int key, int value) noexcept {
  gl_call(kGlWrite, kGlPairSize, key, value, nullptr);
  return 0;
}

int gl_data_read(int key, int* value) noexcept {
  if (value != nullptr) *value = 0;
  int32_t v = 0;
  if (gl_call(kGlRead, kGlPairSize, key, 0, &v) && value != nullptr) *value = v;
  return 0;
}

int gl_data_reset_vol(void) noexcept {
  gl_call(kGlReset, 0, 0, 0, nullptr);
  return 0;
}

int switch_audio_channel(int channel) noexcept {
  g_channel = channel;
  return 0;
}

int get_audio_channel(void) noexcept { return g_channel; }

int set_audio_mode(int mode) noexcept { return gl_data_write(kAudioModeKey, mode); }

int get_audio_mode(void) noexcept {
  int mode = 0;
  gl_data_read(kAudioModeKey, &mode);
  return mode;
}

int set_speaking_flag(int value) noexcept {
  has_one_speaking_flag = value;
  return 0;
}

int set_hal_from_flag(int value) noexcept {
  hal_from_flag = value;
  return 0;
}

int hal_volume_config_get(int channel, int* level) noexcept { return read_level(channel, get_audio_mode(), level); }

int hal_volume_config_set(int channel, int level) noexcept {
  if (level > kMaxLevel) return -1;
  json_object* hal = open_hal();
  refresh_hotel(hal);
  const int mode = get_audio_mode();
  if (g_hotel) {
    // The file keeps its level, and ring permission isn't asked.
    gl_data_write(gl_key(channel, mode), level);
  } else if (!(mode == kModeRing && get_allowringvolumeset() == 0)) {
    set_level(channel, mode, level, hal);
  }
  json_object_put(hal);
  return 0;
}

int hal_current_volume_get(int* level) noexcept { return hal_volume_config_get(g_channel, level); }

int hal_current_volume_set(int level) noexcept { return hal_volume_config_set(g_channel, level); }

int hal_current_volume_get_f(float* value) noexcept {
  int level = 0;
  hal_current_volume_get(&level);
  if (value != nullptr) *value = static_cast<float>(level) / kLevelScale;
  return 0;
}

int hal_current_volume_set_f(float value) noexcept {
  return hal_current_volume_set(static_cast<int>(value * kLevelScale));
}

int hal_volume_config_get_ringtones_int(int* level) noexcept { return read_level(g_channel, kModeRing, level); }

int hal_volume_config_get_ringtones(float* value) noexcept {
  int level = 0;
  hal_volume_config_get_ringtones_int(&level);
  if (value != nullptr) *value = static_cast<float>(level) / kLevelScale;
  return 0;
}

int hal_volume_config_set_ringtones(int level) noexcept {
  if (level > kMaxLevel) return -1;
  // Refused before hotel mode is looked at.
  if (get_allowringvolumeset() == 0) return -1;
  json_object* hal = open_hal();
  refresh_hotel(hal);
  if (g_hotel) gl_data_write(gl_key(g_channel, kModeRing), level);
  else set_level(g_channel, kModeRing, level, hal);
  json_object_put(hal);
  return 0;
}

int hal_volume_config_get_mic(int channel, int* level) noexcept {
  if (level == nullptr) return 0;
  *level = 0;
  json_object* hal = open_hal();
  if (channel >= 1 && channel <= 3) *level = json::integer(hal, "audio", kPaths[channel - 1].mic);
  json_object_put(hal);
  return 0;
}

int hal_volume_config_set_mic(int channel, int level) noexcept {
  if (level > kMaxLevel) return -1;
  json_object* hal = open_hal();
  // Mic levels ignore hotel mode; another channel rewrites the file as it is.
  if (channel >= 1 && channel <= 3)
    json::set_creating(hal, kPaths[channel - 1].mic, json_object_new_int(level), "audio");
  write_gnl_config_json(kHalFile, hal);
  json_object_put(hal);
  return 0;
}

int hal_current_volume_get_mic_f(float* value) noexcept {
  int level = 0;
  hal_volume_config_get_mic(g_channel, &level);
  if (value != nullptr) *value = static_cast<float>(level) / kLevelScale;
  return 0;
}

int hal_current_volume_set_mic_f(float value) noexcept {
  return hal_volume_config_set_mic(g_channel, static_cast<int>(value * kLevelScale));
}

int hal_get_default_audio(void) noexcept {
  json_object* hal = read_gnl_config_json(kHalFile);
  const char* text = hal != nullptr ? json::text(hal, "audio", "DefaultAudio") : nullptr;
  const int on = text != nullptr && std::strcmp(text, "1") == 0;
  json_object_put(hal);
  return on;
}

int hotel_mode_set(int value) noexcept {
  json_object* hal = read_gnl_config_json(kHalFile);
  if (hal == nullptr) return -1;
  json::set_creating(hal, "HotelModelEnable", json::new_text(value == 1 ? "1" : "0"), "audio");
  write_gnl_config_json(kHalFile, hal);
  json_object_put(hal);
  return 0;
}

int hotel_mode_get(void) noexcept {
  json_object* hal = read_gnl_config_json(kHalFile);
  const char* text = hal != nullptr ? json::text(hal, "audio", "HotelModelEnable") : nullptr;
  const int on = text != nullptr && std::strcmp(text, "1") == 0;
  json_object_put(hal);
  return on;
}

int get_allowringvolumeset(void) noexcept {
  json_object* hal = read_gnl_config_json(kHalFile);
  if (hal == nullptr) return -1;
  const int allowed = json::text_integer(hal, "audio", "RingVoluemEnable");
  json_object_put(hal);
  return allowed;
}

}  // extern "C"
