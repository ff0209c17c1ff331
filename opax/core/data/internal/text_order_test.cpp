#include <opax/core/data/internal/text_order.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace Opax {
namespace Data {
namespace internal {
namespace {

std::vector<std::string> Sorted(std::vector<std::string> const& texts) {
  std::vector<uint32_t> order(texts.size());
  SortTexts(
      texts.size(), [&texts](std::size_t i) { return std::string_view(texts[i]); }, order.data());
  std::vector<std::string> sorted;
  for (uint32_t i : order) sorted.push_back(texts[i]);
  return sorted;
}

// Texts that tie over whole 16-byte chunks, prefixes of each other, zero bytes that padding must
// not hide, the empty text and repeats: every order of arrival sorts as std::sort does.
TEST(SortTexts, SortsAsTextsCompareWhateverTheirArrival) {
  std::string const common(40, 'p');
  std::vector<std::string> texts = {"",
                                    "a",
                                    std::string("a\0", 2),
                                    std::string("a\0\0", 3),
                                    "ab",
                                    "b",
                                    common,
                                    common + "a",
                                    common + "b",
                                    common.substr(0, 16),
                                    common.substr(0, 17),
                                    common.substr(0, 32) + "z",
                                    "b",
                                    "a"};
  for (int i = 0; i < 300; ++i) texts.push_back("extra" + std::to_string(1000 + i * 7 % 300) + common);
  std::vector<std::string> expected = texts;
  std::sort(expected.begin(), expected.end());

  std::vector<std::string> descending = expected;
  std::reverse(descending.begin(), descending.end());
  std::vector<std::string> shuffled = texts;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(15));
  for (auto const* input : {&texts, &expected, &descending, &shuffled}) EXPECT_EQ(Sorted(*input), expected);
  EXPECT_TRUE(Sorted({}).empty());
}

}  // namespace
}  // namespace internal
}  // namespace Data
}  // namespace Opax
