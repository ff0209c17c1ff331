#include "faults.h"

#include <opax/core/data/data_value.h>
#include <opax/core/invocation/method_result.h>
#include <opax/core/message/base_message.h>
#include <opax/core/message/message.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <iterator>
#include <random>

namespace Sim {
namespace {

// The standard errors a fault may be, by the short name of their ids ("com.quarn.opax.std.errors."
// + name), built once: a failed call names its error without building a string.
constexpr char const* kErrors[] = {
    "service_unavailable", "error", "internal_server_error", "timed_out", "resource_busy",
    "resource_inaccessible", "unable_to_allocate_resource", "unauthenticated", "unauthorized",
    "not_allowed_in_current_state", "invalid_argument", "not_found", "already_exists", "already_in_desired_state",
    "resource_in_use", "unsupported", "invalid_element_configuration", "invalid_element_type", "unverified_peer"};

std::array<std::string, std::size(kErrors)> const& ErrorIds() {
  static auto const ids = [] {
    std::array<std::string, std::size(kErrors)> made;
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = std::string("com.quarn.opax.std.errors.") + kErrors[i];
    return made;
  }();
  return ids;
}

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
  unsigned index = 0;
  while (index < std::size(kErrors) && settings.error != kErrors[index]) ++index;
  if (index == std::size(kErrors)) {
    problem = "error";
    return false;
  }
  latencyMs_.store(static_cast<long>(settings.latency.count()));
  failurePpm_.store(static_cast<unsigned>(settings.failureRate * kMillion + 0.5));
  dropPpm_.store(static_cast<unsigned>(settings.dropRate * kMillion + 0.5));
  error_.store(index);
  return true;
}

FaultSettings Faults::Get() const {
  FaultSettings settings;
  settings.latency = latency();
  settings.failureRate = failurePpm_.load() / kMillion;
  settings.dropRate = dropPpm_.load() / kMillion;
  settings.error = kErrors[error_.load()];
  return settings;
}

bool Faults::FailThisCall() const { return Roll(failurePpm_.load(std::memory_order_relaxed)); }
bool Faults::DropThisRequest() const { return Roll(dropPpm_.load(std::memory_order_relaxed)); }
char const* Faults::errorId() const { return ErrorIds()[error_.load(std::memory_order_relaxed)].c_str(); }

FaultyProvider::FaultyProvider(std::shared_ptr<::Opax::Provider::ApiProvider> inner, std::shared_ptr<Faults const> faults)
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
  if (service && service->name().rfind("com.quarn.sim.", 0) == 0) return inner_->InvokeAsync(method, input, activation, callback);
  auto const latency = faults_->latency();
  if (latency.count() == 0) return run();
  auto timer = std::make_shared<boost::asio::steady_timer>(timers_, latency);
  timer->async_wait([timer, run](boost::system::error_code const& ec) {
    if (!ec) run();
  });
}

}  // namespace Sim
