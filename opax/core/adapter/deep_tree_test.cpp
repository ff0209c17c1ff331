// Trees a million levels deep, through every whole-tree operation. Each would overflow the
// default 8 MiB stack (and ASan's larger frames sooner) if any of them recursed per level.

#include <opax/core/testing/sample_types.h>

#include <gtest/gtest.h>

namespace Opax {
namespace Data {
namespace {

constexpr int kDepth = 1000000;

using Messages = std::list<BaseMessage>;

// Native chains are torn down from the root so that each node's destructor frees nothing below it.
struct NativeChain {
  std::vector<std::shared_ptr<Sample::Link const>> nodes;  // root first

  static NativeChain Build(int depth) {
    NativeChain chain;
    std::shared_ptr<Sample::Link const> below;
    std::vector<std::shared_ptr<Sample::Link const>> bottomUp;
    for (int i = 0; i < depth; ++i) {
      auto link = std::make_shared<Sample::Link>();
      if (below) link->next.push_back(below);
      bottomUp.push_back(link);
      below = link;
    }
    chain.nodes.assign(bottomUp.rbegin(), bottomUp.rend());
    return chain;
  }

  static NativeChain Collect(std::shared_ptr<Sample::Link const> root) {
    NativeChain chain;
    while (root) {
      chain.nodes.push_back(root);
      root = root->next.empty() ? nullptr : root->next.front();
    }
    return chain;
  }

  ~NativeChain() {
    for (auto& node : nodes) node.reset();
  }
};

TEST(DeepTree, MillionNestedOptionalsCopyCompareReadPrintAndFree) {
  std::shared_ptr<DataValue const> value = DataValue::Create(std::string("bottom"));
  for (int i = 0; i < kDepth; ++i) value = OptionalValue::GetInstance(value);

  std::shared_ptr<DataValue const> copy = value->Copy();
  EXPECT_TRUE(DataValue::Equal(*value, *copy));

  std::string text;
  Messages messages;
  EXPECT_TRUE(DataValue::ToPrimitive(value, text, messages));
  EXPECT_EQ(text, "bottom");
  EXPECT_EQ(value->ToString().size(), static_cast<std::size_t>(kDepth) * 10 + 8);

  value.reset();
  copy.reset();
}

TEST(DeepTree, MillionLevelStructureListChainThroughTheAdapters) {
  NativeChain native = NativeChain::Build(kDepth);
  Messages messages;

  std::shared_ptr<DataValue const> value;
  ASSERT_TRUE(NativeToValueAdapter::Adapt(*native.nodes.front(), value, messages));

  auto definition = NativeToDefinitionAdapter::DefinitionOf<Sample::Link>();
  EXPECT_TRUE(definition->Validate(value, messages));
  EXPECT_TRUE(messages.empty());

  auto back = std::make_shared<Sample::Link>();
  ASSERT_TRUE(ValueToNativeAdapter::Adapt(value, *back, messages));
  NativeChain converted = NativeChain::Collect(back);
  back.reset();
  EXPECT_EQ(converted.nodes.size(), static_cast<std::size_t>(kDepth));

  std::shared_ptr<DataValue const> again;
  ASSERT_TRUE(NativeToValueAdapter::Adapt(*converted.nodes.front(), again, messages));
  EXPECT_TRUE(DataValue::Equal(*value, *again));
}

TEST(DeepTree, DeepFailureIsReportedNotRecursed) {
  // A wrong kind at the bottom of a deep chain: one message, with the path to it.
  std::shared_ptr<DataValue const> value = DataValue::Create(int64_t{1});
  constexpr int kLevels = 100000;
  for (int i = 0; i < kLevels; ++i) {
    auto link = StructValue::GetInstance("sample.link");
    auto list = ListValue::GetInstance(Kind::Structure);
    list->values().push_back(value);
    link->SetField("next", list);
    value = link;
  }
  Messages messages;
  auto definition = NativeToDefinitionAdapter::DefinitionOf<Sample::Link>();
  EXPECT_FALSE(definition->Validate(value, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), "opax.data.value.kind.mismatch");
  EXPECT_EQ(messages.front().args().at(2).size(), std::string("next[0]").size() * kLevels + kLevels - 1);

  Sample::Link native;
  messages.clear();
  EXPECT_FALSE(ValueToNativeAdapter::Adapt(value, native, messages));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages.front().id(), "opax.data.invalid.type");
  NativeChain cleanup = NativeChain::Collect(std::make_shared<Sample::Link>(std::move(native)));
}

}  // namespace
}  // namespace Data
}  // namespace Opax
