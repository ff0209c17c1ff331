#pragma once

#include <deque>
#include <vector>

namespace Opax {
namespace Data {

// One unit of pending conversion work: where to read, which adapt function reads it, and where
// to write. The adapt function's signature names the container the entry lives in, which is
// why the container is a template parameter of the entry.
template <class Source, class Destination, class Messages, template <class> class Container>
struct BasicAdaptEntry {
  using AdaptFunction = void (*)(Source const&, Destination const&, Container<BasicAdaptEntry>&, Messages&);

  Source source;
  AdaptFunction adapt;
  Destination destination;
};

// The native-to-value work queue: first in, first out, so parents are written before children
// and children in field order. Blocks of the underlying deque are reused after removal.
template <class Entry>
class Deque {
 public:
  void push_back(Entry entry) { entries_.push_back(std::move(entry)); }
  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  void clear() { entries_.clear(); }
  Entry pop_front() {
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    return entry;
  }

 private:
  std::deque<Entry> entries_;
};

namespace V2N_internal {

// The value-to-native work stack: last in, first out, which keeps the pending work as small as
// the depth of the current path rather than the breadth of the tree.
template <class Entry>
class StackMapCnt {
 public:
  void push_back(Entry entry) { entries_.push_back(std::move(entry)); }
  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  // A failing adapt function empties the container so that nothing queued after it runs.
  void clear() { entries_.clear(); }
  Entry pop_back() {
    Entry entry = std::move(entries_.back());
    entries_.pop_back();
    return entry;
  }

 private:
  std::vector<Entry> entries_;
};

}  // namespace V2N_internal

}  // namespace Data
}  // namespace Opax
