#pragma once

#include <opax/core/data/compound_value.h>

#include <memory>

namespace Opax {
namespace Core {

// The outcome of one invocation: an output value, an error value, or termination (the
// implementation gave up without an outcome). A terminated result also carries an error value,
// internal_server_error with "opax.invoke.terminated", so that every failed result can be
// reported the same way.
class MethodResult {
 public:
  static std::shared_ptr<MethodResult const> GetInstance(std::shared_ptr<Data::DataValue const> output);
  static std::shared_ptr<MethodResult const> GetErrorInstance(std::shared_ptr<Data::ErrorValue const> error);
  static std::shared_ptr<MethodResult const> GetTerminationInstance();

  bool success() const { return error_ == nullptr; }
  bool terminated() const { return terminated_; }
  std::shared_ptr<Data::DataValue const> const& output() const { return output_; }
  std::shared_ptr<Data::ErrorValue const> const& error() const { return error_; }

  MethodResult(std::shared_ptr<Data::DataValue const> output, std::shared_ptr<Data::ErrorValue const> error,
               bool terminated)
      : output_(std::move(output)), error_(std::move(error)), terminated_(terminated) {}

 private:
  std::shared_ptr<Data::DataValue const> output_;
  std::shared_ptr<Data::ErrorValue const> error_;
  bool terminated_ = false;
};

}  // namespace Core
}  // namespace Opax
