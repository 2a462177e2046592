// The dial-plan engine on arbitrary patterns, numbers and templates. The
// input holds the three texts separated by NUL bytes; the first byte sets
// the size of the output buffer, which is allocated to that size exactly so
// that any write behind it is caught. The engine must answer 0 or 1, agree
// with itself across its three entry points, and never trap on a pattern
// that compiled.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "phonecore/dialplan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const int out_size = data[0] % 130;
  std::string rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const size_t first = rest.find('\0');
  const std::string pattern = rest.substr(0, first);
  std::string number;
  std::string templ;
  if (first != std::string::npos) {
    const size_t second = rest.find('\0', first + 1);
    number = rest.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
    if (second != std::string::npos) templ = rest.substr(second + 1);
  }
  templ = templ.substr(0, templ.find('\0'));

  const int block = dialplan_check_block(pattern.c_str(), number.c_str());
  if (block != 0 && block != 1) std::abort();

  char* out = static_cast<char*>(std::malloc(out_size > 0 ? static_cast<size_t>(out_size) : 1));
  const int replaced = dialplan_check_replace(pattern.c_str(), templ.c_str(), number.c_str(), out, out_size);
  if (replaced != block) std::abort();
  if (replaced == 1 && out_size > 0 && std::memchr(out, '\0', static_cast<size_t>(out_size)) == nullptr) std::abort();

  regexp* re = dialplan_regexp_format(pattern.c_str());
  dstring* d = dialplan_string_init(number.c_str());
  if (re != nullptr && d != nullptr) {
    if (dialplan_check(re, d) != block) std::abort();
    for (int n = 0; n <= 10; ++n) {
      char* group = static_cast<char*>(std::malloc(out_size > 0 ? static_cast<size_t>(out_size) : 1));
      get_dialplan_string_param(d, n, group, out_size);
      std::free(group);
    }
  } else if (re == nullptr && block != 0) {
    std::abort();
  }
  dialplan_string_free(d);
  dialplan_regexp_free(re);
  std::free(out);
  return 0;
}
