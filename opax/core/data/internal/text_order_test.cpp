#include <opax/core/data/internal/text_compare.h>
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

// Input that is a few runs (merged) or many (spread by bytes), among them a large group whose
// texts tie over their first sixteen bytes and differ only in the next ones or in length.
TEST(SortTexts, SortsRunsAndLargeTiedGroups) {
  std::string const common(20, 'q');
  std::vector<std::string> texts;
  for (int i = 0; i < 2000; ++i) texts.push_back(common + std::to_string(i % 700));
  for (int i = 0; i < 300; ++i) texts.push_back(common.substr(0, i % 24));
  for (int i = 0; i < 500; ++i) texts.push_back(std::string(1, static_cast<char>(i % 256)) + "\xff");
  std::vector<std::string> expected = texts;
  std::sort(expected.begin(), expected.end());

  std::vector<std::string> shuffled = texts;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
  // Declared names first, then the rest in reverse: two runs.
  std::vector<std::string> nearly = {"cdrom", "backing"};
  nearly.insert(nearly.end(), expected.rbegin(), expected.rend());
  std::vector<std::string> nearlyExpected = nearly;
  std::sort(nearlyExpected.begin(), nearlyExpected.end());
  // Five runs, ascending and descending in turn.
  std::vector<std::string> runs;
  for (int r = 0; r < 5; ++r) {
    std::vector<std::string> run(shuffled.begin() + r * 500, shuffled.begin() + (r + 1) * 500);
    std::sort(run.begin(), run.end());
    if (r % 2 == 1) std::reverse(run.begin(), run.end());
    runs.insert(runs.end(), run.begin(), run.end());
  }
  std::vector<std::string> runsExpected = runs;
  std::sort(runsExpected.begin(), runsExpected.end());

  EXPECT_EQ(Sorted(shuffled), expected);
  EXPECT_EQ(Sorted(nearly), nearlyExpected);
  EXPECT_EQ(Sorted(runs), runsExpected);
}

TEST(CompareTexts, AgreesWithTheByteOrderOfTexts) {
  // Lengths on both sides of the eight-byte word, shared words, bytes above 0x7F and zeros.
  std::vector<std::string> const texts = {"",
                                          "a",
                                          "mac",
                                          "mac_type",
                                          "mac_typf",
                                          "mac_type_",
                                          "mac_address",
                                          "mac_addresz",
                                          "\xff",
                                          "\xff"
                                          "abcdefg",
                                          std::string("mac\0type", 8),
                                          std::string("\0", 1),
                                          "z",
                                          "start_connected",
                                          "state"};
  auto const sign = [](int order) { return (order > 0) - (order < 0); };
  for (std::string const& a : texts) {
    for (std::string const& b : texts) {
      EXPECT_EQ(sign(CompareTexts(a, b)), sign(std::string_view(a).compare(b))) << a << " / " << b;
    }
  }
}

}  // namespace
}  // namespace internal
}  // namespace Data
}  // namespace Opax
