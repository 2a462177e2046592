// The datagrams the directory client must send, written byte by byte at
// their offsets, independently of the library's records.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace phonecore::testing {

class WireBytes {
 public:
  // A frame of payload_length bytes of payload: 76 + length + 1 bytes, all
  // zero but magic, list type, command, class and the length word.
  WireBytes(uint16_t list_type, uint16_t command, uint16_t payload_length) : bytes_(76u + payload_length + 1u, 0) {
    u16(0, 0x05FF);
    u16(2, list_type);
    u16(4, command);
    u16(6, 1);
    u16(74, payload_length);
  }
  WireBytes& u16(size_t at, uint16_t v) { return put(at, &v, 2); }
  WireBytes& i32(size_t at, int32_t v) { return put(at, &v, 4); }
  WireBytes& text(size_t at, const std::string& s) { return put(at, s.data(), s.size()); }
  // At an offset of the payload.
  WireBytes& p32(size_t at, int32_t v) { return i32(76 + at, v); }
  WireBytes& ptext(size_t at, const std::string& s) { return text(76 + at, s); }

  // A list payload with one contact record (add, change, find).
  static WireBytes record(uint16_t list_type, uint16_t command, int32_t id, const std::string& name,
                          const std::string& first = "", const std::string& phone = "", const std::string& other = "",
                          const std::string& extra = "", int32_t a = 0, int32_t b = 0, int32_t c = 0) {
    WireBytes w(list_type, command, 364);
    w.p32(0, 364).p32(4, 0).p32(8, 1);
    w.p32(28, id).ptext(32, name).ptext(96, first).ptext(160, phone).ptext(224, other);
    w.p32(288, a).p32(292, b).p32(296, c).ptext(300, extra);
    return w;
  }

  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  WireBytes& put(size_t at, const void* v, size_t n) {
    std::memcpy(bytes_.data() + at, v, n);
    return *this;
  }
  std::vector<uint8_t> bytes_;
};

}  // namespace phonecore::testing
