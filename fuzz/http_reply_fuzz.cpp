// The HTTP client's callbacks on any bytes: the Content-Length scan of a
// header line as libcurl gives it (not terminated), the upload's part
// reader at every size and count of items, and the progress arithmetic on
// any 64-bit amounts. The part reader must deliver head, file and tail
// whole and in order, whatever the room of each call.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "phonecore/http_client.h"
#include "remote/http_client_internal.h"

namespace {

int64_t take64(const uint8_t*& data, size_t& size) {
  int64_t v = 0;
  const size_t k = size < sizeof v ? size : sizeof v;
  std::memcpy(&v, data, k);
  data += k;
  size -= k;
  return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
  (void)quiet;

  // A header line of exactly its own length: any read past it is a fault.
  if (size > 0) {
    std::vector<char> line(data, data + size);
    long target = 0;
    if (getcontentlengthfunc(line.data(), 1, line.size(), &target) != size) __builtin_trap();
    if (getcontentlengthfunc(line.data(), line.size(), 1, &target) != size) __builtin_trap();
  }

  // Progress on any amounts.
  {
    const uint8_t* p = data;
    size_t left = size;
    const int64_t a = take64(p, left), b = take64(p, left), c = take64(p, left), d = take64(p, left);
    HttpUploadProgress state{};
    progressCallback(&state, a, b, c, d);
    now_had_down = static_cast<double>(a);
    prog_func1(nullptr, static_cast<double>(b), static_cast<double>(c), 0, 0);
    now_had_down = 0;
    if (my_progress_func(nullptr, 0, 0, 0, 0) != 0) __builtin_trap();
  }

  // The part reader: room from the first two bytes, then head, file, tail
  // in thirds of the rest.
  if (size >= 2) {
    const size_t item = data[0] % 17 + 1;
    const size_t count = data[1] % 17 + 1;
    const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);
    const size_t third = rest.size() / 3;
    const std::string head = rest.substr(0, third), body = rest.substr(third, third), tail = rest.substr(2 * third);
    std::string file_bytes = body;
    FILE* file = body.empty() ? nullptr : fmemopen(file_bytes.data(), file_bytes.size(), "rb");
    phonecore::remote::UploadPartState s;
    s.file = file;
    s.file_left = file ? body.size() : 0;
    s.head = head.data();
    s.head_left = head.size();
    s.tail = tail.data();
    s.tail_left = tail.size();
    std::vector<char> room(item * count);
    std::string out;
    for (size_t k; (k = phonecore::remote::upload_part_reader(room.data(), item, count, &s)) != 0;) {
      if (k > room.size()) __builtin_trap();
      out.append(room.data(), k);
    }
    if (file) std::fclose(file);
    if (out != head + (file ? body : std::string()) + tail) __builtin_trap();
  }
  return 0;
}
