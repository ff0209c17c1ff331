// One call through the whole in-process path: generated stub, native input to value, the
// in-process provider, the binder's signal (input validation, value to native input), a
// trivial implementation, its result to a value and output validation, and back through the
// stub's reply conversion. The operation takes structures and returns one
// (Authorization::PrivilegeChecksSvc list). The implementation completes at once, on the
// caller's thread, so the figures are the call path's own cost.

#include "alloc_counter.h"

#include <bindings/authorization/privilege_checks.h>
#include <opax/core/provider/in_process_provider.h>

#include <benchmark/benchmark.h>

namespace {

namespace Auth = ::Com::Quarn::Nexar::Authorization;
using Checks = Auth::PrivilegeChecksSvc;
using Result = std::shared_ptr<Checks::ListResult const>;

class Listing : public Checks::AsyncServiceInterface {
 public:
  void List(::Opax::OptionalPtr<Checks::IterationSpec const> const&,
            ::Opax::OptionalPtr<Checks::FilterSpec const> const&,
            std::shared_ptr<::Opax::Core::AsyncActivation> const&,
            ::Opax::AsyncResult<Result, ::Opax::AsyncResultTerminateCbPolicy> const& result) override {
    result.SetResult(reply_);
  }

 private:
  Result reply_ = std::make_shared<Checks::ListResult>();
};

struct Fixture {
  std::shared_ptr<::Opax::Core::InProcessProvider> provider = ::Opax::Core::InProcessProvider::GetInstance();
  std::shared_ptr<Checks::AsyncServiceStub> stub;
  ::Opax::OptionalPtr<Checks::IterationSpec const> iteration = std::make_shared<Checks::IterationSpec>(
      Checks::IterationSpec().size(int64_t{50}).marker(std::string("m-1")));
  ::Opax::OptionalPtr<Checks::FilterSpec const> filter = std::make_shared<Checks::FilterSpec>(
      Checks::FilterSpec().sessions(std::set<std::string>{"s-1", "s-2"}));

  Fixture() {
    provider->Register(Checks::AsyncServiceBinder::BindImplementation(std::make_shared<Listing>()));
    stub = Checks::AsyncServiceStub::GetInstance(::Opax::Stub::AsyncApiStub::GetInstance(provider));
  }
};

Fixture& Shared() {
  static Fixture fixture;
  return fixture;
}

void BM_CallThroughInProcessProvider(benchmark::State& state) {
  Fixture& fixture = Shared();
  std::size_t results = 0;
  Bench::AllocationMeter meter;
  for (auto _ : state) {
    ::Opax::AsyncResult<Result> result(::Opax::AsyncResult<Result>::Callback(
        [&results](boost::optional<Result> const& value,
                   std::shared_ptr<::Opax::Data::ErrorValue const> const&,
                   ::Opax::Progress const&) { results += value ? 1 : 0; }));
    fixture.stub->List(fixture.iteration, fixture.filter, nullptr, result);
  }
  meter.Report(state);
  if (results != static_cast<std::size_t>(state.iterations())) state.SkipWithError("a call did not complete");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CallThroughInProcessProvider)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
