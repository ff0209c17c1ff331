#pragma once

// The gRPC side of rpc_bench: a sync unary server whose Get answers the EthernetInfo of
// bindings_bench's protobuf comparison (the content of Bench::MakeInfo), and the callers that
// call it. Apart from rpc_bench.cpp so that the benchmark itself includes no gRPC header.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace Bench {

// Starts the server on 127.0.0.1 with a free port, insecure, and calls `ready` with its port (0
// when it did not start) while it serves. `threads` is 1 or 2: what gRPC really runs for each is
// said in the .cpp. Meant for a freshly forked child, so that gRPC starts its threads there and
// is never initialised in the process that forks.
void ServeGrpcEthernet(unsigned threads, std::function<void(unsigned short)> const& ready);

// `callers` callers on one channel, each with a sync stub of its own.
class GrpcEthernetClient {
 public:
  GrpcEthernetClient(unsigned short port, std::size_t callers);
  ~GrpcEthernetClient();
  GrpcEthernetClient(GrpcEthernetClient const&) = delete;
  GrpcEthernetClient& operator=(GrpcEthernetClient const&) = delete;

  // One blocking Get by caller `caller` (below `callers`); true when it answered OK.
  bool Get(std::size_t caller, std::string const& vm, std::string const& nic) const;

 private:
  struct Stubs;
  std::unique_ptr<Stubs> stubs_;
};

}  // namespace Bench
