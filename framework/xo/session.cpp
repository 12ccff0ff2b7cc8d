#include "framework/xo/session.h"

#include <map>
#include <mutex>
#include <optional>

#include "framework/xo/event_loop.h"

namespace xo {
namespace {

/// Somebody who waits for a service by name.
struct Waiter {
  std::string service;
  std::optional<Promise<Object>> promise;  // held here alone, so that it ends with the session
  Future<void> timer = makeReadyFuture();  // cancelled when the waiter is taken out
  bool wantsObject = false;
  Ending* ending = nullptr;
  int endingCallback = 0;
};

}  // namespace

/// The register and those who wait. Promises are answered and callbacks removed outside the lock.
struct Session::State : std::enable_shared_from_this<Session::State> {
  struct Service {
    std::shared_ptr<detail::ObjectCore> core = detail::makeObjectCore();  // kept for its next life
    bool taken = false;                                                   // a registration exists
    bool registered = false;                                              // and others may see it
    std::optional<Future<Object>> announced;

    Future<Object> object() const { return announced ? *announced : makeReadyFuture(Object(core)); }
  };

  std::mutex mutex;
  std::map<std::string, Service> services;
  std::map<int, Waiter> waiters;
  int nextWaiter = 1;
  std::vector<std::weak_ptr<const std::function<void()>>> followers;

  Future<Object> wait(const std::string& name, int milliseconds, bool wantsObject);
  /// Takes the waiter out, if it is still there; the caller answers it.
  std::optional<Waiter> takeWaiter(int number);
  void giveUp(int number, std::exception_ptr why);
  void cancel(int number);
  void watchEnding(int number, Ending* ending);
  void deliverWhenThere(int number, const Future<Object>& object);
  /// Makes the service visible and wakes those who wait for it.
  void publish(const std::string& name, std::optional<Future<Object>> announced);
  void tellFollowers();
};

std::optional<Waiter> Session::State::takeWaiter(int number) {
  std::unique_lock lock(mutex);
  const auto found = waiters.find(number);
  if (found == waiters.end()) return std::nullopt;
  auto waiter = std::move(found->second);
  waiters.erase(found);
  lock.unlock();
  waiter.timer.cancel();  // its callback keeps it: dropped, it would stay until it runs out
  return waiter;
}

void Session::State::giveUp(int number, std::exception_ptr why) {
  auto waiter = takeWaiter(number);
  if (!waiter) return;
  if (waiter->endingCallback != 0) waiter->ending->removeCallback(waiter->endingCallback);
  waiter->promise->setError(std::move(why));
}

void Session::State::cancel(int number) {
  auto waiter = takeWaiter(number);
  if (!waiter) return;
  if (waiter->endingCallback != 0) waiter->ending->removeCallback(waiter->endingCallback);
  waiter->promise->setCancelled();
}

void Session::State::watchEnding(int number, Ending* ending) {
  const int callback = ending->onRaise([weak = weak_from_this(), number] {
    auto self = weak.lock();
    if (!self) return;
    // The callback is running: it is taken off the ending's list already.
    if (auto waiter = self->takeWaiter(number)) {
      waiter->promise->setError(std::make_exception_ptr(
          Error("The wait for the service " + waiter->service + " was given up")));
    }
  });
  std::unique_lock lock(mutex);
  const auto found = waiters.find(number);
  if (found != waiters.end()) {
    found->second.ending = ending;
    found->second.endingCallback = callback;
    return;
  }
  lock.unlock();
  if (callback != 0) ending->removeCallback(callback);
}

void Session::State::deliverWhenThere(int number, const Future<Object>& object) {
  object.onFinished([weak = weak_from_this(), number](const Future<Object>& finished) {
    auto self = weak.lock();
    if (!self) return;
    auto waiter = self->takeWaiter(number);
    if (!waiter) return;
    if (waiter->endingCallback != 0) waiter->ending->removeCallback(waiter->endingCallback);
    detail::forwardOutcome(finished, *waiter->promise);
  });
}

Future<Object> Session::State::wait(const std::string& name, int milliseconds, bool wantsObject) {
  Promise<Object> promise;
  auto future = promise.future();
  Ending* const ending = CallScope::currentEnding();
  std::unique_lock lock(mutex);
  std::optional<Future<Object>> object;
  if (const auto found = services.find(name); found != services.end() && found->second.registered) {
    if (!wantsObject || !found->second.announced) {
      promise.setValue(Object(found->second.core));
      return future;
    }
    object = found->second.announced;
  }
  const int number = nextWaiter++;
  promise.onCancel([weak = weak_from_this(), number] {
    if (auto self = weak.lock()) self->cancel(number);
  });
  waiters.emplace(number,
                  Waiter{name, std::move(promise), makeReadyFuture(), wantsObject, nullptr, 0});
  lock.unlock();

  if (object) deliverWhenThere(number, *object);
  if (ending != nullptr) watchEnding(number, ending);
  if (milliseconds != kInfiniteTimeout) {
    auto timer = getEventLoop().delay(std::chrono::milliseconds(milliseconds));
    timer.onFinished([weak = weak_from_this(), number, name](const Future<void>& finished) {
      auto self = weak.lock();
      if (!self || !finished.hasValue()) return;
      self->giveUp(number, std::make_exception_ptr(TimeoutError(
                               "The service " + name + " did not come within the time allowed")));
    });
    lock.lock();
    const auto found = waiters.find(number);
    if (found != waiters.end()) {
      found->second.timer = timer;
    } else {  // answered meanwhile
      lock.unlock();
      timer.cancel();
    }
  }
  return future;
}

void Session::State::publish(const std::string& name, std::optional<Future<Object>> announced) {
  std::vector<std::pair<int, bool>> waiting;
  Future<Object> object;
  {
    std::scoped_lock lock(mutex);
    Service& service = services[name];
    service.announced = std::move(announced);
    service.registered = true;
    object = service.object();
    for (const auto& [number, waiter] : waiters) {
      if (waiter.service == name) waiting.emplace_back(number, waiter.wantsObject);
    }
  }
  const auto here = makeReadyFuture(Object());
  for (const auto& [number, wantsObject] : waiting) {
    deliverWhenThere(number, wantsObject ? object : here);
  }
  tellFollowers();
}

void Session::State::tellFollowers() {
  std::vector<Subscription> told;
  {
    std::scoped_lock lock(mutex);
    std::erase_if(followers, [](const auto& follower) { return follower.expired(); });
    for (const auto& follower : followers) told.push_back(follower.lock());
  }
  for (const auto& follower : told) {
    if (follower) (*follower)();
  }
}

Session::Session() : fState(std::make_shared<State>()) {}

Session::~Session() {
  std::map<int, Waiter> orphans;
  {
    std::scoped_lock lock(fState->mutex);
    orphans.swap(fState->waiters);
  }
  for (auto& [number, waiter] : orphans) {
    waiter.timer.cancel();
    if (waiter.endingCallback != 0) waiter.ending->removeCallback(waiter.endingCallback);
    waiter.promise->setError(std::make_exception_ptr(
        Error("The session ended before the service " + waiter.service + " came")));
  }
}

std::unique_ptr<Session::Registration> Session::registerService(const std::string& name,
                                                                ObjectBuilder builder,
                                                                Ending* ending) {
  if (builder.name().empty()) builder.setName(name);
  std::unique_ptr<Registration> registration(new Registration(fState, name));
  registration->fOwner =
      std::make_unique<ObjectOwner>(std::move(builder), ending, registration->fCore);
  fState->publish(name, std::nullopt);
  return registration;
}

std::unique_ptr<Session::Registration> Session::announceService(const std::string& name,
                                                                Future<Object> object) {
  std::unique_ptr<Registration> registration(new Registration(fState, name));
  fState->publish(name, std::move(object));
  return registration;
}

std::vector<std::string> Session::services() const {
  std::scoped_lock lock(fState->mutex);
  std::vector<std::string> names;
  for (const auto& [name, service] : fState->services) {
    if (service.registered) names.push_back(name);
  }
  return names;
}

std::vector<Session::Standing> Session::standing() const {
  std::scoped_lock lock(fState->mutex);
  std::vector<Standing> all;
  for (const auto& [name, service] : fState->services) {
    if (!service.registered) continue;
    const auto object = service.object();
    all.push_back({name, object.hasValue() ? object.value().generation() : 0});
  }
  return all;
}

Session::Subscription Session::onChange(std::function<void()> callback) {
  auto subscription = std::make_shared<const std::function<void()>>(std::move(callback));
  std::scoped_lock lock(fState->mutex);
  fState->followers.push_back(subscription);
  return subscription;
}

Object Session::find(const std::string& name) const {
  std::scoped_lock lock(fState->mutex);
  const auto found = fState->services.find(name);
  if (found == fState->services.end() || !found->second.registered) return Object();
  const auto object = found->second.object();
  return object.hasValue() ? object.value() : Object();
}

FutureSync<void> Session::waitForService(const std::string& name) {
  return FutureSync<void>(
      fState->wait(name, kInfiniteTimeout, false).andThen([](const Object&) {}, Run::kInline));
}

Future<Object> Session::service(const std::string& name, const std::string& protocol,
                                int milliseconds) {
  if (!protocol.empty()) {
    return makeFailedFuture<Object>(
        std::make_exception_ptr(Error("Unknown protocol '" + protocol + "'; only '' is known")));
  }
  return fState->wait(name, milliseconds, true);
}

Session::Registration::Registration(std::shared_ptr<State> state, std::string name)
    : fState(std::move(state)), fName(std::move(name)) {
  if (fName.empty()) throw std::invalid_argument("A service needs a name");
  std::scoped_lock lock(fState->mutex);
  auto& service = fState->services[fName];
  if (service.taken) throw Error("A service named " + fName + " is registered already");
  service.taken = true;
  fCore = service.core;
}

Session::Registration::~Registration() {
  close();
  fOwner.reset();
  fCore.reset();
  std::scoped_lock lock(fState->mutex);
  const auto found = fState->services.find(fName);
  if (found == fState->services.end()) return;
  // Kept while somebody has a handle, which may live again.
  const bool isUnused = !found->second.taken && found->second.core.use_count() == 1;
  if (isUnused) fState->services.erase(found);
}

Object Session::Registration::object() const { return Object(fCore); }

void Session::Registration::close() {
  if (fClosed) return;
  fClosed = true;
  {
    std::scoped_lock lock(fState->mutex);
    auto& service = fState->services[fName];
    service.registered = false;
    service.announced.reset();
  }
  fState->tellFollowers();
  if (fOwner) fOwner->close();
  std::scoped_lock lock(fState->mutex);
  fState->services[fName].taken = false;
}

}  // namespace xo
