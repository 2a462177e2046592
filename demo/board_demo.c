/* The board, narrated: the hook switch, the backlight at its stored level
 * and dimmed, the upgrade blink, a blank flash given its MAC, serial and a
 * boot variable, the chip id, and a camera card backed up to a large disk.
 * Run in a phone box with its devices (box/phonebox run --devices), after
 * /run/phonebox/chip_id, the volumes "cam" and "disk80" and their table in
 * /run/phonebox/volumes are laid out. */
#include <phonecore/backlight.h>
#include <phonecore/flash.h>
#include <phonecore/gpio.h>
#include <phonecore/led.h>
#include <phonecore/usb_backup.h>
#include <stdio.h>
#include <string.h>

static void scan(void) {
  usb_plist_pre = usb_plist_cur;
  trave_dir("/mnt", &usb_plist_cur);
  if (find_new_fold()) {
    find_back_up_device();
    process_img_backup();
  }
}

int main(void) {
  printf("   hook switch (GPIO 59): %d\n", getHookStatus());

  int level = 0, power_save = 0, time = 0;
  config_advance_hardware(0, &level, &power_save, &time);
  switchLcdBackLight(1);
  printf("   backlight on at %d %% (duty %d of 1000)\n", level, change_backlight_new(level, 5, 60));
  switchLcdBackLight(0);
  printf("   backlight off with power saving %d: %s\n", power_save,
         power_save == 0   ? "dimmed (duty 5)"
         : power_save == 1 ? "dark (duty 0)"
                           : "left as it was");
  upgrade_led();
  printf("   upgrade indication: LED 4 blinks\n");

  char env[64];
  printf("   blank flash: bootdelay reads %d\n", get_ubootparam_bykey("bootdelay", env, sizeof env));
  write_mac_sn_times("2026-11-23 12:00", "00:1a:2b:3c:4d:5e", "SN-0042");
  set_ubootparam_bykey("bootdelay", "3");
  get_ubootparam_bykey("bootdelay", env, sizeof env);
  char mac[MAC_TEXT_SIZE];
  mac_readstring(1, mac);
  char made[FACTORY_TEXT_SIZE], mac_text[FACTORY_TEXT_SIZE], serial[FACTORY_TEXT_SIZE], id[CHIP_ID_TEXT_SIZE];
  if (read_time_mac_sn_uuid(made, mac_text, serial, id) != 0) strcpy(id, "(none)");
  printf("   factory data: MAC %s, serial %s, made %s, bootdelay=%s, chip %s\n", mac, serial, made, env, id);

  scan();
  printf("   camera card inserted: marked, backup disk %s (%llu kB)\n", backup_device.path,
         (unsigned long long)backup_device.total_kb);
  usb_plist_cur.count = 0; /* taken out */
  scan();
  printf("   inserted again: its photos are copied\n");
  return 0;
}
