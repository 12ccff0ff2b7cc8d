#include "remote/server/robot_service.h"

#include <utility>
#include <vector>

#include "framework/xo/log.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"
#include "remote/server/robot_info.h"
#include "remote/server/watch_stream.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;

const xo::log::Category kLog("remote");

/// What a handler throws becomes the status of its reply.
template <class Work>
grpc::Status statusAfter(Work work) {
  try {
    work();
    return grpc::Status::OK;
  } catch (const door::Refused& refused) {
    return statusOf(refused);
  } catch (const std::exception& error) {
    kLog.error(std::string("A request failed: ") + error.what());
    return {grpc::StatusCode::INTERNAL, error.what()};
  }
}

}  // namespace

RobotService::RobotService(door::Access& access, std::string softwareVersion,
                           std::vector<std::string> reservedNames)
    : fAccess(access),
      fSoftwareVersion(std::move(softwareVersion)),
      fLendHouse{access, {}, std::move(reservedNames)} {}

template <class Request, class Reply, class Ask>
void RobotService::take(typename Exchange<Request, Reply>::Method& method, Ask ask,
                        Question<Request, Reply> question) {
  using One = Exchange<Request, Reply>;
  method.ask = [this, ask](grpc::ServerContext* context, Request* request,
                           grpc::ServerAsyncResponseWriter<Reply>* responder, void* tag) {
    (this->*ask)(context, request, responder, fQueue, fQueue, tag);
  };
  method.handle = [this, question](const typename One::Pointer& exchange) {
    if (fEndables.isEnding()) {
      exchange->sendReply(shuttingDown());
      return;
    }
    exchange->sendReply(statusAfter(
        [&] { (this->*question)(exchange->context, exchange->request, &exchange->reply); }));
  };
  One::expect(method, fCounted.lock());
}

void RobotService::begin(grpc::ServerCompletionQueue* queue, std::shared_ptr<void> counted) {
  fQueue = queue;
  fCounted = counted;
  take<v1::GetInfoRequest, v1::GetInfoReply>(fInfo, &RobotService::RequestGetInfo,
                                             &RobotService::info);
  take<v1::ListServicesRequest, v1::ListServicesReply>(fList, &RobotService::RequestListServices,
                                                       &RobotService::list);
  take<v1::DescribeServiceRequest, v1::DescribeServiceReply>(
      fDescribe, &RobotService::RequestDescribeService, &RobotService::describe);
  take<v1::ListCallsRequest, v1::ListCallsReply>(fListCalls, &RobotService::RequestListCalls,
                                                 &RobotService::listCalls);
  take<v1::StopCallRequest, v1::StopCallReply>(fStopCall, &RobotService::RequestStopCall,
                                               &RobotService::stopCall);
  takeReads();
  takeCalls();
  takeStarts();
  takeLends();
  takeWatches();
}

void RobotService::takeReads() {
  fRead.ask = [this](grpc::ServerContext* context, v1::ReadMemoryRequest* request,
                     grpc::ServerAsyncResponseWriter<v1::ReadMemoryReply>* responder, void* tag) {
    RequestReadMemory(context, request, responder, fQueue, fQueue, tag);
  };
  fRead.handle = [this](const ReadExchange::Pointer& exchange) {
    exchange->sendReply(fEndables.isEnding() ? shuttingDown()
                                             : statusAfter([&] { read(*exchange); }));
  };
  ReadExchange::expect(fRead, fCounted.lock());
}

void RobotService::takeCalls() {
  fCall.ask = [this](grpc::ServerContext* context, v1::CallRequest* request,
                     grpc::ServerAsyncResponseWriter<v1::CallReply>* responder,
                     void* tag) { RequestCall(context, request, responder, fQueue, fQueue, tag); };
  fCall.handle = [this](const CallExchange::Pointer& exchange) {
    if (fEndables.isEnding()) {
      exchange->sendReply(shuttingDown());
      return;
    }
    const grpc::Status status = statusAfter([&] { call(exchange); });
    if (!status.ok()) exchange->sendReply(status);
  };
  CallExchange::expect(fCall, fCounted.lock());
}

void RobotService::takeStarts() {
  fStarts.name = "Start";
  fStarts.firstWords = fFirstWords;
  fStarts.ask = [this](grpc::ServerContext* context, StartCall::Messages* messages, void* tag) {
    RequestStart(context, messages, fQueue, fQueue, tag);
  };
  fStarts.make = [this] { return std::make_shared<StartCall>(fAccess); };
  StartCall::expect(fStarts, fEndables, fCounted.lock());
}

void RobotService::takeLends() {
  fLends.name = "Lend";
  fLends.firstWords = fFirstWords;
  fLends.ask = [this](grpc::ServerContext* context, LendStream::Messages* messages, void* tag) {
    RequestLend(context, messages, fQueue, fQueue, tag);
  };
  fLends.make = [this] { return std::make_shared<LendStream>(fLendHouse); };
  LendStream::expect(fLends, fEndables, fCounted.lock());
}

void RobotService::setModules(std::function<std::vector<std::string>()> modules) {
  std::scoped_lock lock(fMutex);
  fModules = std::move(modules);
}

void RobotService::setReady(const std::string& robotName) {
  fLendHouse.isReady = true;
  std::scoped_lock lock(fMutex);
  fIsReady = true;
  fRobotName = replaceInvalidUtf8(robotName);
}

void RobotService::end() {
  fEndables.endAll();
  fAccess.cancelAllBy(kTransport);
}

void RobotService::takeWatches() {
  fWatch.ask = [this](grpc::ServerContext* context, v1::WatchRequest* request,
                      grpc::ServerAsyncWriter<v1::WatchReply>* writer,
                      void* tag) { RequestWatch(context, request, writer, fQueue, fQueue, tag); };
  fWatch.make = [this] { return std::make_shared<WatchStream>(fAccess); };
  WatchStream::expect(fWatch, fEndables, fCounted.lock());
  fWatchServices.ask = [this](grpc::ServerContext* context, v1::WatchServicesRequest* request,
                              grpc::ServerAsyncWriter<v1::WatchServicesReply>* writer, void* tag) {
    RequestWatchServices(context, request, writer, fQueue, fQueue, tag);
  };
  fWatchServices.make = [this] { return std::make_shared<ServiceWatch>(fAccess); };
  ServiceWatch::expect(fWatchServices, fEndables, fCounted.lock());
}

void RobotService::info(const grpc::ServerContext& context, const v1::GetInfoRequest&,
                        v1::GetInfoReply* reply) {
  std::function<std::vector<std::string>()> modules;
  {
    std::scoped_lock lock(fMutex);
    reply->set_robot_name(fRobotName);
    reply->set_ready(fIsReady);
    modules = fModules;
  }
  if (modules) {
    for (const auto& name : modules()) reply->add_modules(replaceInvalidUtf8(name));
  }
  reply->set_role(door::nameOf(clientOf(context).role));
  for (const auto& limit : fAccess.listLimits()) {
    auto* const named = reply->add_limits();
    named->set_name(limit.name);
    named->set_most(limit.most);
  }
  reply->set_software_version(fSoftwareVersion);
  reply->set_protocol_major(kProtocolMajor);
  reply->set_protocol_minor(kProtocolMinor);
  const auto uptime = std::chrono::steady_clock::now() - fStart;
  reply->set_uptime_ms(static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(uptime).count()));
  for (const auto& name : fAccess.services()) reply->add_services(replaceInvalidUtf8(name));
}

void RobotService::list(const grpc::ServerContext&, const v1::ListServicesRequest&,
                        v1::ListServicesReply* reply) {
  for (const auto& name : fAccess.services()) reply->add_services(replaceInvalidUtf8(name));
}

void RobotService::describe(const grpc::ServerContext&, const v1::DescribeServiceRequest& request,
                            v1::DescribeServiceReply* reply) {
  const xo::ObjectInfo info = fAccess.describe(request.service());
  reply->set_service(request.service());
  reply->set_description(replaceInvalidUtf8(info.description));
  for (const auto& method : info.methods) toWire(method, reply->add_methods());
}

void RobotService::read(ReadExchange& exchange) {
  const door::Outcome outcome =
      fAccess.readMemory(clientOf(exchange.context), exchange.request.key(), &exchange.stop);
  if (outcome.hasFailed()) {
    errorToWire(outcome.errorKind, outcome.errorText, exchange.reply.mutable_error());
  } else {
    toWire(outcome.value, exchange.reply.mutable_value());
  }
}

void RobotService::listCalls(const grpc::ServerContext&, const v1::ListCallsRequest&,
                             v1::ListCallsReply* reply) {
  fillCalls(fAccess, reply);
}

void RobotService::stopCall(const grpc::ServerContext& context, const v1::StopCallRequest& request,
                            v1::StopCallReply* reply) {
  reply->set_found(fAccess.cancel(clientOf(context), request.id()));
}

void RobotService::call(const CallExchange::Pointer& exchange) {
  const v1::CallRequest& request = exchange->request;
  const door::Client client = clientOf(exchange->context);
  const bool isAwaited = request.completion() == v1::COMPLETION_FINISHED;
  std::vector<HB::HBValue> args;
  args.reserve(static_cast<std::size_t>(request.args_size()));
  for (const auto& arg : request.args()) args.push_back(fromWire(arg));

  door::Access::Place place;
  if (isAwaited) place = fAccess.takeFuturePlace(client);
  door::Outcome outcome = fAccess.call(client, request.service(), request.method(), args,
                                       &exchange->stop, &Crew::expectLong);
  exchange->reply.set_has_future(outcome.future.has_value());
  if (outcome.future && isAwaited) {
    PendingCall::start(exchange, *outcome.future, std::move(place), fEndables);
    return;
  }
  fillReply(outcome, &exchange->reply);
  exchange->sendReply(grpc::Status::OK);
}

}  // namespace remote
