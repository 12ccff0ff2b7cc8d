// A client that asks for a watch and then never reads.
#pragma once

#include <grpcpp/grpcpp.h>

#include <memory>
#include <string>

#include "tavro/v1/robot.grpc.pb.h"

namespace remote {

/// Makes no room for more than a connection's first windows hold. Ends its watch when it goes.
class DeafWatch {
 public:
  explicit DeafWatch(const std::string& address) {
    grpc::ChannelArguments args;
    args.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    args.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);
    fStub = tavro::v1::Robot::NewStub(
        grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), args));
    fReader = fStub->Watch(&fContext, {});
  }
  ~DeafWatch() { fContext.TryCancel(); }
  DeafWatch(const DeafWatch&) = delete;
  DeafWatch& operator=(const DeafWatch&) = delete;

 private:
  grpc::ClientContext fContext;
  std::unique_ptr<tavro::v1::Robot::Stub> fStub;
  std::unique_ptr<grpc::ClientReader<tavro::v1::WatchReply>> fReader;
};

}  // namespace remote
