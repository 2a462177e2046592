// The edge between the exported C functions and the C++ inside them.
//
// Every exported function is noexcept: an exception that reached a C
// caller would end the process. The only exceptions the library's code can
// meet are those of the standard containers (std::bad_alloc,
// std::length_error); where an exported function uses them, its body runs
// through or_failure, which turns any exception into the function's own
// failure result.
#pragma once

#include <utility>

namespace phonecore::base {

template <typename R, typename Body>
R or_failure(R failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return failure;
  }
}

}  // namespace phonecore::base
