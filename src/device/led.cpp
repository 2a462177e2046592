// The LEDs behind "/dev/zlt_led". The descriptor is shared by the process
// and opened on demand without a lock: one thread drives the lamps.

#include "phonecore/led.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

static_assert(sizeof(LedRequest) == 16);
static_assert(offsetof(LedRequest, num) == 0 && offsetof(LedRequest, mode) == 4 && offsetof(LedRequest, on_time) == 8 &&
              offsetof(LedRequest, off_time) == 12);
static_assert(LED_IOCTL_SET == _IOW(0xA9, 0xF4, int32_t));
static_assert(sizeof(VornLedRow) == 12);

// Only LED id 4 has a lamp on this board; the rows of the others say so.
VornLedRow vorn_led_list[] = {
    {4, 0, 0},  {4, 1, 0},  {0, 0, -1}, {0, 1, -1}, {1, 0, -1},   {1, 1, -1},
    {2, 0, -1}, {2, 1, -1}, {3, 0, -1}, {3, 1, -1}, {-1, -1, -1},
};

int led_ctrl_file_fd = 0;

namespace phonecore::device {
namespace {

constexpr const char* kLedDevice = "/dev/zlt_led";
constexpr int kLedTestPeriodUs = 2 * 1000 * 1000;

int send_request(int num, int mode, int on_time, int off_time) {
  LedRequest request{num, mode, on_time, off_time};
  return ::ioctl(led_ctrl_file_fd, LED_IOCTL_SET, &request) < 0 ? -1 : 0;
}

}  // namespace
}  // namespace phonecore::device

namespace dev = phonecore::device;

extern "C" {

int open_led_device(void) noexcept {
  led_ctrl_file_fd = ::open(dev::kLedDevice, O_RDWR);
  return led_ctrl_file_fd;
}

int close_led_device(void) noexcept {
  if (led_ctrl_file_fd > 0) ::close(led_ctrl_file_fd);
  led_ctrl_file_fd = -1;
  return 0;
}

int openLedGPIO(void) noexcept {
  open_led_device();
  return 1;
}

int closeLedGPIO(void) noexcept {
  close_led_device();
  return 0;
}

int vorn_set_led(int num, int mode, int time) noexcept {
  if (led_ctrl_file_fd < 1) open_led_device();
  return dev::send_request(num, mode, time / 4, time / 4);
}

int vorn_set_led_mode2(int num, int mode, int on_time, int off_time) noexcept {
  return dev::send_request(num, mode, on_time / 2, off_time / 2);
}

int switchLedLight(int id, int colour, int mode, int time) noexcept {
  if (time > 0) mode = LED_MODE_BLINK;
  for (const VornLedRow* row = vorn_led_list; row->id != -1; ++row)
    if (row->id == id) vorn_set_led(row->num, LED_MODE_OFF, 0);
  if (colour == -1) return 0;
  usleep(1000);
  for (const VornLedRow* row = vorn_led_list; row->id != -1; ++row) {
    if (row->id != id || row->colour != colour) continue;
    if (row->num != -1) {
      const int data = time < 0 ? 0 : time;
      vorn_set_led(row->num, mode, data);
      std::printf("------>lednum=%d, mode=%d,data=%d\n\r", row->num, mode, data);
    }
    break;
  }
  return 0;
}

int upgrade_led(void) noexcept {
  switchLedLight(4, 0, LED_MODE_ON, 250);
  return 0;
}

int led_test(void) noexcept {
  for (int lit = 0;; lit = 1 - lit) {
    vorn_set_led(0, LED_MODE_OFF, 0);
    vorn_set_led(1, LED_MODE_OFF, 0);
    vorn_set_led(lit, LED_MODE_ON, 0);
    usleep(dev::kLedTestPeriodUs);
  }
}

int open_device(const char* path) noexcept {
  const int fd = path != nullptr ? ::open(path, O_RDWR) : -1;
  if (fd < 0) {
    std::printf("device open fail %s\n", path != nullptr ? path : "(null)");
    return -1;
  }
  return fd;
}

int close_device(int fd) noexcept { return ::close(fd); }

int read_device(int fd, void* buf, int length) noexcept {
  if (length < 0) return -1;
  return static_cast<int>(::read(fd, buf, static_cast<size_t>(length)));
}

int write_device(int fd, const void* data, int length) noexcept {
  if (length < 0) return -1;
  return static_cast<int>(::write(fd, data, static_cast<size_t>(length)));
}

}  // extern "C"
