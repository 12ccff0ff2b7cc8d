// A client that lends a service and says what the test tells it to say.
#pragma once

#include <grpcpp/grpcpp.h>

#include <memory>

#include "remote/test/test_robot.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {

class RawLender {
 public:
  explicit RawLender(const TestRobot& robot)
      : stub(tavro::v1::Robot::NewStub(
            grpc::CreateChannel(robot.server->tcpAddress(), grpc::InsecureChannelCredentials()))),
        stream(stub->Lend(&context)) {}
  ~RawLender() { context.TryCancel(); }

  void offer(const tavro::v1::DescribeServiceReply& offer) {
    tavro::v1::LendRequest request;
    *request.mutable_offer() = offer;
    stream->Write(request);
  }
  /// The status that ends the stream.
  grpc::Status end() {
    tavro::v1::LendReply reply;
    while (stream->Read(&reply)) {
    }
    return stream->Finish();
  }

  grpc::ClientContext context;
  std::unique_ptr<tavro::v1::Robot::Stub> stub;
  std::unique_ptr<grpc::ClientReaderWriter<tavro::v1::LendRequest, tavro::v1::LendReply>> stream;
};

inline tavro::v1::DescribeServiceReply goodOffer() {
  tavro::v1::DescribeServiceReply offer;
  offer.set_service("Raw");
  auto* const method = offer.add_methods();
  method->set_name("go");
  method->mutable_signature()->add_params()->set_kind(tavro::v1::Type::KIND_INT);
  method->mutable_signature()->mutable_result()->set_kind(tavro::v1::Type::KIND_INT);
  return offer;
}

}  // namespace remote
