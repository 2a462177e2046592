// Parsing of the kernel's ARP table text, apart from reading it, so that
// the rows can be checked on any text.
#pragma once

#include "phonecore/fileutil.h"

namespace phonecore::base {

// The rows after the header line of text, at most max; the count.
int parse_arp_rows(const char* text, ArpRecord* out, int max);

}  // namespace phonecore::base
