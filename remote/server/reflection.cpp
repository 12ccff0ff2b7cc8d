#include "remote/server/reflection.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <set>
#include <string>

#include "grpc/health/v1/health.grpc.pb.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {
namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using grpc::reflection::v1alpha::FileDescriptorResponse;
using grpc::reflection::v1alpha::ServerReflection;
using grpc::reflection::v1alpha::ServerReflectionRequest;
using grpc::reflection::v1alpha::ServerReflectionResponse;

void refuse(ServerReflectionResponse* response, grpc::StatusCode code, const std::string& text) {
  response->mutable_error_response()->set_error_code(code);
  response->mutable_error_response()->set_error_message(text);
}

/// With what it imports.
void appendFile(const FileDescriptor* file, std::set<const FileDescriptor*>* done,
                FileDescriptorResponse* response) {
  if (!done->insert(file).second) return;
  google::protobuf::FileDescriptorProto proto;
  file->CopyTo(&proto);
  response->add_file_descriptor_proto(proto.SerializeAsString());
  for (int i = 0; i < file->dependency_count(); ++i) {
    appendFile(file->dependency(i), done, response);
  }
}

void giveFile(const FileDescriptor* file, const std::string& name,
              ServerReflectionResponse* response) {
  if (file == nullptr) {
    refuse(response, grpc::StatusCode::NOT_FOUND, "There is no " + name);
    return;
  }
  std::set<const FileDescriptor*> done;
  appendFile(file, &done, response->mutable_file_descriptor_response());
}

ServerReflectionResponse answer(const ServerReflectionRequest& request) {
  const DescriptorPool& pool = *DescriptorPool::generated_pool();
  ServerReflectionResponse response;
  response.set_valid_host(request.host());
  *response.mutable_original_request() = request;
  switch (request.message_request_case()) {
    case ServerReflectionRequest::kFileByFilename:
      giveFile(pool.FindFileByName(request.file_by_filename()),
               "file '" + request.file_by_filename() + "'", &response);
      break;
    case ServerReflectionRequest::kFileContainingSymbol:
      giveFile(pool.FindFileContainingSymbol(request.file_containing_symbol()),
               "symbol '" + request.file_containing_symbol() + "'", &response);
      break;
    case ServerReflectionRequest::kFileContainingExtension:
      refuse(&response, grpc::StatusCode::NOT_FOUND, "There are no extensions");
      break;
    case ServerReflectionRequest::kAllExtensionNumbersOfType:
      if (pool.FindMessageTypeByName(request.all_extension_numbers_of_type()) == nullptr) {
        refuse(&response, grpc::StatusCode::NOT_FOUND,
               "There is no message '" + request.all_extension_numbers_of_type() + "'");
      } else {
        response.mutable_all_extension_numbers_response()->set_base_type_name(
            request.all_extension_numbers_of_type());
      }
      break;
    case ServerReflectionRequest::kListServices:
      for (const char* name :
           {tavro::v1::Robot::service_full_name(), grpc::health::v1::Health::service_full_name(),
            ServerReflection::service_full_name()}) {
        response.mutable_list_services_response()->add_service()->set_name(name);
      }
      break;
    case ServerReflectionRequest::MESSAGE_REQUEST_NOT_SET:
      refuse(&response, grpc::StatusCode::INVALID_ARGUMENT, "There is no question");
      break;
  }
  return response;
}

}  // namespace

/// One client's questions. The next one is read when the answer before is on its way.
class ReflectionService::Conversation final : public Duplex<Request, Response> {
 public:
  explicit Conversation(const door::Access& access) : fAccess(access) {}

 private:
  void opened() override { fPlace = fAccess.takeWatchPlace(clientOf(context())); }
  void received(Request request) override { send(answer(request)); }
  void drained() override { readNext(); }
  void readsEnded() override { end(grpc::Status::OK); }
  void gone() override {}

  const door::Access& fAccess;
  door::Access::Place fPlace;
};

void ReflectionService::begin(grpc::ServerCompletionQueue* queue,
                              const std::shared_ptr<void>& counted) {
  using Conversations = Duplex<Request, Response>;
  fConversations.name = "ServerReflectionInfo";
  fConversations.firstWords = fFirstWords;
  fConversations.ask = [this, queue](grpc::ServerContext* context,
                                     Conversations::Messages* messages, void* tag) {
    RequestServerReflectionInfo(context, messages, queue, queue, tag);
  };
  fConversations.make = [this] { return std::make_shared<Conversation>(fAccess); };
  Conversations::expect(fConversations, fEndables, counted);
}

}  // namespace remote
