// Many calls over one connection, without a thread each, and with whatever a message can hold.
#pragma once

#include <grpcpp/grpcpp.h>

#include <list>
#include <map>
#include <memory>
#include <string>

#include "remote/proto/convert.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace tests {

/// A connection of its own, by which messages of any size may go.
inline std::unique_ptr<tavro::v1::Robot::Stub> rawStub(const std::string& address) {
  grpc::ChannelArguments args;
  args.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  args.SetMaxSendMessageSize(-1);
  return tavro::v1::Robot::NewStub(
      grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), args));
}

inline tavro::v1::CallRequest callOf(const std::string& service, const std::string& method,
                                     const std::vector<HB::HBValue>& args) {
  tavro::v1::CallRequest request;
  request.set_service(service);
  request.set_method(method);
  for (const auto& value : args) remote::toWire(value, request.add_args());
  return request;
}

class RawCalls {
 public:
  explicit RawCalls(const std::string& address) : fStub(rawStub(address)) {}
  ~RawCalls() {
    cancel();
    wait();
    fQueue.Shutdown();
  }
  RawCalls(const RawCalls&) = delete;
  RawCalls& operator=(const RawCalls&) = delete;

  void begin(const tavro::v1::CallRequest& request) {
    One& one = fCalls.emplace_back();
    one.reader = fStub->AsyncCall(&one.context, request, &fQueue);
    one.reader->Finish(&one.reply, &one.status, &one);
    ++fUnderWay;
  }
  void cancel() {
    for (One& one : fCalls) one.context.TryCancel();
  }
  /// Returns when every call has ended: how many of them with which status.
  std::map<grpc::StatusCode, int> wait() {
    void* tag = nullptr;
    for (bool ok = false; fUnderWay > 0; --fUnderWay) {
      fQueue.Next(&tag, &ok);
      ++fEnded[static_cast<One*>(tag)->status.error_code()];
    }
    return fEnded;
  }

 private:
  struct One {
    grpc::ClientContext context;
    tavro::v1::CallReply reply;
    grpc::Status status;
    std::unique_ptr<grpc::ClientAsyncResponseReader<tavro::v1::CallReply>> reader;
  };
  grpc::CompletionQueue fQueue;
  const std::unique_ptr<tavro::v1::Robot::Stub> fStub;
  std::list<One> fCalls;
  int fUnderWay = 0;
  std::map<grpc::StatusCode, int> fEnded;
};

}  // namespace tests
