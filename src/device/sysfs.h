// Writes and reads of the board's sysfs controls: one open, one write of
// the text, one close, as the kernel takes a control's value per write.
#ifndef PHONECORE_DEVICE_SYSFS_H
#define PHONECORE_DEVICE_SYSFS_H

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

namespace phonecore::device {

inline bool sysfs_write(const char* path, const char* text) {
  const int fd = ::open(path, O_WRONLY);
  if (fd < 0) return false;
  const ssize_t length = static_cast<ssize_t>(std::strlen(text));
  const bool ok = ::write(fd, text, static_cast<size_t>(length)) == length;
  ::close(fd);
  return ok;
}

}  // namespace phonecore::device

#endif
