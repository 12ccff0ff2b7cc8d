// What one page sees of the robot's memory: frames, at the page's own pace.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "access/memory_watch.h"
#include "web/server/house.h"
#include "web/server/outlet.h"

namespace web {

/// At most two frames are on their way that the page has not seen; what changes meanwhile comes
/// merged. A large batch comes in several frames. Lives on the page's thread.
class Frames : public std::enable_shared_from_this<Frames> {
 public:
  static constexpr std::uint64_t kMostUnseen = 2;

  /// `house` and `outlet` outlive it, the latter until `end`.
  Frames(House& house, Outlet& outlet) : fHouse(house), fOutlet(outlet), fKeyBytes(house.keys) {}
  ~Frames();
  Frames(const Frames&) = delete;
  Frames& operator=(const Frames&) = delete;

  /// Replaces the watch there was; every key is new then. Errors: Refused; the one before goes on.
  void watch(const door::Client& client, const std::string& pattern);
  /// When it returns no frame will come, and nothing is kept of the keys.
  void end();
  /// The page has taken in that frame and those before. False when no such frame was sent.
  bool seen(std::uint64_t frame);
  /// What waits to be sent became less.
  void goOn();

 private:
  void take(std::vector<HB::MemoryItem> items);
  void sendFrame();
  void endWith(const std::string& why);

  House& fHouse;
  Outlet& fOutlet;
  std::unique_ptr<door::MemoryWatch> fWatch;
  door::Access::Place fPlace;
  std::uint64_t fWatchNumber = 0;
  bool fIsAsked = false;  // the watch will hand over a batch
  std::unordered_map<std::string, std::size_t> fIndices;
  Budget::Share fKeyBytes;             // what they take
  std::vector<HB::MemoryItem> fItems;  // the batch that is being sent
  std::size_t fNextItem = 0;
  bool fIsBatch = false;  // there is one, perhaps empty
  std::uint64_t fSent = 0;
  std::uint64_t fSeen = 0;
};

}  // namespace web
