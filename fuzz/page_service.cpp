#include "fuzz/page_service.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "framework/xo/call.h"

namespace fuzz {
namespace {

using HB::HBValue;

xo::MethodDoc named(const char* name) { return {name, "", {}, {}, {}}; }

HBValue nestedDeeply() {
  HBValue value(1);
  for (int i = 0; i < 100; ++i) value = HBValue(HBValue::List{value});
  return value;
}

std::string textOf(int bytes) {
  const auto most = static_cast<int>(PageService::kMostBytes);
  return std::string(static_cast<std::size_t>(std::clamp(bytes, 0, most)), 'x');
}

}  // namespace

PageService::PageService(xo::Session& session) {
  xo::ObjectBuilder builder;
  builder.setDescription("Every way that a call can go.");
  builder.add(xo::makeMethod<int(int, int)>({"add",
                                             "Adds \"two\" <numbers>.",
                                             {{"one", "The first."}},
                                             xo::NamedText{"sum", "Both."},
                                             {{"python", "proxy.add(1, 2)"}}},
                                            [](int one, int other) { return one ^ other; }));
  builder.add(xo::makeMethod<HBValue(const HBValue&)>(named("echo"),
                                                      [](const HBValue& value) { return value; }));
  builder.add(xo::makeMethod<std::string(int)>(named("text"), textOf));
  builder.add(xo::makeMethod<HBValue()>(named("deep"), nestedDeeply));
  builder.add(xo::makeMethod<void()>(
      named("fail"), [] { throw std::out_of_range("There is no \xff such \"thing\""); }));
  builder.add(xo::makeMethod<void()>(named("stay"), [this] { xStay(); }));
  builder.add(xo::makeMethod<xo::Future<HBValue>()>(named("later"), [this] { return xLater(); }));
  fRegistration = session.registerService(kName, std::move(builder));
}

void PageService::xStay() {
  std::unique_lock lock(fMutex);
  const xo::CallScope* const scope = xo::CallScope::current();
  fStaying.push_back(scope);
  fWake.wait(lock, [scope] { return scope->isStopRequested(); });
  std::erase(fStaying, scope);
}

xo::Future<HBValue> PageService::xLater() {
  auto promise = std::make_shared<xo::Promise<HBValue>>();
  promise->onCancel([weak = std::weak_ptr(promise)] {
    if (const auto cancelled = weak.lock()) cancelled->setCancelled();
  });
  auto future = promise->future();
  const std::scoped_lock lock(fMutex);
  fPromises.push_back(std::move(promise));
  return future;
}

std::size_t PageService::staying() {
  const std::scoped_lock lock(fMutex);
  fWake.notify_all();
  return static_cast<std::size_t>(std::ranges::count_if(
      fStaying, [](const xo::CallScope* scope) { return !scope->isStopRequested(); }));
}

void PageService::settle(std::size_t bytes) {
  std::vector<std::shared_ptr<xo::Promise<HBValue>>> promises;
  {
    const std::scoped_lock lock(fMutex);
    promises.swap(fPromises);
  }
  const HBValue value(std::string(std::min(bytes, kMostBytes), 'y'));
  for (const auto& promise : promises) {
    if (!promise->isCancelRequested()) promise->setValue(value);
  }
}

}  // namespace fuzz
