#include "fuzz/page_robot.h"

#include <thread>

#include "access/memory_watch.h"
#include "framework/hb/hb_memory_proxy.h"
#include "framework/hb/module_factory.h"
#include "framework/xo/log.h"
#include "fuzz/harness.h"
#include "services/memory/src/hbmemory.h"
#include "web/server/fields.h"
#include "web/server/json.h"

namespace fuzz {
namespace {

using web::Json;

constexpr const char* kTokens = "operator operator-of-robots\nviewer viewer-of-robots display\n";

const xo::log::Category kLog("fuzz");

}  // namespace

PageRobot::PageRobot(bool hasTokens)
    : fMemoryModule(HB::createModule<HB::HBMemory>(HB::HBBroker::create(fSession))),
      fService(*fSession),
      fAccess(fSession, {}, {}, {{PageService::kName, "add"}}),
      fHouse(fAccess, std::make_shared<web::Mailbox>(fLoop)),
      fOutlet(fHouse),
      fConversation(std::make_unique<web::Conversation>(fHouse, fOutlet, "ipv4:127.0.0.1:1")) {
  fOutlet.conversation = fConversation.get();
  fHouse.isReady = true;
  fHouse.robot = "Small";
  fHouse.log = &fTail;
  fHouse.modules = [] { return std::vector<std::string>{"memory"}; };
  if (hasTokens) {
    fHouse.tokens = door::Tokens::read(kTokens, "tokens");
    fHouse.needsToken = true;
  }
  change("first");
  change("second");
}

PageRobot::~PageRobot() {
  // As the server does: futures that nobody ended end when the service goes.
  fHouse.mailbox->close();
  fMemoryModule->ending().raise();
  const auto broker = fMemoryModule->getParentBroker();
  broker->removeModule(fMemoryModule->getName());
  fMemoryModule.reset();
}

void PageRobot::say(std::string_view message) {
  if (fOutlet.isOver()) return;
  if (fOutlet.waiting() > web::kMostWaiting) drain();  // nothing is read before
  xTake(message);
  xTick();
  if (fOutlet.isOver()) return;
  require(fOutlet.unanswered() == fAccess.futures(), "a request is not answered, or twice");
}

void PageRobot::xTake(std::string_view message) {
  const Json request = Json::parse(message, nullptr, false);
  const std::string op = request.is_object() && request.contains("op") && request["op"].is_string()
                             ? request["op"]
                             : Json("");
  if (op == "seen" && request.contains("frame") && web::isNumber(request["frame"])) {
    fOutlet.saw(request["frame"].get<std::uint64_t>());
  }
  const bool isAsked =
      op != "seen" && request.is_object() && request.contains("id") && web::isNumber(request["id"]);
  if (isAsked) fOutlet.expect(request["id"].get<std::uint64_t>(), op == "watch");
  fConversation->take(message);
  if (!isAsked && op != "seen") require(fOutlet.isOver(), "what is no request is passed over");
}

/// Until every call has ended or stays, and everything that was left for the page's thread is done.
void PageRobot::xRest() {
  std::size_t done = 0;
  do {
    while (fHouse.calls.inside() != fService.staying()) std::this_thread::yield();
    fClock.awaitIdle();
    fLoop.restart();
    done = fLoop.poll();
  } while (done > 0);
}

void PageRobot::xTick() {
  xRest();
  fClock.advance(door::kWatchTick);
  xRest();
}

void PageRobot::drain() {
  fOutlet.drain();
  fConversation->goOn();
  xRest();
}

void PageRobot::see() {
  if (fOutlet.lastFrame() == 0) return;
  say(web::textOf(Json{{"op", "seen"}, {"frame", fOutlet.lastFrame()}}));
}

void PageRobot::settle(std::size_t bytes) {
  fService.settle(bytes);
  xTick();
}

void PageRobot::change(std::string_view key) {
  const HB::HBMemoryProxy memory("HBMemory", fSession->find("HBMemory"));
  memory.insertData("Key/" + std::string(key), static_cast<float>(++fChanges));
  xTick();
}

void PageRobot::log(std::string_view text) {
  kLog.info(text);
  fConversation->sendLog();
}

void PageRobot::leave() {
  fConversation->gone();
  xRest();
  require(fAccess.futures() == 0, "a future is waited for after its page is gone");
  require(fAccess.running().empty(), "a call runs on after its page is gone");
  require(fHouse.keys.taken() == 0, "the keys of a watch stay after its page is gone");
  fConversation.reset();
}

}  // namespace fuzz
