// NEWFIFO_* and UNEQUAL_FIFO_*: the in-process rings of the bus.
//
// Reads and writes take the record's mutex. RESET, READ_LEFT and
// READ_HASDATA touch the indexes without it (the hook code resets a queue
// while the listener thread may write to it); every index access is
// therefore atomic, so that those unlocked looks are well defined.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/atomic_field.h"
#include "bus/fifo_internal.h"
#include "phonecore/fifo.h"

using phonecore::base::load;
using phonecore::base::store;

namespace phonecore::bus {
namespace {

// Extra bytes allocated behind every NewFifo ring.
constexpr int kRingSlack = 4096;

class Locked {
 public:
  explicit Locked(pthread_mutex_t& m) : m_(m) { pthread_mutex_lock(&m_); }
  ~Locked() { pthread_mutex_unlock(&m_); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  pthread_mutex_t& m_;
};

// Copies len bytes into a ring of ring_size bytes from offset, wrapping at
// its end. REQUIRES: offset < ring_size and len <= ring_size.
void ring_put(uint8_t* ring, uint32_t ring_size, uint32_t offset, const uint8_t* src, uint32_t len) {
  const uint32_t first = std::min(len, ring_size - offset);
  std::memcpy(ring + offset, src, first);
  std::memcpy(ring, src + first, len - first);
}

void ring_get(const uint8_t* ring, uint32_t ring_size, uint32_t offset, uint8_t* dst, uint32_t len) {
  const uint32_t first = std::min(len, ring_size - offset);
  std::memcpy(dst, ring + offset, first);
  std::memcpy(dst + first, ring, len - first);
}

int next_slot(const NewFifo& f, int32_t index) { return (index + 1) % f.slots; }

}  // namespace

int fifo_read_bounded(NewFifo* f, void* dest, size_t capacity, int* length, uint64_t* tag) {
  if (f == nullptr || dest == nullptr) return -1;
  Locked lock(f->lock);
  const int32_t r = load(f->read_index);
  if (r == load(f->write_index)) return -2;
  const FifoEntry& e = f->entries[r];
  const auto delivered = static_cast<uint32_t>(std::min<size_t>(e.length, capacity));
  ring_get(f->data, static_cast<uint32_t>(f->size), e.offset, static_cast<uint8_t*>(dest), delivered);
  if (length != nullptr) *length = static_cast<int>(delivered);
  if (tag != nullptr) *tag = e.tag;
  store(f->used, load(f->used) - e.length);
  store(f->read_index, next_slot(*f, r));
  return static_cast<int>(delivered);
}

}  // namespace phonecore::bus

using namespace phonecore::bus;

extern "C" {

int NEWFIFO_INIT(NewFifo** fifo, int size, int slots) noexcept {
  if (fifo == nullptr) return -1;
  auto* f = static_cast<NewFifo*>(std::calloc(1, sizeof(NewFifo)));
  if (f == nullptr) return -1;
  pthread_mutex_init(&f->lock, nullptr);
  // The descriptor table has 3000 entries; a larger slot count is cut to it,
  // and a queue needs at least one slot (it then never holds anything).
  f->slots = std::clamp(slots, 1, NEWFIFO_MAX_ENTRIES);
  f->size = std::max(size, 0);
  f->data = static_cast<uint8_t*>(std::calloc(1, static_cast<size_t>(f->size) + kRingSlack));
  *fifo = f;
  return 0;
}

int NEWFIFO_RELEASE(NewFifo** fifo) noexcept {
  if (fifo == nullptr || *fifo == nullptr) return -1;
  NewFifo* f = *fifo;
  // A writer that took the queue just before it was released has left it
  // once the lock is free.
  pthread_mutex_lock(&f->lock);
  pthread_mutex_unlock(&f->lock);
  std::free(f->data);
  pthread_mutex_destroy(&f->lock);
  std::free(f);
  *fifo = nullptr;
  return 0;
}

int NEWFIFO_RESET(NewFifo* f) noexcept {
  if (f == nullptr) return -1;
  store(f->used, 0u);
  store(f->read_index, 0);
  store(f->write_index, 0);
  store(f->write_offset, 0u);
  return 0;
}

int NEWFIFO_WRITE(NewFifo* f, const void* data, int length, uint64_t tag) noexcept {
  if (f == nullptr || data == nullptr || length < 0) return -1;
  Locked lock(f->lock);
  const int32_t w = load(f->write_index);
  if (next_slot(*f, w) == load(f->read_index)) return -2;
  const uint32_t used = load(f->used);
  if (static_cast<int64_t>(f->size) - used < length) return -3;
  const uint32_t offset = load(f->write_offset);
  const auto len = static_cast<uint32_t>(length);
  if (len > 0) ring_put(f->data, static_cast<uint32_t>(f->size), offset, static_cast<const uint8_t*>(data), len);
  f->entries[w] = FifoEntry{offset, len, tag};
  store(f->write_index, next_slot(*f, w));
  store(f->write_offset, f->size > 0 ? (offset + len) % static_cast<uint32_t>(f->size) : 0u);
  store(f->used, used + len);
  return 0;
}

// The destination must hold the longest element; a queue never holds an
// element longer than its ring.
int NEWFIFO_READ(NewFifo* f, void* dest, int* length) noexcept {
  return fifo_read_bounded(f, dest, SIZE_MAX, length, nullptr);
}

int NEWFIFO_READ2(NewFifo* f, void* dest, int* length, uint64_t* tag) noexcept {
  return fifo_read_bounded(f, dest, SIZE_MAX, length, tag);
}

int NEWFIFO_READ_LEFT(NewFifo* f) noexcept {
  if (f == nullptr) return 0;
  const int32_t w = load(f->write_index);
  const int32_t r = load(f->read_index);
  if (w == r) return 0;
  // A full queue answers slots, one more than the slots - 1 it holds.
  if (next_slot(*f, w) == r) return f->slots;
  const int32_t n = w - r;
  return n < 0 ? n + f->slots : n;
}

int NEWFIFO_READ_HASDATA(NewFifo* f) noexcept {
  if (f == nullptr) return -1;
  return load(f->write_index) == load(f->read_index) ? -2 : 0;
}

int UNEQUAL_FIFO_INIT(UnequalFifo** fifo, int size) noexcept {
  if (fifo == nullptr) return -1;
  auto* f = static_cast<UnequalFifo*>(std::calloc(1, sizeof(UnequalFifo)));
  if (f == nullptr) return -1;
  pthread_mutex_init(&f->lock, nullptr);
  f->size = std::max(size, 0);
  f->buffer = static_cast<uint8_t*>(std::calloc(1, static_cast<size_t>(f->size) + 1));
  *fifo = f;
  return 0;
}

int UNEQUAL_FIFO_RELEASE(UnequalFifo** fifo) noexcept {
  if (fifo == nullptr || *fifo == nullptr) return -1;
  UnequalFifo* f = *fifo;
  pthread_mutex_lock(&f->lock);
  std::free(f->buffer);
  f->buffer = nullptr;
  pthread_mutex_unlock(&f->lock);
  pthread_mutex_destroy(&f->lock);
  std::free(f);
  *fifo = nullptr;
  return 0;
}

int UNEQUAL_FIFO_READ(UnequalFifo* f, void* dest, int length) noexcept {
  if (f == nullptr || dest == nullptr || length < 0) return -1;
  Locked lock(f->lock);
  if (f->buffer == nullptr) return -1;
  const int32_t used = load(f->used);
  if (used < length) return -2;
  const auto size = static_cast<uint32_t>(f->size);
  const uint32_t pos = load(f->read_position);
  const auto len = static_cast<uint32_t>(length);
  if (len == 0) return 0;
  ring_get(f->buffer, size, pos, static_cast<uint8_t*>(dest), len);
  store(f->read_position, len > size - pos ? len - (size - pos) : (pos + len) % size);
  store(f->used, used - length);
  return 0;
}

int UNEQUAL_FIFO_WRITE(UnequalFifo* f, const void* src, int length) noexcept {
  if (f == nullptr || src == nullptr || length < 0) return -1;
  Locked lock(f->lock);
  if (f->buffer == nullptr) return -1;
  const int32_t used = load(f->used);
  if (f->size - used < length) return -2;
  const auto size = static_cast<uint32_t>(f->size);
  const uint32_t pos = load(f->write_position);
  const auto len = static_cast<uint32_t>(length);
  if (len == 0) return 0;
  ring_put(f->buffer, size, pos, static_cast<const uint8_t*>(src), len);
  store(f->write_position, len > size - pos ? len - (size - pos) : (pos + len) % size);
  store(f->used, used + length);
  return 0;
}

int UNEQUAL_FIFO_RESET(UnequalFifo* f) noexcept {
  if (f == nullptr) return -1;
  store(f->read_position, 0u);
  store(f->write_position, 0u);
  store(f->used, 0);
  return 0;
}

}  // extern "C"
