// What a page was told, looked at piece by piece: anything that must not be there is found.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "web/server/conversation.h"

namespace fuzz {

/// For one thread.
class PageOutlet final : public web::Outlet {
 public:
  explicit PageOutlet(web::House& house) : fShare(house.waiting) {}

  void send(std::string message) override;
  void goodbye(const std::string& why) override;
  std::size_t waiting() const override { return fShare.bytes(); }

  /// A request of that id comes, which may begin a watch.
  void expect(std::uint64_t id, bool isWatch);
  /// Requests that have had no final reply.
  std::size_t unanswered() const { return fUnanswered; }
  bool isOver() const { return fIsOver; }
  /// The last frame that was sent; 0 for none.
  std::uint64_t lastFrame() const { return fFrame; }
  /// The page has said so.
  void saw(std::uint64_t frame);
  /// The page reads all that waits.
  void drain() { fShare.clear(); }

  web::Conversation* conversation = nullptr;

 private:
  void takeReply(const web::Json& reply);
  void takeFrame(const web::Json& frame);

  web::Budget::Share fShare;
  std::map<std::uint64_t, int> fExpected;  // final replies, by id
  std::size_t fUnanswered = 0;
  std::set<std::uint64_t> fWatches;  // ids of requests that may begin one
  std::size_t fKeys = 0;             // named by this watch
  std::uint64_t fFrame = 0;
  std::uint64_t fSeen = 0;
  bool fIsOver = false;
};

}  // namespace fuzz
