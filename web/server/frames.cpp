#include "web/server/frames.h"

#include <utility>

#include "web/server/json.h"

namespace web {
namespace {

/// A frame is sent when it has grown to this size.
constexpr std::size_t kFrameBytes = 64 * 1024;
/// What is kept for each key on top of its name.
constexpr std::size_t kBytesOfKey = 64;

void addTo(std::string& list, std::string_view element) {
  if (!list.empty()) list += ',';
  list += element;
}

}  // namespace

Frames::~Frames() = default;

void Frames::watch(const door::Client& client, const std::string& pattern) {
  const std::uint64_t number = fWatchNumber + 1;
  auto place = fHouse.access.takeWatchPlace(client);
  const auto mailbox = fHouse.mailbox;
  const auto toMe = [weak = weak_from_this(), mailbox, number](auto act) {
    mailbox->post([weak, number, act] {
      const auto self = weak.lock();
      if (self && self->fWatch && self->fWatchNumber == number) act(*self);
    });
  };
  door::MemoryWatch::Viewer viewer{
      [toMe](HB::MemoryChanges part) {
        auto shared = std::make_shared<std::vector<HB::MemoryItem>>(std::move(part.items));
        toMe([shared](Frames& self) { self.take(std::move(*shared)); });
      },
      [toMe](const std::string& why) { toMe([why](Frames& self) { self.endWith(why); }); }};
  auto made = std::make_unique<door::MemoryWatch>(fHouse.access, pattern, std::move(viewer));
  end();
  fWatchNumber = number;
  fWatch = std::move(made);
  fPlace = std::move(place);
  fSeen = fSent;  // frames of the one before count no more
  fIsAsked = true;
  fWatch->next();
}

void Frames::endWith(const std::string& why) {
  end();
  fOutlet.send(textOf({{"event", "ended"}, {"what", "watch"}, {"text", why}}));
}

void Frames::end() {
  fWatch.reset();
  fPlace.reset();
  fIndices = {};
  fKeyBytes.clear();
  fItems.clear();
  fNextItem = 0;
  fIsBatch = false;
  fIsAsked = false;
}

bool Frames::seen(std::uint64_t frame) {
  if (frame > fSent) return false;
  if (frame > fSeen) fSeen = frame;
  goOn();
  return true;
}

void Frames::take(std::vector<HB::MemoryItem> items) {
  fItems = std::move(items);
  fNextItem = 0;
  fIsBatch = true;
  fIsAsked = false;
  goOn();
}

void Frames::goOn() {
  while (fWatch && fSent - fSeen < kMostUnseen && fOutlet.waiting() < kMostWaiting) {
    if (fIsBatch) {
      sendFrame();
      continue;
    }
    if (!fIsAsked) {
      fIsAsked = true;
      fWatch->next();
    }
    return;
  }
}

void Frames::sendFrame() {
  std::string keys;
  std::string index;
  std::string value;
  while (fNextItem < fItems.size() && keys.size() + index.size() + value.size() < kFrameBytes) {
    const auto& [key, held] = fItems[fNextItem++];
    auto place = fIndices.find(key);
    if (place == fIndices.end()) {
      const auto full = fHouse.keys.refusal(fKeyBytes.bytes());
      if (!full.empty()) return endWith(full);
      place = fIndices.emplace(key, fIndices.size()).first;
      addTo(keys, textOf(key));
      fKeyBytes.add(key.size() + kBytesOfKey);
    }
    addTo(index, std::to_string(place->second));
    if (!value.empty()) value += ',';
    appendJson(value, held);
  }
  const std::chrono::duration<double, std::milli> at =
      std::chrono::steady_clock::now() - fHouse.since;
  std::string frame = R"({"event":"frame","frame":)" + std::to_string(++fSent);
  frame += R"(,"at":)" + std::to_string(static_cast<std::uint64_t>(at.count()));
  frame += R"(,"dropped":)" + std::to_string(fWatch->dropped());
  frame += R"(,"keys":[)" + keys + R"(],"index":[)" + index + R"(],"value":[)" + value + "]}";
  if (fNextItem == fItems.size()) {
    fItems.clear();
    fIsBatch = false;
  }
  fOutlet.send(std::move(frame));
}

}  // namespace web
