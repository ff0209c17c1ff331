#include <runtime/blocking.h>

#include <opax/core/message/error_ids.h>

namespace Opax {
namespace Binding {

CallError::CallError(std::shared_ptr<Data::ErrorValue const> error)
    : error_(std::move(error)), name_(error_ ? std::string(error_->name()) : std::string()) {}

namespace internal {

// Notifies under the lock: the waiter cannot leave, and take the frame with it, before the
// unlock, and after the unlock nothing here touches the frame.
void Rendezvous::Arrive(std::shared_ptr<Data::ErrorValue const> error) {
  std::lock_guard<std::mutex> lock(mutex_);
  error_ = std::move(error);
  done_ = true;
  arrived_.notify_one();
}

void Rendezvous::Wait() {
  std::unique_lock<std::mutex> lock(mutex_);
  arrived_.wait(lock, [this] { return done_; });
  if (error_) throw CallError(error_);
}

std::shared_ptr<Data::ErrorValue const> NotATaskId() {
  return Data::ErrorValue::GetInstance(ErrorIds::kInvalidArgument, std::list<BaseMessage>());
}

}  // namespace internal
}  // namespace Binding
}  // namespace Opax
