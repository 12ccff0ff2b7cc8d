// A page's conversation with a small robot, without sockets: the real memory, and a service whose
// methods return, throw, stay, and give futures. Time stands still but for what the harness moves.
#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string_view>

#include "access/access.h"
#include "framework/hb/hb_module.h"
#include "framework/xo/clock.h"
#include "fuzz/page_outlet.h"
#include "fuzz/page_service.h"

namespace fuzz {

/// One robot, and one page that comes and goes. For one thread.
class PageRobot {
 public:
  /// With tokens the first message must bring one.
  explicit PageRobot(bool hasTokens);
  ~PageRobot();
  PageRobot(const PageRobot&) = delete;
  PageRobot& operator=(const PageRobot&) = delete;

  /// The page sends a message; what it sets going has come to rest afterwards.
  void say(std::string_view message);
  /// The page reads what waits; without this only when it must, to be read from again.
  void drain();
  /// The page says that it has seen all frames.
  void see();
  /// Futures of the service end, with so many bytes.
  void settle(std::size_t bytes);
  /// A key of the memory changes.
  void change(std::string_view key);
  /// A line of the log comes.
  void log(std::string_view text);
  bool isOver() const { return fOutlet.isOver(); }
  /// The page goes; nothing of it may stay.
  void leave();

 private:
  void xTake(std::string_view message);
  void xRest();
  void xTick();

  xo::ManualClock fClock;
  const std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBModule> fMemoryModule;
  PageService fService;
  door::Access fAccess;
  web::LogTail fTail{xo::log::Level::kInfo};
  boost::asio::io_context fLoop{1};
  web::House fHouse;
  PageOutlet fOutlet;
  std::unique_ptr<web::Conversation> fConversation;
  int fChanges = 0;
};

}  // namespace fuzz
