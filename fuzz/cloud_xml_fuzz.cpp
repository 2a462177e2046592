// Any document as a cached cloud phone book: through a memfd's path into
// the four loaders (a directory into an array, into a book from its start
// and appended to it, a menu), the cheap look at the root and a search of
// that one book.

#include <mxml.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "directory/cloud_internal.h"
#include "phonecore/cloudbook.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The loaders trace their failures and every menu item.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 0;
  mxmlSetErrorCallback([](const char*) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const int fd = memfd_create("cloud_xml", MFD_CLOEXEC);
  if (fd < 0) return 0;
  for (size_t done = 0; done < size;) {
    const ssize_t n = write(fd, data + done, size - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  const std::string path = "/proc/self/fd/" + std::to_string(fd);

  std::vector<CloudEntry> entries(CLOUD_BOOK_LIST_ROOM);
  int count = 0;
  api_cloud_list_get(entries.data(), &count, path.c_str());
  if (count < 0 || count > CLOUD_BOOK_LIST_ROOM) __builtin_trap();

  auto book = std::make_unique<CloudBook>();
  api_cloud_list_get_write_local(book.get(), path.c_str());
  count = size > 0 ? data[0] + 100 : 0;  // 100 to 355: below, at and past a full book
  api_cloud_write_local(book.get(), path.c_str(), &count);
  if (count < 0 || count > CLOUD_BOOK_ENTRIES || book->count != count) __builtin_trap();

  std::vector<RemoteBookEntry> items(CLOUD_BOOK_LIST_ROOM);
  count = 0;
  api_cloud_list_get_Menuitem(items.data(), &count, path.c_str());
  if (count < 0 || count > CLOUD_BOOK_LIST_ROOM) __builtin_trap();

  phonecore::cloud::cached_is_menu(path.c_str());

  std::vector<ContactRecord> hits(CLOUD_BOOK_SEARCH_ROOM);
  for (const char* key : {"", "zs", "1"}) {
    count = 0;
    phonecore::cloud::search_book(path.c_str(), key, hits.data(), &count);
    if (count < 0 || count > CLOUD_BOOK_SEARCH_ROOM) __builtin_trap();
  }
  close(fd);
  return 0;
}
