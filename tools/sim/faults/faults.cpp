#include "faults.h"

#include <opax/core/data/data_value.h>
#include <opax/core/invocation/method_result.h>
#include <opax/core/message/base_message.h>
#include <opax/core/message/error_ids.h>
#include <opax/core/message/message.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>

#include <random>

namespace Sim {
namespace {

constexpr double kMillion = 1e6;

// Each thread draws from its own generator: no shared state on the call path.
bool Roll(unsigned ppm) {
  if (ppm == 0) return false;
  thread_local std::minstd_rand generator{std::random_device{}()};
  return std::uniform_int_distribution<unsigned>(0, 999999)(generator) < ppm;
}

}  // namespace

bool Faults::Set(FaultSettings const& settings, std::string& problem) {
  if (settings.latency.count() < 0 || settings.latency > kMaxLatency) {
    problem = "latency_ms";
    return false;
  }
  if (!(settings.failureRate >= 0 && settings.failureRate <= 1)) {
    problem = "failure_rate";
    return false;
  }
  if (!(settings.dropRate >= 0 && settings.dropRate <= 1)) {
    problem = "drop_rate";
    return false;
  }
  // Any standard error, by its short name.
  char const* error = nullptr;
  for (char const* id : ::Opax::ErrorIds::kAll) {
    if (settings.error == ::Opax::ErrorIds::ShortName(id)) error = id;
  }
  if (error == nullptr) {
    problem = "error";
    return false;
  }
  latencyMs_.store(static_cast<long>(settings.latency.count()));
  failurePpm_.store(static_cast<unsigned>(settings.failureRate * kMillion + 0.5));
  dropPpm_.store(static_cast<unsigned>(settings.dropRate * kMillion + 0.5));
  error_.store(error);
  return true;
}

FaultSettings Faults::Get() const {
  FaultSettings settings;
  settings.latency = latency();
  settings.failureRate = failurePpm_.load() / kMillion;
  settings.dropRate = dropPpm_.load() / kMillion;
  settings.error = ::Opax::ErrorIds::ShortName(error_.load());
  return settings;
}

bool Faults::FailThisCall() const { return Roll(failurePpm_.load(std::memory_order_relaxed)); }
bool Faults::DropThisRequest() const { return Roll(dropPpm_.load(std::memory_order_relaxed)); }
char const* Faults::errorId() const { return error_.load(std::memory_order_relaxed); }

FaultyProvider::FaultyProvider(std::shared_ptr<::Opax::Provider::ApiProvider> inner,
                               std::shared_ptr<Faults const> faults)
    : inner_(std::move(inner)), faults_(std::move(faults)) {
  thread_ = std::make_unique<std::thread>([this] {
    auto work = boost::asio::make_work_guard(timers_);
    timers_.run();
  });
}

FaultyProvider::~FaultyProvider() {
  // Calls still waiting out their latency are dropped: their callbacks, destroyed unanswered, end
  // them as terminated.
  timers_.stop();
  thread_->join();
}

void FaultyProvider::InvokeAsync(std::shared_ptr<::Opax::Core::MethodIdentifier const> const& method,
                                 std::shared_ptr<::Opax::Data::DataValue const> const& input,
                                 std::shared_ptr<::Opax::Core::AsyncActivation> const& activation,
                                 std::shared_ptr<::Opax::Core::AsyncApiResultCb> const& callback) {
  auto const run = [inner = inner_, faults = faults_, method, input, activation, callback] {
    if (faults->FailThisCall()) {
      ::Opax::BaseMessage message("nexar.sim.fault.injected",
                                  "The simulator failed this call on purpose (fault injection).", {});
      (*callback)(::Opax::Core::MethodResult::GetErrorInstance(
                      ::Opax::Data::ErrorValue::GetInstance(faults->errorId(), {message})),
                  ::Opax::Progress());
      return;
    }
    inner->InvokeAsync(method, input, activation, callback);
  };
  // The simulator's own services stay reachable, so that faults can always be turned off again.
  auto const& service = method->interfaceIdentifier();
  if (service && service->name().rfind("com.quarn.sim.", 0) == 0)
    return inner_->InvokeAsync(method, input, activation, callback);
  auto const latency = faults_->latency();
  if (latency.count() == 0) return run();
  auto timer = std::make_shared<boost::asio::steady_timer>(timers_, latency);
  timer->async_wait([timer, run](boost::system::error_code const& ec) {
    if (!ec) run();
  });
}

}  // namespace Sim
