#pragma once

#include <opax/core/data/internal/value_arena.h>

#include <utility>
#include <vector>

namespace Opax {
namespace Data {

// One unit of pending conversion work: where to read, which adapt function reads it, and where
// to write. The adapt function's signature names the container the entry lives in, which is
// why the container is a template parameter of the entry.
template <class Source, class Destination, class Messages, template <class> class Container>
struct BasicAdaptEntry {
  using AdaptFunction = void (*)(Source const&, Destination const&, Container<BasicAdaptEntry>&, Messages&);
  using SourceType = Source;
  using DestinationType = Destination;

  Source source;
  AdaptFunction adapt;
  Destination destination;
};

// Writes an entry's members straight into the buffer: an entry built whole and copied in is read
// back as one wide load from narrow stores, which stalls.
template <class Entry>
void AppendEntry(std::vector<Entry>& entries, typename Entry::SourceType&& source,
                 typename Entry::AdaptFunction adapt, typename Entry::DestinationType const& destination) {
  Entry& entry = entries.emplace_back();
  entry.source = std::move(source);
  entry.adapt = adapt;
  entry.destination = destination;
}

// The native-to-value work queue: first in, first out, so parents are written before children
// and children in field order. One buffer with a read position: taking an entry frees nothing,
// and the buffer is rewound whenever it runs empty, so a conversion that keeps it reuses its
// storage rather than allocating blocks. It also carries the arena that the values of its
// conversion are made in.
template <class Entry>
class Deque {
 public:
  internal::ValueArena* arena() const { return arena_; }
  void arena(internal::ValueArena* arena) { arena_ = arena; }

  void push_back(Entry entry) { entries_.push_back(std::move(entry)); }
  void push_back(typename Entry::SourceType source, typename Entry::AdaptFunction adapt,
                 typename Entry::DestinationType destination) {
    AppendEntry(entries_, std::move(source), adapt, destination);
  }
  bool empty() const { return head_ == entries_.size(); }
  std::size_t size() const { return entries_.size() - head_; }
  void clear() {
    entries_.clear();
    head_ = 0;
  }
  // Gives back the memory of an unusually large conversion instead of keeping it for the thread.
  void trim() {
    if (entries_.capacity() > kKeptCapacity) std::vector<Entry>().swap(entries_);
  }
  Entry pop_front() {
    Entry entry = std::move(entries_[head_++]);
    if (head_ == entries_.size()) clear();
    return entry;
  }

 private:
  static constexpr std::size_t kKeptCapacity = 4096;
  std::vector<Entry> entries_;
  std::size_t head_ = 0;
  internal::ValueArena* arena_ = nullptr;
};

namespace V2N_internal {

// The value-to-native work stack: last in, first out, which keeps the pending work as small as
// the depth of the current path rather than the breadth of the tree.
template <class Entry>
class StackMapCnt {
 public:
  void push_back(Entry entry) { entries_.push_back(std::move(entry)); }
  void push_back(typename Entry::SourceType source, typename Entry::AdaptFunction adapt,
                 typename Entry::DestinationType destination) {
    AppendEntry(entries_, std::move(source), adapt, destination);
  }
  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  // A failing adapt function empties the container so that nothing queued after it runs.
  void clear() { entries_.clear(); }
  void trim() {
    if (entries_.capacity() > kKeptCapacity) std::vector<Entry>().swap(entries_);
  }
  Entry pop_back() {
    Entry entry = std::move(entries_.back());
    entries_.pop_back();
    return entry;
  }

 private:
  static constexpr std::size_t kKeptCapacity = 4096;
  std::vector<Entry> entries_;
};

}  // namespace V2N_internal

}  // namespace Data
}  // namespace Opax
