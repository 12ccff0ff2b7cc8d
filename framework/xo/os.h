// Small services of the operating system, through the process's clock where time is involved.
#pragma once

#include <cstddef>
#include <string>

namespace xo::os {

/// Blocks the calling thread for `milliseconds` of the process's clock; zero and negative return at
/// once. Inside a call or tick of a module that is being unloaded it returns at once.
void msleep(int milliseconds);

/// Names the calling thread. The whole name is kept for `currentThreadName` and the log; the kernel
/// sees the first 15 characters.
void setCurrentThreadName(const std::string& name);
/// The name given, or "" for a thread that was never named.
std::string currentThreadName();

/// Lets the calling thread run before all ordinary ones (SCHED_FIFO, its lowest priority), where
/// the system allows that: to root, or by a limit of RLIMIT_RTPRIO above 0. For threads that must
/// be on time and never busy for long; threads that it starts are ordinary again. False: not
/// allowed, and nothing changed.
bool preferCurrentThread();

/// `std::snprintf`: never writes past `size`, always ends with a zero when `size` > 0.
int snprintf(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace xo::os
