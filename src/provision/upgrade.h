// The readings of openssl's answers in the certificate step, open to the
// unit tests and the fuzzer.
#pragma once

#include <cstddef>
#include <string>

namespace phonecore::provision {

// Each text of a list element is cut to 64 bytes: 63 characters.
inline constexpr size_t kCertTextMax = 63;

// What follows label ("CN = ", "O = ") in a subject line, up to the first
// ",", LF, CR or the end; empty when the label is absent.
std::string subject_field(const char* line, const char* label);

// What follows "notAfter=" up to LF, CR or the end (a comma stays).
std::string end_date(const char* line);

}  // namespace phonecore::provision
