#include "framework/xo/os.h"

#include <pthread.h>
#include <sched.h>

#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "framework/xo/call.h"
#include "framework/xo/clock.h"

namespace xo::os {
namespace {

constexpr std::size_t kKernelNameLength = 15;  // longer names fail with ERANGE

std::string& threadName() {
  thread_local std::string name;  // this library stays in the process: its destructor is harmless
  return name;
}

}  // namespace

void msleep(int milliseconds) {
  if (milliseconds <= 0) return;
  const TimePoint deadline = after(clock().now(), std::chrono::milliseconds(milliseconds));
  if (Ending* const ending = CallScope::currentEnding()) {
    ending->sleepUntil(deadline);
    return;
  }
  std::mutex mutex;
  std::condition_variable wake;
  std::unique_lock lock(mutex);
  while (clock().waitUntil(lock, wake, deadline)) {
  }
}

void setCurrentThreadName(const std::string& name) {
  threadName() = name;
  pthread_setname_np(pthread_self(), name.substr(0, kKernelNameLength).c_str());
}

std::string currentThreadName() { return threadName(); }

bool preferCurrentThread() {
  sched_param parameters{};
  parameters.sched_priority = sched_get_priority_min(SCHED_FIFO);
  return sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0;
}

int snprintf(char* buffer, std::size_t size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  if (length < 0 && size > 0) buffer[0] = '\0';
  return length;
}

}  // namespace xo::os
