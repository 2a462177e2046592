// GPIOs through sysfs: the hook switch and the audio path selectors of
// this board. Each call opens and closes its control; no state is kept.

#include "phonecore/gpio.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "device/sysfs.h"

namespace phonecore::device {
namespace {

constexpr const char* kExport = "/sys/class/gpio/export";
constexpr const char* kUnexport = "/sys/class/gpio/unexport";
constexpr int kHookGpio = 59;
constexpr int kAudioOut[] = {10, 9, 11};
constexpr int kAudioIn[] = {8, 6, 7};
constexpr int kValueBytes = 4;

// Each number is its own write: the kernel exports one GPIO per write, and
// a refused one (EBUSY when already exported) doesn't stop the others.
int write_numbers(const char* path, const int* gpios, int count) {
  if (gpios == nullptr || count < 1) return 0;
  const int fd = ::open(path, O_WRONLY);
  if (fd < 0) {
    std::printf("open file:%s failed.\n", path);
    return 0;
  }
  for (int i = 0; i < count; ++i) {
    char text[16];
    const int n = std::snprintf(text, sizeof text, "%d", gpios[i]);
    if (::write(fd, text, static_cast<size_t>(n)) < 0) continue;
  }
  ::close(fd);
  return 1;
}

// Selector 1, 2, 3 to the output raised; 0 for none.
struct OutSelector {
  int selector;
  int raised;
};
constexpr OutSelector kOutSelectors[] = {{1, 11}, {2, 10}, {3, 9}};

// Selector 1, 2, 3 to the levels of inputs 6 and 7 (8 is always low).
struct InSelector {
  int selector;
  int high6;
  int high7;
};
constexpr InSelector kInSelectors[] = {{1, 0, 0}, {2, 1, 1}, {3, 0, 1}};

}  // namespace
}  // namespace phonecore::device

namespace dev = phonecore::device;

extern "C" {

int openPort(const int* gpios, int count) noexcept { return dev::write_numbers(dev::kExport, gpios, count); }

int closePort(const int* gpios, int count) noexcept { return dev::write_numbers(dev::kUnexport, gpios, count); }

int setPortDirection(int gpio, int output, int high) noexcept {
  char path[64];
  std::snprintf(path, sizeof path, "/sys/class/gpio/gpio%d/direction", gpio);
  return dev::sysfs_write(path, output == 0 ? "in" : high != 0 ? "high" : "low") ? 1 : 0;
}

int readPortValue(int gpio, int* value) noexcept {
  char path[64];
  std::snprintf(path, sizeof path, "/sys/class/gpio/gpio%d/value", gpio);
  const int fd = ::open(path, O_RDONLY | O_NONBLOCK);
  if (fd < 0) return 0;
  char text[dev::kValueBytes + 1] = {};
  const ssize_t n = ::read(fd, text, dev::kValueBytes);
  ::close(fd);
  if (n < 0) return 0;
  if (value != nullptr) *value = std::atoi(text);
  return 1;
}

int initOutPort(const int* gpios, int count) noexcept {
  if (gpios == nullptr || count <= 0) return 0;
  for (int i = 0; i < count; ++i)
    if (setPortDirection(gpios[i], 1, 0) == 0) return 0;
  return 1;
}

int initInPort(const int* gpios, int count) noexcept {
  if (gpios == nullptr || count <= 0) return 0;
  for (int i = 0; i < count; ++i)
    if (setPortDirection(gpios[i], 0, 0) == 0) return 0;
  return 1;
}

int getHookStatus(void) noexcept {
  // Exported already after the first call: the kernel refuses with EBUSY
  // and the value is read all the same.
  openPort(&dev::kHookGpio, 1);
  int value = 0;
  return readPortValue(dev::kHookGpio, &value) == 1 ? value : -1;
}

int openAudioOutGPIO(int selector) noexcept {
  int raised = 0;
  for (const auto& row : dev::kOutSelectors)
    if (row.selector == selector) raised = row.raised;
  openPort(dev::kAudioOut, static_cast<int>(std::size(dev::kAudioOut)));
  for (int gpio : dev::kAudioOut) {
    const int r = setPortDirection(gpio, 1, gpio == raised);
    if (selector != 0 && r == 0) return r;
  }
  return selector == 0 ? 0 : 1;
}

int closeAudioOutGPIO(void) noexcept { return closePort(dev::kAudioOut, static_cast<int>(std::size(dev::kAudioOut))); }

int openAudioInGPIO(int selector) noexcept {
  if (selector == 0) return 0;
  const dev::InSelector* levels = nullptr;
  for (const auto& row : dev::kInSelectors)
    if (row.selector == selector) levels = &row;
  if (levels == nullptr) return 1;
  openPort(dev::kAudioIn, static_cast<int>(std::size(dev::kAudioIn)));
  const int r8 = setPortDirection(8, 1, 0);
  const int r6 = setPortDirection(6, 1, levels->high6);
  const int r7 = setPortDirection(7, 1, levels->high7);
  return r8 == 1 && r6 == 1 && r7 == 1 ? 1 : 0;
}

int closeAudioInGPIO(void) noexcept { return closePort(dev::kAudioIn, static_cast<int>(std::size(dev::kAudioIn))); }

}  // extern "C"
