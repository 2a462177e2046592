/* Volume levels and hotel mode, narrated: a level set on the speaker is
 * kept in hal.cfg; in hotel mode a guest's change goes to the volatile
 * table of the configuration service, and the file keeps the old level. */
#include <json-c/json.h>
#include <phonecore/config.h>
#include <phonecore/hal.h>
#include <phonecore/json_msg.h>
#include <stdio.h>

static int file_level(const char *key) {
  json_object *hal = read_gnl_config_json("hal.cfg");
  int level = get_int_from_json_rl(hal, 2, "audio", key);
  json_object_put(hal);
  return level;
}

int main(void) {
  int level = 0;
  switch_audio_channel(1);
  set_audio_mode(3);
  hal_volume_config_get(1, &level);
  printf("   speaker call volume: %d (hal.cfg says %d)\n", level, file_level("speaker-level-call"));
  hal_volume_config_set(1, 9);
  hal_volume_config_get(1, &level);
  printf("   set to 9: reads %d, hal.cfg says %d\n", level, file_level("speaker-level-call"));

  hotel_mode_set(1);
  printf("   hotel mode on (hotel_mode_get = %d)\n", hotel_mode_get());
  hal_volume_config_set(1, 4);
  hal_volume_config_get(1, &level);
  printf("   a guest sets 4: reads %d, hal.cfg still says %d\n", level, file_level("speaker-level-call"));

  hotel_mode_set(0);
  hal_volume_config_get(1, &level);
  printf("   hotel mode off (hotel_mode_get = %d): reads %d again\n", hotel_mode_get(), level);
  return level == 9 ? 0 : 1;
}
