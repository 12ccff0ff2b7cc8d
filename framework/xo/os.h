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

/// `std::snprintf`: never writes past `size`, always ends with a zero when `size` > 0.
int snprintf(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace xo::os
