// A gRPC client that learns the robot's whole contract from the robot itself, by server reflection.
import grpc from "@grpc/grpc-js";
import protobuf from "protobufjs";
import "protobufjs/ext/descriptor/index.js";

// gRPC's own reflection service; the only contract that is written down here.
const reflection = protobuf.parse(`
  syntax = "proto3";
  package grpc.reflection.v1alpha;
  message ServerReflectionRequest {
    oneof message_request {
      string file_containing_symbol = 4;
      string list_services = 7;
    }
  }
  message ServerReflectionResponse {
    oneof message_response {
      FileDescriptorResponse file_descriptor_response = 4;
      ListServiceResponse list_services_response = 6;
    }
  }
  message FileDescriptorResponse { repeated bytes file_descriptor_proto = 1; }
  message ListServiceResponse { repeated ServiceResponse service = 1; }
  message ServiceResponse { string name = 1; }
`).root;

/** One question to the reflection service. */
function ask(client, question) {
  const Request = reflection.lookupType("grpc.reflection.v1alpha.ServerReflectionRequest");
  const Response = reflection.lookupType("grpc.reflection.v1alpha.ServerReflectionResponse");
  return new Promise((resolve, reject) => {
    const call = client.makeBidiStreamRequest(
      "/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo",
      (message) => Buffer.from(Request.encode(message).finish()),
      (bytes) => Response.decode(bytes),
    );
    call.on("data", resolve);
    call.on("error", reject);
    call.write(Request.create(question));
    call.end();
  });
}

/**
 * Connects to `address` ("127.0.0.1:5480", "unix:/path") and makes a method of each RPC of
 * `serviceName`: unary ones return promises, streams return gRPC's call objects. `rpcs` names them.
 */
export async function connect(address, serviceName) {
  const client = new grpc.Client(address, grpc.credentials.createInsecure());
  const listed = await ask(client, { listServices: "*" });
  const services = listed.listServicesResponse.service.map((one) => one.name);
  const found = await ask(client, { fileContainingSymbol: serviceName });
  const FileDescriptor = protobuf.descriptor.FileDescriptorProto;
  const files = found.fileDescriptorResponse.fileDescriptorProto.map((bytes) => FileDescriptor.decode(bytes));
  const root = protobuf.Root.fromDescriptor({ file: files });
  root.resolveAll();
  const robot = { services, rpcs: {}, close: () => client.close() };
  for (const method of root.lookupService(serviceName).methodsArray) {
    robot.rpcs[method.name] = { requestStream: !!method.requestStream, responseStream: !!method.responseStream };
    robot[method.name] = bind(client, serviceName, method);
  }
  return robot;
}

function bind(client, serviceName, method) {
  const path = `/${serviceName}/${method.name}`;
  const Request = method.resolvedRequestType;
  const Response = method.resolvedResponseType;
  const serialize = (message) => Buffer.from(Request.encode(Request.fromObject(message)).finish());
  const deserialize = (bytes) =>
    Response.toObject(Response.decode(bytes), { enums: String, longs: Number, oneofs: true });
  if (method.requestStream) {
    return () => client.makeBidiStreamRequest(path, serialize, deserialize);
  }
  if (method.responseStream) {
    return (request = {}) => client.makeServerStreamRequest(path, serialize, deserialize, request);
  }
  return (request = {}, options = {}) =>
    new Promise((resolve, reject) => {
      const call = client.makeUnaryRequest(path, serialize, deserialize, request, options, (error, reply) =>
        error ? reject(error) : resolve(reply),
      );
      options.onCall?.(call);
    });
}

/** The next message of a stream. */
export function next(stream) {
  return new Promise((resolve, reject) => {
    stream.once("data", (message) => {
      stream.pause();
      stream.off("error", reject);
      resolve(message);
    });
    stream.once("error", reject);
    stream.resume();
  });
}
