// Every operation's example input from `describe` is one that `call` accepts as it stands.

#include "render/example_input.h"
#include "invoke/invoke.h"

#include <runtime/service_catalog.h>

#include <gtest/gtest.h>

namespace Cli {
namespace {

TEST(ExampleInput, EveryOperationOfTheCatalogueAcceptsItsOwnExample) {
  std::size_t checked = 0;
  for (auto const* service : ::Opax::Catalog::ServiceCatalog::Instance().services()) {
    for (std::size_t i = 0; i < service->operationCount; ++i) {
      auto const& entry = *service->operations[i];
      std::string const name = std::string(service->id) + "/" + entry.name + (entry.plain ? "" : "$task");
      auto const* operation = Operations().Find(name);
      ASSERT_NE(operation, nullptr) << name;
      std::string const example = ExampleInput(*operation->input);
      std::shared_ptr<::Opax::Data::DataValue const> value;
      std::list<::Opax::BaseMessage> messages;
      EXPECT_TRUE(DecodeInput(example, *operation, value, messages))
          << name << ": " << example << ": " << (messages.empty() ? "" : messages.front().defaultMessage());
      ++checked;
    }
  }
  // The catalogue's operations and the simulator's control service at least.
  EXPECT_GE(checked, 530u);
}

}  // namespace
}  // namespace Cli
