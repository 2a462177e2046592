// phonectl board: the board's drivers, factory storage and USB backup.
#include <phonecore/backlight.h>
#include <phonecore/flash.h>
#include <phonecore/gpio.h>
#include <phonecore/led.h>
#include <phonecore/uart.h>
#include <phonecore/usb_backup.h>
#include <phonecore/watchdog.h>
#include <termios.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "phonectl.h"

namespace phonectl {
namespace {

json_object *str(std::string_view s) { return json_object_new_string_len(s.data(), static_cast<int>(s.size())); }

json_object *result_object(int result) {
  json_object *r = json_object_new_object();
  json_object_object_add(r, "result", json_object_new_int(result));
  return r;
}

// GPIO numbers of the command line; false after a usage error.
bool gpio_numbers(Args args, std::vector<int> &out) {
  for (char *a : args) {
    long n = 0;
    if (!parse_int(a, 0, 1023, n)) {
      fail(kUsage, "a GPIO number is 0 to 1023");
      return false;
    }
    out.push_back(static_cast<int>(n));
  }
  return !out.empty() || (fail(kUsage, "name at least one GPIO number"), false);
}

int board_gpio(Context &ctx, Args args) {
  const std::string_view action = args[0];
  std::vector<int> numbers;
  if (action == "export" || action == "unexport") {
    if (!gpio_numbers(args.subspan(1), numbers)) return kUsage;
    const int count = static_cast<int>(numbers.size());
    const int r = action == "export" ? openPort(numbers.data(), count) : closePort(numbers.data(), count);
    print(ctx, result_object(r));
    return r == 1 ? kOk : fail(kRefused, "the GPIO control file can't be opened");
  }
  if (action == "dir") {
    // dir N in|high|low
    if (args.size() != 3 || !gpio_numbers(args.subspan(1, 1), numbers))
      return fail(kUsage, "usage: phonectl board gpio dir N in|high|low");
    const std::string_view d = args[2];
    if (d != "in" && d != "high" && d != "low") return fail(kUsage, "the direction is in, high or low");
    const int r = setPortDirection(numbers[0], d != "in", d == "high");
    print(ctx, result_object(r));
    return r == 1 ? kOk : fail(kRefused, "the direction can't be written");
  }
  if (action == "get") {
    if (!gpio_numbers(args.subspan(1), numbers)) return kUsage;
    json_object *r = json_object_new_object();
    bool all = true;
    for (int n : numbers) {
      int value = -1;
      if (readPortValue(n, &value) != 1) {
        all = false;
        value = -1;
      }
      json_object_object_add(r, std::to_string(n).c_str(), json_object_new_int(value));
    }
    print(ctx, r);
    return all ? kOk : fail(kRefused, "a value can't be read (not exported?)");
  }
  return fail(kUsage, "usage: phonectl board gpio export|unexport|dir|get N...");
}

int board_hook(Context &ctx, Args) {
  const int r = getHookStatus();
  json_object *o = json_object_new_object();
  json_object_object_add(o, "hook", json_object_new_int(r));
  print(ctx, o);
  return r < 0 ? fail(kRefused, "the hook switch can't be read") : kOk;
}

int board_audio(Context &ctx, Args args) {
  const std::string_view way = args[0];
  long selector = 0;
  if ((way != "out" && way != "in") || !parse_int(args[1], -1000, 1000, selector))
    return fail(kUsage, "usage: phonectl board audio out|in SELECTOR");
  const int s = static_cast<int>(selector);
  print(ctx, result_object(way == "out" ? openAudioOutGPIO(s) : openAudioInGPIO(s)));
  return kOk;
}

int board_backlight(Context &ctx, Args args) {
  const std::string_view action = args[0];
  if ((action == "on" || action == "off") && args.size() == 1) {
    switchLcdBackLight(action == "on" ? 1 : 0);
    json_object *o = json_object_new_object();
    json_object_object_add(o, "on", json_object_new_int(lcd_backlight_on));
    print(ctx, o);
    return kOk;
  }
  if (action == "level" && args.size() == 2) {
    long level = 0;
    if (!parse_int(args[1], 0, 100, level)) return fail(kUsage, "the level is 0 to 100 (percent)");
    int stored = 0, power_save = 0, time = 0;
    config_advance_hardware(0, &stored, &power_save, &time);
    int l = static_cast<int>(level);
    config_advance_hardware(1, &l, &power_save, &time);
    json_object *o = json_object_new_object();
    json_object_object_add(o, "level", json_object_new_int(l));
    json_object_object_add(o, "duty", json_object_new_int(change_backlight_new(l, 5, 60)));
    print(ctx, o);
    return kOk;
  }
  if (action == "level" && args.size() == 1) {
    int level = 0, power_save = 0, time = 0;
    config_advance_hardware(0, &level, &power_save, &time);
    json_object *o = json_object_new_object();
    json_object_object_add(o, "level", json_object_new_int(level));
    json_object_object_add(o, "power_save", json_object_new_int(power_save));
    json_object_object_add(o, "time", json_object_new_int(time));
    print(ctx, o);
    return kOk;
  }
  return fail(kUsage, "usage: phonectl board backlight on|off|level [PERCENT]");
}

int board_led(Context &ctx, Args args) {
  const std::string_view first = args[0];
  if (first == "test") {
    if (args.size() != 1) return fail(kUsage, "usage: phonectl board led test");
    led_test();  // never returns
    return kOk;
  }
  const bool raw = first == "raw";
  const Args numbers = raw ? args.subspan(1) : args;
  if (numbers.size() != (raw ? 3u : 4u))
    return fail(kUsage, "usage: phonectl board led ID COLOUR MODE TIME | led raw NUMBER MODE TIME | led test");
  long v[4] = {};
  for (size_t i = 0; i < numbers.size(); ++i)
    if (!parse_int(numbers[i], -1000000, 1000000, v[i])) return fail(kUsage, "LED arguments are whole numbers");
  const int r = raw ? vorn_set_led(static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2]))
                    : switchLedLight(static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2]),
                                     static_cast<int>(v[3]));
  print(ctx, result_object(r));
  return r < 0 ? fail(kRefused, "the LED device refused the request") : kOk;
}

// Line speeds to their termios constants.
struct Speed {
  long bits;
  speed_t constant;
};
constexpr Speed kSpeeds[] = {{1200, B1200},   {2400, B2400},   {4800, B4800},   {9600, B9600},
                             {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}};

// uart PATH SPEED send TEXT [NEEDLE] | recv [PASSES]
int board_uart(Context &ctx, Args all) {
  std::vector<char *> args;
  Options o{"--passes"};
  if (!take_options(all, o, args)) return kUsage;
  long passes = 1;
  if (o.given[0] && !parse_int(o.values[0].c_str(), 1, 100, passes)) return fail(kUsage, "--passes is 1 to 100");
  if (args.size() < 3) return fail(kUsage, "usage: phonectl board uart PATH SPEED send TEXT [NEEDLE] | recv");
  long bits = 0;
  const Speed *speed = nullptr;
  if (parse_int(args[1], 1, 10000000, bits))
    for (const Speed &s : kSpeeds)
      if (s.bits == bits) speed = &s;
  if (speed == nullptr) return fail(kUsage, "SPEED is one of 1200 2400 4800 9600 19200 38400 57600 115200");
  const std::string_view action = args[2];
  const bool send = action == "send" && (args.size() == 4 || args.size() == 5);
  if (!send && !(action == "recv" && args.size() == 3))
    return fail(kUsage, "usage: phonectl board uart PATH SPEED send TEXT [NEEDLE] | recv");
  const int fd = UART_Open(0, args[0]);
  if (fd < 0) return fail(kRefused, std::string("can't open ") + args[0]);
  UART_Init(fd, static_cast<int>(speed->constant));
  json_object *r = json_object_new_object();
  static char buf[UART_RECV_MAX];
  int got = 0;
  if (send) {
    // The text goes out with a CR, as a terminal sends a line; the answer
    // is read until a line holds NEEDLE ("OK" when not given).
    const std::string line = std::string(args[3]) + "\r";
    const int sent = UART_Send(fd, line.data(), static_cast<int>(line.size()));
    json_object_object_add(r, "sent", json_object_new_int(sent));
    got = sent < 0 ? 0 : UART_Recv_3(fd, buf, args.size() == 5 ? args[4] : "OK", static_cast<int>(passes));
  } else {
    got = UART_Recv_2(fd, buf, static_cast<int>(passes));
  }
  UART_Close(fd);
  json_object_object_add(r, "received", json_object_new_int(got));
  json_object_object_add(r, "text", str(std::string_view(buf, static_cast<size_t>(got))));
  print(ctx, r);
  return kOk;
}

// wdt init SECONDS | kick | exit ..., in order, in one process: the
// device is this process's while it runs.
int board_wdt(Context &ctx, Args args) {
  json_object *r = json_object_new_array();
  int status = kOk;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view a = args[i];
    json_object *step = json_object_new_object();
    int result = 0;
    if (a == "init") {
      long seconds = 0;
      if (i + 1 >= args.size() || !parse_int(args[i + 1], 1, 3600, seconds)) {
        json_object_put(step);
        json_object_put(r);
        return fail(kUsage, "init takes the timeout in seconds, 1 to 3600");
      }
      ++i;
      result = watchdog_init(static_cast<int>(seconds));
    } else if (a == "kick") {
      result = watchdog_keepalive();
    } else if (a == "exit") {
      result = watchdog_exit();
    } else {
      json_object_put(step);
      json_object_put(r);
      return fail(kUsage, "usage: phonectl board wdt init SECONDS|kick|exit ...");
    }
    json_object_object_add(step, "step", str(a));
    json_object_object_add(step, "result", json_object_new_int(result));
    json_object_array_add(r, step);
    if (result < 0) status = kRefused;
  }
  print(ctx, r);
  return status == kOk ? kOk : fail(kRefused, "the watchdog refused a step");
}

int board_reset(Context &ctx, Args) {
  print(ctx, result_object(factory_reset_hal()));
  return kOk;
}

std::string hex(const unsigned char *bytes, size_t n) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < n; ++i) {
    out.push_back(kDigits[bytes[i] >> 4]);
    out.push_back(kDigits[bytes[i] & 15]);
  }
  return out;
}

bool unhex(std::string_view text, std::vector<unsigned char> &out) {
  if (text.size() % 2 != 0) return false;
  auto digit = [](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  for (size_t i = 0; i < text.size(); i += 2) {
    const int hi = digit(text[i]), lo = digit(text[i + 1]);
    if (hi < 0 || lo < 0) return false;
    out.push_back(static_cast<unsigned char>(hi * 16 + lo));
  }
  return true;
}

int flash_dump(Context &ctx, Args args) {
  long offset = 0, length = 0;
  if (args.size() != 2 || !parse_int(args[0], 0, 1 << 30, offset) || !parse_int(args[1], 1, 65536, length))
    return fail(kUsage, "usage: phonectl board flash dump OFFSET LENGTH (at most 65536 bytes)");
  std::vector<unsigned char> bytes(static_cast<size_t>(length));
  if (mtd_read("/dev/mtd2", bytes.data(), static_cast<int>(offset), static_cast<int>(length)) != 0)
    return fail(kRefused, "the partition can't be read there");
  print(ctx, str(hex(bytes.data(), bytes.size())));
  return kOk;
}

int flash_env(Context &ctx, Args args) {
  const std::string_view action = args.empty() ? "" : args[0];
  if (action == "get" && args.size() == 2) {
    char value[UBOOTENV_VALUE_SIZE];
    const int r = get_ubootparam_bykey(args[1], value, sizeof value);
    if (r == -1) return fail(kRefused, "the boot environment is blank or unreadable");
    if (r == -2) return fail(kRefused, std::string("no ") + args[1] + " in the boot environment");
    print(ctx, str(value));
    return kOk;
  }
  if (action == "set" && (args.size() == 2 || args.size() == 3)) {
    // Without a value the key is removed.
    const int r = set_ubootparam_bykey(args[1], args.size() == 3 ? args[2] : "");
    print(ctx, result_object(r));
    return r < 0 ? fail(kRefused, "the boot environment was not written") : kOk;
  }
  if (action == "list" && args.size() == 1) {
    static char block[UBOOTENV_SIZE];
    if (read_ubootenv(block) != 0) return fail(kRefused, "the boot environment is blank or unreadable");
    json_object *r = json_object_new_array();
    for (size_t at = 0; at < UBOOTENV_SIZE;) {
      size_t end = at;
      while (end < UBOOTENV_SIZE && block[end] != '\0' && static_cast<unsigned char>(block[end]) != 0xFF) ++end;
      if (end > at) json_object_array_add(r, str(std::string_view(block + at, end - at)));
      at = end + 1;
    }
    print(ctx, r);
    return kOk;
  }
  return fail(kUsage, "usage: phonectl board flash env list | get KEY | set KEY [VALUE]");
}

int flash_mac(Context &ctx, Args args) {
  long index = 1;
  if (args.size() > 1 || (args.size() == 1 && !parse_int(args[0], 0, 2, index)))
    return fail(kUsage, "usage: phonectl board flash mac [INDEX 0 to 2]");
  char text[MAC_TEXT_SIZE];
  if (mac_readstring(static_cast<int>(index), text) != 0) return fail(kRefused, "the partition can't be read");
  print(ctx, str(text));
  return kOk;
}

int flash_factory(Context &ctx, Args args) {
  if (args.size() == 3) {
    write_mac_sn_times(args[0], args[1], args[2]);
  } else if (!args.empty()) {
    return fail(kUsage, "usage: phonectl board flash factory [TIME MAC SERIAL]");
  }
  char time[FACTORY_TEXT_SIZE + 1] = {}, mac[FACTORY_TEXT_SIZE + 1] = {}, serial[FACTORY_TEXT_SIZE + 1] = {};
  char uuid[CHIP_ID_TEXT_SIZE] = {};
  const int r = read_time_mac_sn_uuid(time, mac, serial, uuid);
  json_object *o = json_object_new_object();
  auto text = [](const char *field) { return str(std::string_view(field, strnlen(field, FACTORY_TEXT_SIZE))); };
  json_object_object_add(o, "time", text(time));
  json_object_object_add(o, "mac", text(mac));
  json_object_object_add(o, "serial", text(serial));
  json_object_object_add(o, "id", r == 0 ? str(uuid) : nullptr);
  print(ctx, o);
  return kOk;
}

int flash_id(Context &ctx, Args args) {
  if (!args.empty()) return fail(kUsage, "usage: phonectl board flash id");
  char time[FACTORY_TEXT_SIZE + 1], mac[FACTORY_TEXT_SIZE + 1], serial[FACTORY_TEXT_SIZE + 1];
  char uuid[CHIP_ID_TEXT_SIZE] = {};
  if (read_time_mac_sn_uuid(time, mac, serial, uuid) != 0) return fail(kRefused, "the chip id can't be read");
  print(ctx, str(uuid));
  return kOk;
}

int flash_qq(Context &ctx, Args args) {
  long index = 0;
  if (args.empty() || args.size() > 2 || !parse_int(args[0], 0, QQ_INFO_COUNT - 1, index))
    return fail(kUsage, "usage: phonectl board flash qq INDEX [HEX]");
  const int i = static_cast<int>(index);
  if (args.size() == 2) {
    std::vector<unsigned char> data;
    if (!unhex(args[1], data) || data.empty()) return fail(kUsage, "HEX is pairs of hexadecimal digits");
    if (static_cast<int>(data.size()) > qq_info_list[i].size) return fail(kUsage, "HEX is longer than the record");
    int length = static_cast<int>(data.size());
    if (WriteQQIotInfo(i, data.data(), &length) != 0) return fail(kRefused, "the record was not written");
  }
  unsigned char record[QQ_INFO_MAX];
  int length = 0;
  if (ReadQQIotInfo(i, record, &length) != 0) return fail(kRefused, "the record can't be read");
  print(ctx, str(hex(record, static_cast<size_t>(length))));
  return kOk;
}

struct FlashAction {
  std::string_view name;
  int (*run)(Context &, Args);
};
constexpr FlashAction kFlashActions[] = {
    {"dump", flash_dump}, {"env", flash_env},         {"mac", flash_mac},
    {"id", flash_id},     {"factory", flash_factory}, {"qq", flash_qq},
};

int board_flash(Context &ctx, Args args) {
  for (const FlashAction &a : kFlashActions)
    if (a.name == args[0]) return a.run(ctx, args.subspan(1));
  return fail(kUsage, "usage: phonectl board flash dump|env|mac|id|factory|qq ...");
}

json_object *fold_list(const UsbFoldList &list) {
  json_object *a = json_object_new_array();
  const int count = list.count < 0 ? 0 : (list.count > USB_FOLD_MAX ? USB_FOLD_MAX : list.count);
  for (int i = 0; i < count; ++i)
    json_object_array_add(a, str(std::string_view(list.name[i], strnlen(list.name[i], USB_FOLD_NAME_SIZE))));
  return a;
}

// The caller the library leaves open: one round of its scan loop. The
// volumes of /mnt become usb_plist_cur, those of the tool's previous round
// (kept in a file, as each run is a process of its own) usb_plist_pre; the
// new ones are marked and, when they were seen before, copied to the disk.
constexpr const char *kScanState = "/tmp/phonectl_usb_scan";

void load_previous(UsbFoldList &list) {
  std::memset(&list, 0, sizeof list);
  FILE *f = std::fopen(kScanState, "re");
  if (f == nullptr) return;
  char line[USB_FOLD_NAME_SIZE + 2];
  while (list.count < USB_FOLD_MAX && std::fgets(line, sizeof line, f) != nullptr) {
    line[std::strcspn(line, "\n")] = '\0';
    if (line[0] == '\0') continue;
    const size_t n = strnlen(line, USB_FOLD_NAME_SIZE - 1);
    std::memcpy(list.name[list.count], line, n);
    list.name[list.count++][n] = '\0';
  }
  std::fclose(f);
}

void save_current(const UsbFoldList &list) {
  FILE *f = std::fopen(kScanState, "we");
  if (f == nullptr) return;
  const int count = list.count < 0 ? 0 : (list.count > USB_FOLD_MAX ? USB_FOLD_MAX : list.count);
  for (int i = 0; i < count; ++i)
    std::fprintf(f, "%.*s\n", static_cast<int>(strnlen(list.name[i], USB_FOLD_NAME_SIZE)), list.name[i]);
  std::fclose(f);
}

int usb_scan(Context &ctx) {
  load_previous(usb_plist_pre);
  std::memset(&usb_plist_cur, 0, sizeof usb_plist_cur);
  if (trave_dir("/mnt", &usb_plist_cur) < 0) return fail(kRefused, "/mnt can't be listed");
  find_new_fold();
  find_back_up_device();
  process_img_backup();
  save_current(usb_plist_cur);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "volumes", fold_list(usb_plist_cur));
  json_object_object_add(o, "new", fold_list(usb_plist_new));
  json_object_object_add(o, "disk",
                         backup_device.found
                             ? str(std::string_view(backup_device.path, strnlen(backup_device.path, USB_PATH_SIZE)))
                             : nullptr);
  print(ctx, o);
  return kOk;
}

// The phone box's stand-in cards and disks: a folder /mnt/NAME and its
// size in the box's volume table, which the preloaded devices answer
// statfs from ("NAME TOTAL_KB FREE_KB" lines; half of it free).
constexpr const char *kVolumeTable = "/run/phonebox/volumes";
constexpr long kMaxGb = 100000;
constexpr long kMaxPhotos = 10000;

bool plain_volume_name(std::string_view name) {
  return !name.empty() && name.size() < USB_FOLD_NAME_SIZE && name != "." && name != ".." &&
         name.find('/') == std::string_view::npos;
}

// The table without NAME's line, and whether it had one.
bool volume_table_without(std::string_view name, std::string &rest) {
  bool had = false;
  std::ifstream in(kVolumeTable);
  for (std::string line; std::getline(in, line);) {
    const std::string_view listed = std::string_view(line).substr(0, line.find(' '));
    if (listed == name) had = true;
    else if (!line.empty()) rest += line + "\n";
  }
  return had;
}

bool write_volume_table(const std::string &text) {
  std::ofstream out(kVolumeTable, std::ios::trunc);
  out << text;
  return static_cast<bool>(out.flush());
}

int usb_plug(Context &ctx, const std::vector<char *> &args, const Options &o) {
  long gb = 0, photos = 0;
  if (!plain_volume_name(args[1])) return fail(kUsage, "NAME is one folder name below /mnt");
  if (!parse_int(args[2], 1, kMaxGb, gb)) return fail(kUsage, "GB is 1 to 100000");
  if (o.given[0] && !parse_int(o.values[0].c_str(), 0, kMaxPhotos, photos))
    return fail(kUsage, "--dcim is 0 to 10000 photos");
  namespace fs = std::filesystem;
  const fs::path volume = fs::path("/mnt") / args[1];
  std::error_code ec;
  fs::create_directories(volume, ec);
  if (ec) return fail(kRefused, "can't make " + volume.string());
  const unsigned long long total_kb = static_cast<unsigned long long>(gb) * 1024 * 1024;
  std::string table;
  volume_table_without(args[1], table);
  table += std::string(args[1]) + " " + std::to_string(total_kb) + " " + std::to_string(total_kb / 2) + "\n";
  if (!write_volume_table(table)) return fail(kRefused, std::string("can't write ") + kVolumeTable);
  if (o.given[0]) {
    fs::create_directories(volume / "DCIM", ec);
    for (long i = 1; i <= photos && !ec; ++i) {
      char name[32];
      std::snprintf(name, sizeof name, "IMG_%04ld.JPG", i);
      std::ofstream(volume / "DCIM" / name) << "photo " << i << " of " << args[1] << "\n";
    }
    if (ec) return fail(kRefused, "can't make " + (volume / "DCIM").string());
  }
  json_object *r = json_object_new_object();
  json_object_object_add(r, "volume", str(volume.string()));
  json_object_object_add(r, "total_kb", json_object_new_int64(static_cast<int64_t>(total_kb)));
  json_object_object_add(r, "photos", json_object_new_int(static_cast<int>(photos)));
  print(ctx, r);
  return kOk;
}

int usb_unplug(Context &ctx, const char *name) {
  if (!plain_volume_name(name)) return fail(kUsage, "NAME is one folder name below /mnt");
  namespace fs = std::filesystem;
  std::error_code ec;
  std::string table;
  const bool listed = volume_table_without(name, table);
  const bool present = fs::exists(fs::path("/mnt") / name, ec);
  if (!listed && !present) return fail(kRefused, std::string("no volume ") + name);
  fs::remove_all(fs::path("/mnt") / name, ec);
  if (ec) return fail(kRefused, std::string("can't remove /mnt/") + name);
  if (listed && !write_volume_table(table)) return fail(kRefused, std::string("can't write ") + kVolumeTable);
  print(ctx, result_object(0));
  return kOk;
}

int board_usb(Context &ctx, Args all) {
  std::vector<char *> args;
  Options o{"--dcim"};
  if (!take_options(all, o, args)) return kUsage;
  if (args.empty())
    return fail(kUsage, "usage: phonectl board usb scan | backup ID | restore ID | plug NAME GB | unplug NAME");
  const std::string_view action = args[0];
  if (action == "plug" && args.size() == 3) return usb_plug(ctx, args, o);
  if (o.given[0]) return fail(kUsage, "--dcim goes with plug");
  if (action == "unplug" && args.size() == 2) return usb_unplug(ctx, args[1]);
  if (action == "scan" && args.size() == 1) return usb_scan(ctx);
  if ((action == "restore" || action == "backup") && args.size() == 2) {
    find_back_up_device();
    const int r = recvcmd(args[1], action == "backup" ? 1 : 0);
    print(ctx, result_object(r));
    return r == 0 ? kOk : fail(kRefused, "no disk or no folder of that id");
  }
  return fail(kUsage, "usage: phonectl board usb scan | backup ID | restore ID | plug NAME GB | unplug NAME");
}

// The phone box's record of the board's devices, one act a line.
constexpr const char *kDeviceLog = "/run/phonebox/devices.log";

int board_dev(Context &ctx, Args args) {
  if (std::string_view(args[0]) != "log") return fail(kUsage, "usage: phonectl board dev log");
  std::ifstream in(kDeviceLog);
  if (!in) return fail(kRefused, "no device log (the phone box with --devices keeps one)");
  json_object *lines = json_object_new_array();
  std::string text;
  for (std::string line; std::getline(in, line);) {
    json_object_array_add(lines, str(line));
    text += line + "\n";
  }
  if (ctx.json) {
    json_object *r = json_object_new_object();
    json_object_object_add(r, "log", lines);
    print(ctx, r);
  } else {
    json_object_put(lines);
    std::fputs(text.c_str(), ctx.out);
  }
  return kOk;
}

constexpr Command kCommands[] = {
    {"board", "gpio", "board gpio export|unexport|dir|get N...",
     "export or unexport GPIO numbers, set one's direction (dir N in|high|low), read values", 2, -1, board_gpio},
    {"board", "hook", "board hook", "the hook switch (GPIO 59): 1 on hook, 0 off, -1 unreadable", 0, 0, board_hook},
    {"board", "audio", "board audio out|in SELECTOR",
     "route audio through the GPIO selectors: out 1 to 3 (0 all low), in 1 to 3 (0 nothing)", 2, 2, board_audio},
    {"board", "backlight", "board backlight on|off|level [PERCENT]",
     "switch the LCD backlight, or read or store its level (the duty follows at once)", 1, 2, board_backlight},
    {"board", "led", "board led ID COLOUR MODE TIME | led raw NUMBER MODE TIME | led test",
     "set a lamp by id and colour (mode 0 off, 1 on, 2 blink; a time blinks), the driver directly, or run the "
     "endless LED test",
     1, 4, board_led},
    {"board", "uart", "board uart PATH SPEED send TEXT [NEEDLE] | recv [--passes N]",
     "send a line and read the answer up to a line holding NEEDLE (default OK), or read what comes; each pass "
     "waits up to 2 s",
     3, 5, board_uart},
    {"board", "wdt", "board wdt init SECONDS|kick|exit ...",
     "watchdog steps in order, in this process: open with a timeout, keep alive, disable and close", 1, -1, board_wdt},
    {"board", "reset", "board reset", "put /appconfigs back to the factory's files (dot-files stay)", 0, 0,
     board_reset},
    {"board", "flash", "board flash dump|env|mac|id|factory|qq ...",
     "factory storage: dump OFFSET LENGTH, env list|get KEY|set KEY [VALUE], mac [INDEX], id, factory [TIME MAC "
     "SERIAL], qq INDEX [HEX]; each write erases the whole partition",
     1, 4, board_flash},
    {"board", "usb", "board usb scan | backup ID | restore ID | plug NAME GB [--dcim N] | unplug NAME",
     "one round of camera-card backup: the volumes of /mnt not there at the previous round are new; a new card "
     "is marked, a marked one copied to the largest disk above 50 GB; or one id's folder copied to or back from it. "
     "In the phone box, plug puts a stand-in volume /mnt/NAME of GB gigabytes (half free; N photos in DCIM) and "
     "unplug takes it away",
     1, 3, board_usb},
    {"board", "dev", "board dev log", "the phone box's record of the board's devices, one act a line", 1, 1, board_dev},
};

}  // namespace

std::span<const Command> board_commands() { return kCommands; }

}  // namespace phonectl
