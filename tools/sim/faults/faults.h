#pragma once

// Faults that the simulator injects on request, so that a client's handling of a slow, failing or
// vanishing server can be tested: latency before each call, a share of calls failing with a chosen
// standard error, a share of requests whose connection is dropped. Settings change while the
// server runs; calls read them without a lock.

#include <opax/core/message/error_ids.h>
#include <opax/core/provider/api_provider.h>

#include <boost/asio/io_context.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace Sim {

struct FaultSettings {
  std::chrono::milliseconds latency{0};
  double failureRate = 0;  // 0..1
  // The standard error's short name ("service_unavailable", "timed_out", ...), as in its error id.
  std::string error = "service_unavailable";
  double dropRate = 0;  // 0..1
};

class Faults {
 public:
  static constexpr std::chrono::milliseconds kMaxLatency{60000};

  // False, leaving the settings as they were, when one is out of range or the error is not a
  // standard error's name; `problem` then says which.
  bool Set(FaultSettings const& settings, std::string& problem);
  FaultSettings Get() const;

  std::chrono::milliseconds latency() const {
    return std::chrono::milliseconds(latencyMs_.load(std::memory_order_relaxed));
  }
  // Whether this call or request is the one to fail or to drop.
  bool FailThisCall() const;
  bool DropThisRequest() const;
  // The error id of the chosen standard error.
  char const* errorId() const;

 private:
  std::atomic<long> latencyMs_{0};
  // Rates as parts per million, so that one atomic integer holds each.
  std::atomic<unsigned> failurePpm_{0};
  std::atomic<unsigned> dropPpm_{0};
  // One of ErrorIds::kAll: a failed call names its error without building a string.
  std::atomic<char const*> error_{::Opax::ErrorIds::kServiceUnavailable};
};

// The provider that the server hosts: delays and fails calls of the catalogue as `faults` say,
// then hands them to `inner`; the simulator's own services are never delayed or failed. Delays wait on a
// timer of its own thread, never on an I/O thread.
class FaultyProvider : public ::Opax::Provider::ApiProvider {
 public:
  FaultyProvider(std::shared_ptr<::Opax::Provider::ApiProvider> inner, std::shared_ptr<Faults const> faults);
  ~FaultyProvider() override;

  void InvokeAsync(std::shared_ptr<::Opax::Core::MethodIdentifier const> const& method,
                   std::shared_ptr<::Opax::Data::DataValue const> const& input,
                   std::shared_ptr<::Opax::Core::AsyncActivation> const& activation,
                   std::shared_ptr<::Opax::Core::AsyncApiResultCb> const& callback) override;

 private:
  std::shared_ptr<::Opax::Provider::ApiProvider> inner_;
  std::shared_ptr<Faults const> faults_;
  boost::asio::io_context timers_;
  std::unique_ptr<std::thread> thread_;
};

}  // namespace Sim
