// What one client may ask for at once: one table, in force for every way in.
#pragma once

#include <cstddef>
#include <string>

namespace door {

/// Each refusal names the limit and its number.
struct Limits {
  std::size_t listElements = 4096;     ///< of one list
  std::size_t textBytes = 64 * 1024;   ///< of one text or binary
  std::size_t messageBytes = 1 << 20;  ///< of one request, as it travels
  std::size_t nestedLists = 32;        ///< lists within lists
  std::size_t values = 65536;          ///< of one request, elements of lists included
  std::size_t nameBytes = 256;         ///< of a service or a method
  std::size_t keyBytes = 1024;         ///< of a memory key or a pattern

  // A call counts from its start until its method returns, also while it waits for a lock.
  std::size_t callsInAll = 64;      ///< running at once
  std::size_t callsPerClient = 32;  ///< running at once
  std::size_t reservedCalls = 16;   ///< on top, for clients with no running call
  std::size_t rareCalls = 16;       ///< on top of both, for methods of which few run

  std::size_t futuresPerClient = 4096;  ///< whose end one client waits for at once
  std::size_t futuresInAll = 16384;
  std::size_t watchesPerClient = 64;
  std::size_t watchesInAll = 512;
  std::size_t lendsPerClient = 16;
  std::size_t lendsInAll = 64;

  std::size_t connections = 1024;  ///< open at once by each way in

  /// How many calls ever run at once.
  std::size_t mostCalls() const { return callsInAll + reservedCalls + rareCalls; }
};

/// A limit as clients see it.
struct NamedLimit {
  std::string name;
  std::size_t most = 0;
};

}  // namespace door
