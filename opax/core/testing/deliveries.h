#pragma once

// What tests of result objects read back: every delivery a result object made, in order, and the
// message ids of an error.

#include <opax/core/base/progress.h>
#include <opax/core/data/compound_value.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Opax {
namespace Testing {

inline std::vector<std::string> Ids(std::shared_ptr<Data::ErrorValue const> const& error) {
  std::vector<std::string> ids;
  if (error) {
    for (BaseMessage const& m : error->messages()) ids.push_back(m.id());
  }
  return ids;
}

template <class Slot>
struct Deliveries {
  using ErrorPtr = std::shared_ptr<Data::ErrorValue const>;
  struct Entry {
    Slot slot;
    ErrorPtr error;
    Progress progress;
  };
  std::shared_ptr<std::vector<Entry>> entries = std::make_shared<std::vector<Entry>>();

  // The callback a result object is made with.
  std::function<void(Slot const&, ErrorPtr const&, Progress const&)> Callback() const {
    auto target = entries;
    return [target](Slot const& slot, ErrorPtr const& error, Progress const& progress) {
      target->push_back({slot, error, progress});
    };
  }
  std::size_t size() const { return entries->size(); }
  Entry const& operator[](std::size_t i) const { return entries->at(i); }
  Entry const& last() const { return entries->back(); }
  ErrorPtr error() const { return entries->empty() ? nullptr : entries->back().error; }
};

}  // namespace Testing
}  // namespace Opax
