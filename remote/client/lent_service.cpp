#include "remote/client/lent_service.h"

#include <stdexcept>
#include <utility>

#include "remote/client/lend_link.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"

namespace remote {
namespace {

xo::ObjectBuilder named(const std::string& name, xo::ObjectBuilder builder) {
  builder.setName(name);
  return builder;
}

}  // namespace

LentService::LentService(std::string name, xo::ObjectBuilder builder)
    : fName(std::move(name)), fOwner(named(fName, std::move(builder)), &fEnding) {
  const xo::ObjectInfo info = fOwner.object().describe();
  fOffer.set_service(fName);
  fOffer.set_description(replaceInvalidUtf8(info.description));
  for (const auto& method : info.methods) {
    if (method.signature.isRemote()) toWire(method, fOffer.add_methods());
  }
}

xo::CallResult LentService::call(std::uint32_t method, std::span<const HB::HBValue> args,
                                 xo::StopFlag* stop) const {
  if (method >= static_cast<std::uint32_t>(fOffer.methods_size())) {
    throw std::invalid_argument(fName + " has no method number " + std::to_string(method));
  }
  const xo::CallScope scope(nullptr, stop);
  return fOwner.object().callDynamic(fOffer.methods(static_cast<int>(method)).name(), args);
}

Lender::Lender(std::string name, xo::ObjectBuilder builder)
    : fService(std::make_shared<LentService>(std::move(name), std::move(builder))),
      fWorkers("lent." + fService->name(), kLentThreads) {}

Lender::~Lender() { close(); }

void Lender::close() {
  {
    std::scoped_lock lock(fMutex);
    fIsClosed = true;
  }
  if (const auto last = link()) {
    last->abort();
    last->waitUntilLost(xo::kInfiniteTimeout);
  }
  fService->close();
}

void Lender::offerTo(RobotClient::Connection& connection) {
  auto next = LendLink::lend(connection, fService, fWorkers);
  bool isClosed = false;
  {
    std::scoped_lock lock(fMutex);
    isClosed = fIsClosed;
    fLink = next;
  }
  if (!isClosed) return;
  next->abort();
  next->waitUntilLost(xo::kInfiniteTimeout);
}

std::shared_ptr<LendLink> Lender::link() const {
  std::scoped_lock lock(fMutex);
  return fLink;
}

bool Lender::isStanding() const {
  const auto now = link();
  return now && now->isStanding();
}

bool Lender::waitUntilLost(int milliseconds) const {
  const auto now = link();
  return !now || now->waitUntilLost(milliseconds);
}

std::string Lender::loss() const {
  const auto now = link();
  return now ? now->loss() : "It was not lent yet";
}

std::unique_ptr<Lending> RobotClient::lend(const std::string& service, xo::ObjectBuilder builder) {
  requireUtf8(service, "The service");
  auto lender = std::make_unique<Lender>(service, std::move(builder));
  lender->offerTo(*fConnection);
  return lender;
}

}  // namespace remote
