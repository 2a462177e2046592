// Any bytes as the caller's two scans of /mnt: counts and names as they
// come, unterminated ones too.

#include <cstdint>
#include <cstring>

#include "phonecore/usb_backup.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::memset(&usb_plist_cur, 0, sizeof usb_plist_cur);
  std::memset(&usb_plist_pre, 0, sizeof usb_plist_pre);
  const size_t first = size < sizeof usb_plist_cur ? size : sizeof usb_plist_cur;
  std::memcpy(&usb_plist_cur, data, first);
  const size_t second = size - first < sizeof usb_plist_pre ? size - first : sizeof usb_plist_pre;
  std::memcpy(&usb_plist_pre, data + first, second);
  const int any = find_new_fold();
  if (any != (usb_plist_new.count > 0 ? 1 : 0)) __builtin_trap();
  if (usb_plist_new.count < 0 || usb_plist_new.count > USB_FOLD_MAX) __builtin_trap();
  for (int i = 0; i < usb_plist_new.count; ++i)
    if (strnlen(usb_plist_new.name[i], USB_FOLD_NAME_SIZE) >= USB_FOLD_NAME_SIZE) __builtin_trap();
  return 0;
}
