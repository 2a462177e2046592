// phonectl volume, hotel: the stored volume levels and hotel mode.
#include <phonecore/hal.h>

#include <string>
#include <vector>

#include "phonectl.h"

namespace phonectl {
namespace {

struct Channel {
  std::string_view name;
  int number;
};
constexpr Channel kChannels[] = {{"speaker", 1}, {"headset", 2}, {"handset", 3}};

bool parse_channel(const char *text, int &channel) {
  for (const auto &c : kChannels)
    if (c.name == text) {
      channel = c.number;
      return true;
    }
  long n = 0;
  if (!parse_int(text, 1, 3, n)) return false;
  channel = static_cast<int>(n);
  return true;
}

// The audio modes: which of a channel's three levels a volume call means.
// The phone's audio mode is shared by all processes (the configuration
// service keeps it); a mode other than ring or call counts as tone.
struct Mode {
  std::string_view name;
  int number;
};
constexpr Mode kModes[] = {{"tone", 1}, {"ring", 2}, {"call", 3}};

std::string_view mode_name(int mode) {
  for (const auto &m : kModes)
    if (m.number == mode) return m.name;
  return "tone";
}

// --mode MODE switches the phone's audio mode first.
int take_mode(Args args, std::vector<char *> &words) {
  Options o{"--mode"};
  if (!take_options(args, o, words)) return -1;
  if (!o.given[0]) return 0;
  for (const auto &m : kModes)
    if (m.name == o.values[0]) {
      set_audio_mode(m.number);
      return 0;
    }
  fail(kUsage, "MODE is tone, ring or call");
  return -1;
}

json_object *level_object(int channel, int level) {
  json_object *r = json_object_new_object();
  json_object_object_add(r, "channel", json_object_new_string(std::string(kChannels[channel - 1].name).c_str()));
  json_object_object_add(r, "mode", json_object_new_string(std::string(mode_name(get_audio_mode())).c_str()));
  json_object_object_add(r, "level", json_object_new_int(level));
  json_object_object_add(r, "hotel", json_object_new_int(hotel_mode_get()));
  return r;
}

int volume_get(Context &ctx, Args all) {
  std::vector<char *> args;
  if (take_mode(all, args) != 0) return kUsage;
  int channel = 0;
  if (args.size() != 1 || !parse_channel(args[0], channel))
    return fail(kUsage, "CHANNEL is speaker, headset, handset or 1 to 3");
  int level = -1;
  hal_volume_config_get(channel, &level);
  if (level < 0) return fail(kRefused, "no level stored for the channel");
  print(ctx, level_object(channel, level));
  return kOk;
}

int volume_set(Context &ctx, Args all) {
  std::vector<char *> args;
  if (take_mode(all, args) != 0) return kUsage;
  int channel = 0;
  long level = 0;
  if (args.size() != 2) return fail(kUsage, "usage: phonectl volume set CHANNEL LEVEL [--mode MODE]");
  if (!parse_channel(args[0], channel)) return fail(kUsage, "CHANNEL is speaker, headset, handset or 1 to 3");
  if (!parse_int(args[1], 0, 15, level)) return fail(kUsage, "LEVEL is 0 to 15");
  if (hal_volume_config_set(channel, static_cast<int>(level)) != 0) return fail(kRefused, "the level was refused");
  print(ctx, level_object(channel, static_cast<int>(level)));
  return kOk;
}

int hotel_set(Context &ctx, int value) {
  if (hotel_mode_set(value) != 0) return fail(kRefused, "hal.cfg can't be read");
  json_object *r = json_object_new_object();
  json_object_object_add(r, "hotel", json_object_new_int(hotel_mode_get()));
  print(ctx, r);
  return kOk;
}
int hotel_on(Context &ctx, Args) { return hotel_set(ctx, 1); }
int hotel_off(Context &ctx, Args) { return hotel_set(ctx, 0); }
int hotel_get(Context &ctx, Args) {
  json_object *r = json_object_new_object();
  json_object_object_add(r, "hotel", json_object_new_int(hotel_mode_get()));
  print(ctx, r);
  return kOk;
}

constexpr Command kCommands[] = {
    {"volume", "get", "volume get CHANNEL [--mode MODE]",
     "the volume of CHANNEL (speaker, headset, handset) in the phone's audio mode, 0 to 15; --mode tone, ring or "
     "call switches the audio mode first; in hotel mode the guest's level",
     1, 1, volume_get},
    {"volume", "set", "volume set CHANNEL LEVEL [--mode MODE]",
     "store the volume of CHANNEL in the audio mode, 0 to 15, in hal.cfg; in hotel mode only until the "
     "configuration service restarts",
     2, 2, volume_set},
    {"hotel", "on", "hotel on", "hotel mode on: volume changes no longer reach hal.cfg", 0, 0, hotel_on},
    {"hotel", "off", "hotel off", "hotel mode off", 0, 0, hotel_off},
    {"hotel", "get", "hotel get", "whether hotel mode is on (1) or off (0)", 0, 0, hotel_get},
};

}  // namespace

std::span<const Command> device_commands() { return kCommands; }

}  // namespace phonectl
