// A timed wait that another thread of the process can end early: a mutex,
// a condition and the time, in one heap record.

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "phonecore/syscmd.h"

extern "C" {

VornThreadWait* vorn_thread_wait_init(VornThreadWait** handle, uint32_t timeout_ms) noexcept {
  auto* wait = static_cast<VornThreadWait*>(std::calloc(1, sizeof(VornThreadWait)));
  if (wait != nullptr) {
    wait->timeout = timeout_ms;
    pthread_mutex_init(&wait->mutex, nullptr);
    pthread_cond_init(&wait->cond, nullptr);
  }
  if (handle != nullptr) *handle = wait;
  std::printf("thread wait init %p,%p\n", static_cast<void*>(handle), static_cast<void*>(wait));
  return wait;
}

int vorn_thread_wait_release(VornThreadWait* handle) noexcept {
  if (handle == nullptr) return 0;
  pthread_cond_destroy(&handle->cond);
  pthread_mutex_destroy(&handle->mutex);
  std::free(handle);
  return 0;
}

int vorn_thread_wait(VornThreadWait* handle) noexcept {
  if (handle == nullptr) return -1;
  std::printf("thread wait release %p,%p\n", static_cast<void*>(handle), static_cast<void*>(&handle->cond));
  pthread_mutex_lock(&handle->mutex);
  // The deadline counts from the start of the current second.
  timespec deadline{};
  deadline.tv_sec = time(nullptr) + handle->timeout / 1000;
  deadline.tv_nsec = static_cast<long>(handle->timeout % 1000) * 1000000L;
  pthread_cond_timedwait(&handle->cond, &handle->mutex, &deadline);
  pthread_mutex_unlock(&handle->mutex);
  std::printf("thread wake 2\n");
  return 0;
}

int vorn_thread_wait_wake(VornThreadWait* handle) noexcept {
  if (handle == nullptr) return -1;
  std::printf("send signal\n");
  pthread_cond_signal(&handle->cond);
  return 0;
}

}  // extern "C"
