// A system that refuses to watch files, for tests: stands before two functions of the C library in
// the whole test program.
#pragma once

namespace remote {

/// While it lives, no new poll can be made.
class NoNewPolls {
 public:
  NoNewPolls();
  ~NoNewPolls();
  NoNewPolls(const NoNewPolls&) = delete;
  NoNewPolls& operator=(const NoNewPolls&) = delete;
};

/// While it lives, the end of a connection cannot be waited for.
class NoNewConnectionWatches {
 public:
  NoNewConnectionWatches();
  ~NoNewConnectionWatches();
  NoNewConnectionWatches(const NoNewConnectionWatches&) = delete;
  NoNewConnectionWatches& operator=(const NoNewConnectionWatches&) = delete;
};

}  // namespace remote
