// The sectioned profile reader on a file image in memory, shared by the
// exported readers and writer and reachable by tests and fuzzing.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace phonecore::base {

enum class ProfileLoad { kOk, kMissing, kTooLarge };

// Reads a file as the profile functions see it: byte by byte up to the end
// or a byte 0xFF, into at most 65535 bytes. A file that fills the 65536-byte
// buffer is too large.
ProfileLoad load_profile(const char* path, std::string& image);

// Where a key stands in an image. Offsets into the image.
struct ProfileHit {
  bool section_found = false;
  bool key_found = false;
  size_t content_start = 0;  // the section's first line, past "]" and white space
  size_t value_start = 0;
  size_t value_end = 0;
};

ProfileHit find_profile_key(std::string_view image, std::string_view section, std::string_view key);

}  // namespace phonecore::base
