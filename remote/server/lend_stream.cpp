#include "remote/server/lend_stream.h"

#include <algorithm>
#include <utility>

#include "framework/xo/log.h"
#include "remote/proto/described.h"
#include "remote/server/offer.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
const xo::log::Category kLog("remote");

}  // namespace

void LendStream::opened() { fPlace = fHouse.access.takeLendPlace(clientOf(context())); }

void LendStream::received(v1::LendRequest request) {
  if (request.has_offer() != (fCalls == nullptr)) {
    end({grpc::StatusCode::INVALID_ARGUMENT,
         "The first message of Lend, and no other, must be `offer`"});
    lose("broke the protocol");
    return;
  }
  switch (request.what_case()) {
    case v1::LendRequest::kOffer:
      stand(request.offer());
      break;
    case v1::LendRequest::kReturned:
      fCalls->returned(request.returned());
      break;
    case v1::LendRequest::kFinished:
      fCalls->finished(request.finished());
      break;
    case v1::LendRequest::kPong:
      pong(request.pong().number());
      break;
    case v1::LendRequest::WHAT_NOT_SET:
      break;  // of a newer client
  }
  readNext();
}

void LendStream::stand(const v1::DescribeServiceReply& offer) {
  const xo::ObjectInfo info = readOffer(offer, fHouse.access.limits());
  const std::string& service = offer.service();
  const auto& reserved = fHouse.reserved;
  if (!fHouse.isReady && std::ranges::find(reserved, service) != reserved.end()) {
    end({grpc::StatusCode::ALREADY_EXISTS,
         "The name " + service + " belongs to a service of the robot itself, which is starting"});
    return;
  }
  const auto calls =
      std::make_shared<LentCalls>(service, [weak = weak_from_this()](v1::LendReply message) {
        const auto self = weak.lock();
        return self && static_cast<LendStream&>(*self).send(std::move(message));
      });
  {
    std::scoped_lock lock(fMutex);
    fService = service;
    fCalls = calls;
  }
  std::vector<std::string> names;
  for (const auto& method : info.methods) names.push_back(method.doc.name);
  const Invoke invoke = [calls, names = std::move(names)](std::size_t method,
                                                          std::span<const HB::HBValue> args) {
    return calls->call(method, names[method], args);
  };
  hold();  // calls may come before the answer is on its way
  std::unique_ptr<xo::Session::Registration> registration;
  try {
    registration = fHouse.access.session()->registerService(service, makeDescribed(info, invoke));
  } catch (const xo::Error& error) {
    releaseAndEnd({grpc::StatusCode::ALREADY_EXISTS, error.what()});
    return;
  } catch (const std::exception& error) {
    releaseAndEnd({grpc::StatusCode::INTERNAL, error.what()});
    return;
  }
  v1::LendReply accepted;
  accepted.mutable_accepted();
  release(accepted);
  {
    std::scoped_lock lock(fMutex);
    if (!fIsLost) fRegistration.swap(registration);
  }
  if (registration) {  // lost meanwhile
    calls->lose("The process that lent " + service + " is gone");
    return;
  }
  const auto client = clientOf(context());
  kLog.info(service + " is lent by " + client.name + " at " + client.peer);
  fHouse.watch.add(std::static_pointer_cast<LendStream>(shared_from_this()));
}

void LendStream::pong(std::uint64_t number) {
  std::scoped_lock lock(fMutex);
  if (number == fPings) fPongs = number;
}

std::chrono::steady_clock::time_point LendStream::pingDue(
    std::chrono::steady_clock::time_point now) {
  v1::LendReply message;
  {
    std::scoped_lock lock(fMutex);
    if (fIsLost) return now + kPingEvery;
    if (fPings == fPongs) {
      if (now < fPinged + kPingEvery) return fPinged + kPingEvery;
      message.set_ping(++fPings);
      fPinged = now;
    } else if (now < fPinged + kPongWithin) {
      return std::min(now + kPongLook, fPinged + kPongWithin);
    }
  }
  if (message.has_ping()) {
    send(std::move(message));
  } else {
    lose("does not answer any more");
    cutOff({grpc::StatusCode::DEADLINE_EXCEEDED,
            "A ping was not answered within " + std::to_string(kPongWithin.count()) + " ms"});
  }
  return now + kPingEvery;
}

void LendStream::lose(const char* why) {
  std::unique_ptr<xo::Session::Registration> registration;
  std::shared_ptr<LentCalls> calls;
  std::string text;
  {
    std::scoped_lock lock(fMutex);
    if (std::exchange(fIsLost, true)) return;
    registration = std::move(fRegistration);
    calls = fCalls;
    text = "The process that lent " + fService + " " + why;
  }
  if (calls) calls->lose(text);
  if (!registration) return;
  kLog.info(text);
  registration.reset();  // waits for callers, who all have their answers
}

void LendStream::readsEnded() {
  lose("is gone");
  end(grpc::Status::OK);
}

void LendStream::gone() { lose(isDeaf() ? "does not read what it is sent" : "is gone"); }

void LendStream::closed() { lose("is gone"); }

void LendStream::endWithServer() {
  Duplex::endWithServer();
  lose("was let go: the robot is shutting down");
}

}  // namespace remote
