// A connect whose event thread can't be created leaves nothing behind: the
// listener is stopped, the server is told, the record is freed (the
// sanitizer builds check the last). pthread_create is wrapped at link time
// so that it can refuse the event thread.

#include <dirent.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <string>

#include "phonecore/bus_client.h"

extern "C" int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

namespace {
std::atomic<bool> g_refuse_event_thread{false};
}  // namespace

extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*start)(void*), void* arg) {
  if (g_refuse_event_thread.load() && start == &ClientCallBack) return EAGAIN;
  return __real_pthread_create(thread, attr, start, arg);
}

namespace {

// Threads of this process named as the bus listener.
int listener_threads() {
  int n = 0;
  DIR* tasks = opendir("/proc/self/task");
  if (tasks == nullptr) return -1;
  while (const dirent* e = readdir(tasks)) {
    if (e->d_name[0] == '.') continue;
    std::ifstream comm(std::string("/proc/self/task/") + e->d_name + "/comm");
    std::string name;
    std::getline(comm, name);
    if (name == "zknetwork") ++n;
  }
  closedir(tasks);
  return n;
}

TEST(ConnectFailure, NoEventThreadMeansNoSession) {
  const int before = listener_threads();
  g_refuse_event_thread = true;
  EXPECT_EQ(request_pc_connect(3600, 1, nullptr, "refused"), nullptr);
  g_refuse_event_thread = false;
  EXPECT_EQ(listener_threads(), before) << "the listener was stopped";
  // The server was told: the same id connects again at once.
  MessageClient* c = request_pc_connect(3600, 1, nullptr, "again");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(listener_threads(), before + 1);
  EXPECT_EQ(request_pc_disconnect(c), 0);
}

}  // namespace
