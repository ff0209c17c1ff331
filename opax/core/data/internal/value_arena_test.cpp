#include <opax/core/data/internal/value_arena.h>

#include <opax/core/data/compound_value.h>
#include <opax/core/data/optional_value.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace Opax {
namespace Data {
namespace internal {
namespace {

std::string TextOf(std::shared_ptr<DataValue const> const& value) {
  return std::string(static_cast<StringValue const&>(*value).value());
}

// Values of every sort made in one arena, spread over several chunks and one heap block, are
// dropped in a random order, some after the arena is gone and some on another thread: each
// reads back what it was made with until it is dropped. Under the sanitizers a chunk freed too
// early is a use after free, and one never freed a leak.
TEST(ValueArena, ValuesLiveOnByThemselvesInAnyOrderOfDropping) {
  std::vector<std::shared_ptr<DataValue const>> values;
  std::vector<std::string> texts;
  {
    ValueArena arena(256);
    for (int i = 0; i < 300; ++i) {
      std::string text = "text " + std::to_string(i) + std::string(static_cast<std::size_t>(i % 40), 'x');
      if (i == 150) text.assign(ValueArena::kLargestObject + 1, 'L');  // too big: a heap block
      auto optional = OptionalValue::GetInstance(&arena);
      optional->value(StringValue::GetInstance(text, &arena));
      auto structure = StructValue::Make(StaticName("s"), 2, &arena);
      structure->SetField(StaticName("o"), optional);
      structure->SetField(StaticName("n"), DataValue::Create(int64_t{1000} + i, &arena));
      values.push_back(std::move(structure));
      texts.push_back(std::move(text));
    }
    EXPECT_GT(arena.used(), std::size_t{16} * 1024);  // more than one chunk of the largest size
  }
  std::vector<std::size_t> order(values.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), std::mt19937(7));

  // Keep the string of every third value alone, then drop half the trees here.
  std::vector<std::pair<std::shared_ptr<DataValue const>, std::string>> kept;
  for (std::size_t i = 0; i < order.size(); ++i) {
    std::size_t const k = order[i];
    auto const& structure = static_cast<StructValue const&>(*values[k]);
    auto const& optional = static_cast<OptionalValue const&>(**structure.FindField("o"));
    if (k % 3 == 0) kept.emplace_back(optional.value(), texts[k]);
    if (i % 2 == 0) {
      int64_t number = 0;
      std::list<BaseMessage> messages;
      ASSERT_TRUE(DataValue::Value(*structure.FindField("n"), number, messages));
      EXPECT_EQ(number, 1000 + static_cast<int64_t>(k));
      values[k].reset();
    }
  }
  // The other half goes on another thread, while this one reads the strings it kept.
  std::thread other([&values] {
    for (auto& value : values) value.reset();
  });
  for (auto const& [value, text] : kept) EXPECT_EQ(TextOf(value), text);
  other.join();
  for (auto const& [value, text] : kept) EXPECT_EQ(TextOf(value), text);
}

// A conversion that makes nothing in its arena opens no chunk; one that does notes its size for
// the next conversion of the same root, which then gets a first chunk that holds it all.
TEST(ValueArena, FirstChunkFollowsWhatTheLastConversionUsed) {
  int const key = 0;
  std::size_t const first = ValueArena::FirstChunkFor(&key);
  {
    ValueArena arena(first);
    EXPECT_EQ(arena.used(), 0u);
  }
  {
    ValueArena arena(first);
    for (int i = 0; i < 100; ++i) StringValue::GetInstance(std::string(40, 'a'), &arena);
    arena.RememberFor(&key);
    EXPECT_GE(ValueArena::FirstChunkFor(&key), arena.used());
  }
}

// The thread keeps the blocks of its last chunks for the next conversions of about their size:
// a call's input and reply then cost no block from the heap.
TEST(ValueArena, AThreadTakesBackTheChunksItLetGo) {
  void const* first = nullptr;
  void const* second = nullptr;
  {
    ValueArena one(1024);
    ValueArena two(1024);
    first = StringValue::GetInstance("one", &one).get();
    second = StringValue::GetInstance("two", &two).get();
  }
  std::vector<void const*> made;
  {
    ValueArena one(1024);
    ValueArena two(1024);
    made = {StringValue::GetInstance("one", &one).get(), StringValue::GetInstance("two", &two).get()};
  }
  EXPECT_TRUE(std::is_permutation(made.begin(), made.end(), std::vector<void const*>{first, second}.begin()));

  // Far larger conversions do not take them: a value kept alone would keep too much alive.
  ValueArena large(16 * 1024);
  void const* big = StringValue::GetInstance("big", &large).get();
  EXPECT_NE(big, first);
  EXPECT_NE(big, second);
}

}  // namespace
}  // namespace internal
}  // namespace Data
}  // namespace Opax
