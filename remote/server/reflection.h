// The standard answer to "what do you serve?", on the robot's own threads.
#pragma once

#include <memory>
#include <utility>

#include "access/access.h"
#include "grpc/reflection/v1alpha/reflection.grpc.pb.h"
#include "remote/server/duplex.h"

namespace remote {

using ReflectionBase = grpc::reflection::v1alpha::ServerReflection::AsyncService;

/// Each stream counts as a watch. Thread-safe once begun.
class ReflectionService final : public ReflectionBase {
 public:
  ReflectionService(const door::Access& access, Endables& endables,
                    std::shared_ptr<FirstWords> firstWords)
      : fAccess(access), fEndables(endables), fFirstWords(std::move(firstWords)) {}

  void begin(grpc::ServerCompletionQueue* queue, const std::shared_ptr<void>& counted);

 private:
  using Request = grpc::reflection::v1alpha::ServerReflectionRequest;
  using Response = grpc::reflection::v1alpha::ServerReflectionResponse;
  class Conversation;

  const door::Access& fAccess;
  Endables& fEndables;
  const std::shared_ptr<FirstWords> fFirstWords;
  Duplex<Request, Response>::Method fConversations;
};

}  // namespace remote
