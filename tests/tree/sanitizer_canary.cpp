// Does the one wrong thing that it is told to, so that a sanitizer build shows that it notices.
// Without a sanitizer every fault passes.
#include <climits>
#include <cstdio>
#include <string>
#include <thread>

namespace {

int readAfterFree() {
  volatile int* number = new int(1);
  delete number;
  return *number;  // NOLINT(clang-analyzer-cplusplus.NewDelete): the fault
}

void leak() {
  static volatile std::size_t kept = 0;
  kept = reinterpret_cast<std::size_t>(new int[1000]) ^ kept;
  kept = 0;
}

int overflow(int number) { return number + INT_MAX; }

int race() {
  int shared = 0;
  std::thread other([&shared] { ++shared; });
  ++shared;
  other.join();
  return shared;
}

}  // namespace

int main(int count, char** words) {
  const std::string fault = count > 1 ? words[1] : "";
  int result = 0;
  if (fault == "address") result = readAfterFree();
  if (fault == "leak") leak();
  if (fault == "undefined") result = overflow(count);
  if (fault == "thread") result = race();
  std::printf("went on after: %s %d\n", fault.c_str(), result);
  return 0;
}
