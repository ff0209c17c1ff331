#pragma once

// The per-thread work storage that the iterative walks borrow (the adapters, value validation,
// the JSON decoder): steady traffic then allocates no work storage of its own.

namespace Opax {

// A work container that a thread reuses from one walk to the next. A walk started while another
// runs on the same thread (an adapt function that converts something itself) gets a container of
// its own. `Container` has clear() and trim() (trim gives back an unusually large capacity).
template <class Container>
class ReusedContainer {
 public:
  // The thread's slot is looked up once: from a shared library each thread-local access is a call.
  ReusedContainer() : slot_(&Slot()), owned_(slot_->inUse ? new Container() : nullptr) {
    if (owned_ == nullptr) slot_->inUse = true;
  }
  ~ReusedContainer() {
    if (owned_ != nullptr) {
      delete owned_;
    } else {
      slot_->container.clear();
      slot_->container.trim();
      slot_->inUse = false;
    }
  }
  ReusedContainer(ReusedContainer const&) = delete;
  ReusedContainer& operator=(ReusedContainer const&) = delete;

  Container& get() { return owned_ != nullptr ? *owned_ : slot_->container; }

 private:
  struct ThreadSlot {
    Container container;
    bool inUse = false;
  };
  // Initial-exec: reached at a fixed offset from the thread pointer, without a call to
  // __tls_get_addr per conversion or validation (a few dozen bytes of the static TLS block).
  static ThreadSlot& Slot() {
    thread_local ThreadSlot slot [[gnu::tls_model("initial-exec")]];
    return slot;
  }

  ThreadSlot* slot_;
  Container* owned_;
};

}  // namespace Opax
