// Plain fields shared between threads without a lock (in the bus: the
// listener's run and running words, hook types, the pending table, the
// session's dispatch flags). The design relies on an order of writes and on
// polling; each access goes through std::atomic_ref so that the order holds
// and ThreadSanitizer agrees.
#pragma once

#include <atomic>

namespace phonecore::base {

template <typename T>
T load(T& field) {
  return std::atomic_ref<T>(field).load(std::memory_order_acquire);
}

template <typename T>
void store(T& field, T value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_release);
}

}  // namespace phonecore::base
