// What the server does with each call of the wire: turns it into a question to Access and the
// answer into a reply. No behaviour of its own.
#pragma once

#include <grpcpp/grpcpp.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "access/access.h"
#include "remote/server/endables.h"
#include "remote/server/lend_stream.h"
#include "remote/server/pending_call.h"
#include "remote/server/service_watch.h"
#include "remote/server/start_call.h"
#include "remote/server/stream.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {

/// Everything comes by one completion queue. (A method of gRPC's callback API would bring in
/// threads of its own, which then stand between the sockets and the queue for every call.)
using RobotBase = tavro::v1::Robot::AsyncService;

/// Thread-safe once begun.
class RobotService final : public RobotBase {
 public:
  /// Clients cannot lend services of `reservedNames`.
  RobotService(door::Access& access, std::string softwareVersion,
               std::vector<std::string> reservedNames = {});

  /// Begins to take calls from `queue`. `counted` is held by every call and stream.
  void begin(grpc::ServerCompletionQueue* queue, std::shared_ptr<void> counted);
  void setReady(const std::string& robotName);
  /// Where the names of the robot's modules come from; a function that may be called at any time.
  void setModules(std::function<std::vector<std::string>()> modules);
  Endables& endables() { return fEndables; }
  const std::shared_ptr<FirstWords>& firstWords() const { return fFirstWords; }
  /// Ends streams, cancels the futures that clients wait for, asks running calls to stop, and
  /// refuses what comes from now on.
  void end();

 private:
  using ReadExchange = Exchange<tavro::v1::ReadMemoryRequest, tavro::v1::ReadMemoryReply>;
  template <class Request, class Reply>
  using Question = void (RobotService::*)(const grpc::ServerContext&, const Request&, Reply*);
  template <class Request, class Reply, class Ask>
  void take(typename Exchange<Request, Reply>::Method& method, Ask ask,
            Question<Request, Reply> question);
  void takeCalls();
  void takeReads();
  void takeWatches();
  void takeStarts();
  void takeLends();

  void info(const grpc::ServerContext& context, const tavro::v1::GetInfoRequest&,
            tavro::v1::GetInfoReply* reply);
  void list(const grpc::ServerContext& context, const tavro::v1::ListServicesRequest&,
            tavro::v1::ListServicesReply* reply);
  void describe(const grpc::ServerContext& context,
                const tavro::v1::DescribeServiceRequest& request,
                tavro::v1::DescribeServiceReply* reply);
  void read(ReadExchange& exchange);
  void listCalls(const grpc::ServerContext& context, const tavro::v1::ListCallsRequest&,
                 tavro::v1::ListCallsReply* reply);
  void stopCall(const grpc::ServerContext& context, const tavro::v1::StopCallRequest& request,
                tavro::v1::StopCallReply* reply);
  void call(const CallExchange::Pointer& exchange);

  door::Access& fAccess;
  const std::string fSoftwareVersion;
  const std::chrono::steady_clock::time_point fStart = std::chrono::steady_clock::now();
  Endables fEndables;
  const std::shared_ptr<FirstWords> fFirstWords = std::make_shared<FirstWords>();
  grpc::ServerCompletionQueue* fQueue = nullptr;
  std::weak_ptr<void> fCounted;

  mutable std::mutex fMutex;
  bool fIsReady = false;
  std::string fRobotName;
  std::function<std::vector<std::string>()> fModules;

  Exchange<tavro::v1::GetInfoRequest, tavro::v1::GetInfoReply>::Method fInfo;
  Exchange<tavro::v1::ListServicesRequest, tavro::v1::ListServicesReply>::Method fList;
  Exchange<tavro::v1::DescribeServiceRequest, tavro::v1::DescribeServiceReply>::Method fDescribe;
  ReadExchange::Method fRead;
  Exchange<tavro::v1::ListCallsRequest, tavro::v1::ListCallsReply>::Method fListCalls;
  Exchange<tavro::v1::StopCallRequest, tavro::v1::StopCallReply>::Method fStopCall;
  CallExchange::Method fCall;
  StartCall::Method fStarts;
  LendStream::House fLendHouse;
  LendStream::Method fLends;
  Stream<tavro::v1::WatchRequest, tavro::v1::WatchReply>::Method fWatch;
  ServiceWatch::Method fWatchServices;
};

}  // namespace remote
