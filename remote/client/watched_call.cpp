#include "remote/client/watched_call.h"

#include <grpcpp/completion_queue.h>

#include "remote/proto/convert.h"

namespace remote {

namespace v1 = tavro::v1;
using Fault = RemoteError::Fault;

HB::HBValue callWatched(RobotClient::Connection& connection, const v1::CallRequest& request,
                        const IsGivenUp& isGivenUp) {
  grpc::CompletionQueue queue;  // of this call alone: the waiting thread itself reads the reply
  grpc::ClientContext context;
  v1::CallReply reply;
  grpc::Status status;
  const auto call = connection.stub->AsyncCall(&context, request, &queue);
  call->Finish(&reply, &status, nullptr);
  void* tag = nullptr;
  bool ok = false;
  bool isCancelled = false;
  while (queue.AsyncNext(&tag, &ok, std::chrono::system_clock::now() + kLookEvery) ==
         grpc::CompletionQueue::TIMEOUT) {
    if (isCancelled || !isGivenUp()) continue;
    isCancelled = true;
    context.TryCancel();
  }
  queue.Shutdown();
  while (queue.Next(&tag, &ok)) {
  }
  if (!status.ok()) {
    if (isCancelled) throw RemoteError(Fault::kCancelled, "The call was cancelled");
    throw connection.errorOf(status);
  }
  if (reply.has_error()) {
    throw RemoteError(Fault::kFailed, exactText(reply.error()), reply.error().kind());
  }
  return fromWire(reply.value());
}

}  // namespace remote
