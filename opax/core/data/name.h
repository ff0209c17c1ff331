#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Opax {
namespace Data {

// Text whose storage outlives every value that may hold it: string literals and the names of
// generated field tables. A value keeps a view of such a name instead of a copy.
struct StaticName {
  constexpr StaticName() = default;
  constexpr explicit StaticName(std::string_view text_) : text(text_) {}
  explicit StaticName(char const* text_) : text(text_) {}
  std::string_view text;
};

// A field or type name held by a value: a view of static storage, or a copy of its own (names
// read from the wire, made at run time). A copy of up to 15 characters is held inline, a longer
// one in a block of its own. Copying a Name keeps a static name a view.
class Name {
 public:
  Name() noexcept { inline_[0] = '\0'; }
  explicit Name(StaticName name) noexcept
      : data_(name.text.data()), size_(static_cast<uint32_t>(name.text.size())), storage_(Storage::Static) {}
  explicit Name(std::string_view text) { Own(text); }
  Name(Name const& other) {
    if (other.storage_ == Storage::Static) {
      data_ = other.data_;
      size_ = other.size_;
      storage_ = Storage::Static;
    } else {
      Own(other.view());
    }
  }
  Name(Name&& other) noexcept { Take(other); }
  Name& operator=(Name const& other) {
    if (this != &other) {
      Name copy(other);
      *this = std::move(copy);
    }
    return *this;
  }
  Name& operator=(Name&& other) noexcept {
    if (this != &other) {
      Free();
      Take(other);
    }
    return *this;
  }
  ~Name() { Free(); }

  std::string_view view() const { return {data_, size_}; }
  operator std::string_view() const { return view(); }  // NOLINT: a name reads as its text
  char const* data() const { return data_; }
  std::size_t size() const { return size_; }
  bool isStatic() const { return storage_ == Storage::Static; }

  // Whether this is `name`; a view of that very text answers without reading it.
  bool is(StaticName name) const {
    return size_ == name.text.size() &&
           (data_ == name.text.data() || std::memcmp(data_, name.text.data(), size_) == 0);
  }

  // Equal texts; two views of the same static name compare without reading them.
  bool operator==(Name const& other) const {
    return size_ == other.size_ && (data_ == other.data_ || std::memcmp(data_, other.data_, size_) == 0);
  }

 private:
  enum class Storage : uint8_t { Inline, Heap, Static };
  static constexpr std::size_t kInline = 15;

  void Own(std::string_view text) {
    size_ = static_cast<uint32_t>(text.size());
    if (text.size() <= kInline) {
      if (!text.empty()) std::memcpy(inline_, text.data(), text.size());
      inline_[text.size()] = '\0';
      data_ = inline_;
      storage_ = Storage::Inline;
      return;
    }
    char* heap = new char[text.size() + 1];
    std::memcpy(heap, text.data(), text.size());
    heap[text.size()] = '\0';
    data_ = heap;
    storage_ = Storage::Heap;
  }
  void Take(Name& other) noexcept {
    size_ = other.size_;
    storage_ = other.storage_;
    if (other.storage_ == Storage::Inline) {
      std::memcpy(inline_, other.inline_, sizeof inline_);
      data_ = inline_;
    } else {
      data_ = other.data_;
    }
    other.storage_ = Storage::Inline;
    other.inline_[0] = '\0';
    other.data_ = other.inline_;
    other.size_ = 0;
  }
  void Free() noexcept {
    if (storage_ == Storage::Heap) delete[] data_;
  }

  char const* data_ = inline_;
  uint32_t size_ = 0;
  Storage storage_ = Storage::Inline;
  char inline_[kInline + 1];
};

}  // namespace Data
}  // namespace Opax
