// Factory storage on a 1 MiB partition (16 erase blocks of 64 KiB) with 100
// boot environment entries, in the phone box with its devices
// (phonebox run --devices). Each figure is set against a baseline measured
// in the same run: thread CPU time for the work, wall time for the sleeps.

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "phonecore/flash.h"
#include "phonecore/usb_backup.h"

namespace {

constexpr size_t kSize = 1024 * 1024;
constexpr size_t kBlock = 64 * 1024;

double thread_cpu_ms(const std::function<void()>& work, int times) {
  timespec a{}, b{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &a);
  for (int i = 0; i < times; ++i) work();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &b);
  return ((b.tv_sec - a.tv_sec) * 1e3 + (b.tv_nsec - a.tv_nsec) / 1e6) / times;
}

double wall_ms(const std::function<void()>& work) {
  const auto a = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - a).count();
}

void lay_out() {
  std::ofstream("/run/phonebox/mtd2.geometry") << "size " << kSize << "\nerasesize " << kBlock << "\n";
  std::string flash(kSize, '\xff');
  size_t at = 0x2000;
  for (int i = 0; i < 100; ++i) {
    const std::string entry = "key" + std::to_string(i) + "=value-of-entry-" + std::to_string(i);
    flash.replace(at, entry.size() + 1, entry + std::string(1, '\0'));
    at += entry.size() + 1;
  }
  std::ofstream("/dev/mtd2", std::ios::binary | std::ios::trunc) << flash;
}

// The whole partition read, and the entry found by memmem.
void read_all_and_find() {
  std::vector<char> image(kSize);
  const int fd = open("/dev/mtd2", O_RDWR | O_SYNC);
  size_t done = 0;
  while (done < kSize) {
    const ssize_t n = read(fd, image.data() + done, kSize - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  close(fd);
  if (memmem(image.data(), image.size(), "key99=", 6) == nullptr) std::puts("missing");
}

// Read, edit, erase every block, write the whole partition back.
void rewrite_all() {
  std::vector<char> image(kSize);
  const int fd = open("/dev/mtd2", O_RDWR | O_SYNC);
  size_t done = 0;
  while (done < kSize) {
    const ssize_t n = pread(fd, image.data() + done, kSize - done, static_cast<off_t>(done));
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  std::memcpy(image.data() + 0x2000, "key0=changed", 13);
  for (uint32_t at = 0; at < kSize; at += kBlock) {
    erase_info_user erase{at, static_cast<uint32_t>(kBlock)};
    ioctl(fd, MEMUNLOCK, &erase);
    ioctl(fd, MEMERASE, &erase);
  }
  pwrite(fd, image.data(), kSize, 0);
  close(fd);
}

// The sleeps of one mtd_write on 16 blocks, bare.
void bare_sleeps() {
  usleep(100 * 1000);
  for (size_t b = 0; b < kSize / kBlock; ++b) usleep(10 * 1000);
  usleep(10 * 1000);
  usleep(100 * 1000);
  usleep(100 * 1000);
  usleep(100 * 1000);
  usleep(50 * 1000);  // the read of the environment
}

// A camera card of 50 MiB (200 photos of 256 KiB) and an 80 GB disk.
void lay_out_card() {
  std::system("rm -rf /mnt/cam /mnt/disk80 /tmp/cp_target && mkdir -p /mnt/cam/DCIM /mnt/disk80 /tmp/cp_target");
  std::ofstream("/run/phonebox/volumes") << "disk80 83886080 41943040\n";
  const std::string photo(256 * 1024, 'p');
  for (int i = 0; i < 200; ++i) std::ofstream("/mnt/cam/DCIM/img" + std::to_string(i) + ".jpg") << photo;
  std::ofstream("/etc/quorbit/configinfo.conf") << "quorbit_beef=/mnt/cam/DCIM\n";
}

}  // namespace

int main() {
  lay_out();
  char out[64];
  const double get = thread_cpu_ms([&] { get_ubootparam_bykey("key99", out, sizeof out); }, 20);
  const double scan = thread_cpu_ms(read_all_and_find, 20);
  std::printf("get_ubootparam_bykey (last of 100)   %8.3f ms CPU   whole read + memmem %8.3f ms   ratio %.2f\n", get,
              scan, get / scan);

  const double set = thread_cpu_ms([] { set_ubootparam_bykey("key0", "changed"); }, 5);
  lay_out();
  const double whole = thread_cpu_ms(rewrite_all, 5);
  std::printf("set_ubootparam_bykey                 %8.3f ms CPU   read-edit-erase-write %6.3f ms   ratio %.2f\n", set,
              whole, set / whole);

  // What the sleeps alone cost the thread (timer set-up and wake-up), for
  // one get and one set: the part of the two figures above that the
  // baselines have no counterpart for.
  const double get_sleep = thread_cpu_ms([] { usleep(50 * 1000); }, 20);
  const double set_sleeps = thread_cpu_ms(bare_sleeps, 2);
  std::printf("CPU of the sleeps alone: get %.3f ms, set %.3f ms\n", get_sleep, set_sleeps);
  // The baseline made behind the same sleep as the get: what the work costs
  // once the sleep has left the caches cold.
  const double scan_slept = thread_cpu_ms(
      [] {
        usleep(50 * 1000);
        read_all_and_find();
      },
      20);
  std::printf("whole read + memmem behind the get's sleep %.3f ms CPU; the get against it: ratio %.2f\n", scan_slept,
              get / scan_slept);
  lay_out();
  const double set_wall = wall_ms([] { set_ubootparam_bykey("key1", "again"); });
  const double sleeps = wall_ms(bare_sleeps);
  std::printf("set_ubootparam_bykey wall            %8.1f ms       its sleeps alone      %6.1f ms   ratio %.3f\n",
              set_wall, sleeps, set_wall / sleeps);

  lay_out_card();
  find_back_up_device();
  std::fflush(stdout);
  const int saved = dup(1);
  std::freopen("/dev/null", "w", stdout);  // the library's traces
  const double first = wall_ms([] { recvcmd("quorbit_beef", 1); });
  const double again = wall_ms([] { recvcmd("quorbit_beef", 1); });
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
  const double cp_first = wall_ms([] { std::system("cp -rn /mnt/cam/DCIM/. /tmp/cp_target/"); });
  const double cp_again = wall_ms([] { std::system("cp -rn /mnt/cam/DCIM/. /tmp/cp_target/"); });
  std::printf("recvcmd backup of 50 MiB, first      %8.1f ms       cp -rn                %6.1f ms   ratio %.2f\n",
              first, cp_first, first / cp_first);
  std::printf("recvcmd backup of 50 MiB, again      %8.1f ms       cp -rn                %6.1f ms   ratio %.2f\n",
              again, cp_again, again / cp_again);
  return 0;
}
