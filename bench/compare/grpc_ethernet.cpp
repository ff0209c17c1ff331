#include "grpc_ethernet.h"

#include "ethernet_proto.h"

#include <ethernet_service.grpc.pb.h>
#include <grpcpp/grpcpp.h>

#include <vector>

namespace Bench {
namespace {

namespace Pb = nexar::bench;

class EthernetService final : public Pb::Ethernet::Service {
 public:
  EthernetService() { FillProto(info_); }

  // Like our server's implementation, which answers an Info built once, this copies a message
  // built once: each side pays for its reply's conversion and encoding, not for building it.
  grpc::Status Get(grpc::ServerContext*, Pb::GetRequest const*, Pb::EthernetInfo* reply) override {
    *reply = info_;
    return grpc::Status::OK;
  }

 private:
  Pb::EthernetInfo info_;
};

// The sync server has no fixed thread count: each completion queue has a manager that keeps
// between MIN_POLLERS and MAX_POLLERS threads waiting for requests, and a thread that takes one
// handles it itself, starting another poller first if fewer than MIN_POLLERS are left. With
// MIN_POLLERS equal to MAX_POLLERS that start happens on every request (the handling thread then
// finds the pollers full and ends): a thread per call, which here more than doubled the server's
// CPU per call. So "one thread" is one queue with one to two pollers (gRPC's defaults) and "two
// threads" one queue with two to three; under load a poller may still start while all of them
// handle calls. Beside them gRPC keeps about eight threads of its own in the process (executors,
// timers, its event engine), mostly idle: the benchmark's server_os_threads counter shows the
// count the process really had.
void SetThreads(grpc::ServerBuilder& builder, unsigned threads) {
  int const pollers = threads < 2 ? 1 : 2;
  builder.SetSyncServerOption(grpc::ServerBuilder::NUM_CQS, 1);
  builder.SetSyncServerOption(grpc::ServerBuilder::MIN_POLLERS, pollers);
  builder.SetSyncServerOption(grpc::ServerBuilder::MAX_POLLERS, pollers + 1);
}

}  // namespace

void ServeGrpcEthernet(unsigned threads, std::function<void(unsigned short)> const& ready) {
  EthernetService service;
  grpc::ServerBuilder builder;
  int port = 0;
  builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
  builder.RegisterService(&service);
  SetThreads(builder, threads);
  std::unique_ptr<grpc::Server> const server = builder.BuildAndStart();
  ready(server && port > 0 ? static_cast<unsigned short>(port) : 0);
}

// One channel for all callers, the framework's usual way for concurrent calls: a channel is one
// HTTP/2 connection that carries them as concurrent streams, and a stub is a cheap handle on it.
// (Our client instead opens a connection per caller, as HTTP/1.1 needs.)
struct GrpcEthernetClient::Stubs {
  std::vector<std::unique_ptr<Pb::Ethernet::Stub>> perCaller;
};

GrpcEthernetClient::GrpcEthernetClient(unsigned short port, std::size_t callers) : stubs_(new Stubs) {
  grpc::ChannelArguments arguments;
  // Straight to the loopback server, whatever proxy the environment names.
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  auto const channel = grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(port),
                                                 grpc::InsecureChannelCredentials(), arguments);
  for (std::size_t c = 0; c < callers; ++c) stubs_->perCaller.push_back(Pb::Ethernet::NewStub(channel));
}

GrpcEthernetClient::~GrpcEthernetClient() = default;

bool GrpcEthernetClient::Get(std::size_t caller, std::string const& vm, std::string const& nic) const {
  grpc::ClientContext context;
  Pb::GetRequest request;
  request.set_vm(vm);
  request.set_nic(nic);
  Pb::EthernetInfo reply;
  return stubs_->perCaller[caller]->Get(&context, request, &reply).ok();
}

}  // namespace Bench
