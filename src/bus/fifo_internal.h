// Bounded reads of a NewFifo for the library's own readers, whose
// destinations have a known size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "phonecore/fifo.h"

namespace phonecore::bus {

// As NEWFIFO_READ2, but an element longer than capacity is cut to it (the
// rest of the element is dropped with it). Returns the length delivered,
// -1 on a null queue or destination, -2 when empty.
int fifo_read_bounded(NewFifo* fifo, void* dest, size_t capacity, int* length, uint64_t* tag);

}  // namespace phonecore::bus
