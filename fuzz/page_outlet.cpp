#include "fuzz/page_outlet.h"

#include <utility>

#include "fuzz/harness.h"

namespace fuzz {
namespace {

using web::Json;

/// What a page can make the robot keep: the replies that a page may leave, and one more, which is
/// no larger than what the service gives at most.
constexpr std::size_t kMostBytes = (8U + 2U) << 20U;

}  // namespace

void PageOutlet::expect(std::uint64_t id, bool isWatch) {
  ++fExpected[id];
  ++fUnanswered;
  if (isWatch) fWatches.insert(id);
}

void PageOutlet::saw(std::uint64_t frame) {
  if (frame <= fFrame && frame > fSeen) fSeen = frame;
}

void PageOutlet::send(std::string message) {
  require(!fIsOver, "something is told after a goodbye");
  fShare.add(message.size());
  require(fShare.bytes() <= kMostBytes, "more waits to be read than is allowed");
  if (message.find("\"uptime\"") != std::string::npos) {
    if (isPlanted("silence")) return;
    if (isPlanted("page")) message.pop_back();
  }
  const Json told = Json::parse(message, nullptr, false);
  if (!told.is_object()) found("what is told is no JSON object: " + message.substr(0, 200));
  if (told.contains("id")) return takeReply(told);
  const std::string event = told.value("event", "");
  if (event == "frame") return takeFrame(told);
  require(event == "log" || event == "ended", "an event of no name");
  if (event == "log") require(!told["lines"].empty(), "a log event without lines");
}

void PageOutlet::goodbye(const std::string& why) {
  require(!fIsOver, "goodbye is said twice");
  require(!why.empty(), "a goodbye without a reason");
  require(Json::parse(web::textOf(Json(why)), nullptr, false).is_string(), "a reason is no text");
  fIsOver = true;
  conversation->gone();
}

void PageOutlet::takeReply(const Json& reply) {
  const auto id = reply["id"].get<std::uint64_t>();
  const auto expected = fExpected.find(id);
  require(expected != fExpected.end() && expected->second > 0, "a reply that nobody asked for");
  if (reply.contains("error")) {
    require(reply["error"].value("kind", "") != "", "an error without a kind");
    require(reply["error"]["text"].is_string(), "an error without a text");
  } else if (reply.contains("future")) {
    return;  // its end follows
  } else if (fWatches.erase(id) > 0) {
    fKeys = 0;
    fSeen = fFrame;
  }
  --expected->second;
  --fUnanswered;
}

void PageOutlet::takeFrame(const Json& frame) {
  require(frame["frame"] == ++fFrame, "a frame's number does not follow");
  require(fFrame - fSeen <= 2, "more than two frames are on their way unseen");
  fKeys += frame["keys"].size();
  require(frame["index"].size() == frame["value"].size(), "a frame's lists differ in length");
  for (const Json& index : frame["index"]) {
    require(index.get<std::uint64_t>() < fKeys, "a frame's index was never named");
  }
}

}  // namespace fuzz
