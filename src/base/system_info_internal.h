// The parts of the disk and ARP readings that work on text and numbers,
// apart from the kernel, so that they can be checked on any input.
#pragma once

#include "phonecore/fileutil.h"

namespace phonecore::base {

// The rows after the header line of an ARP table text, at most max; the
// count.
int parse_arp_rows(const char* text, ArpRecord* out, int max);

// A size in kilobytes as the disk information prints it: from 1 GB on in
// GB, from 1 MB on in MB, else in KB, two decimals; 1024 is the step.
void format_disk_size(char (&out)[11], unsigned long long kb);

}  // namespace phonecore::base
