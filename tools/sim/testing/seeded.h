#pragma once

// For tests: every service of the catalogue bound in process over a fresh in-memory state, seeded
// with the built-in inventory, as nexar-sim starts by default.

#include "../seed/seed.h"
#include "../services/module.h"

#include <opax/core/provider/in_process_provider.h>

#include <list>
#include <memory>
#include <string>

namespace Sim {
namespace Testing {

struct Seeded {
  std::shared_ptr<State> state;
  std::shared_ptr<::Opax::Core::InProcessProvider> provider =
      std::make_shared<::Opax::Core::InProcessProvider>();
  // The first fault of the seed, or "" when it loaded.
  std::string fault;
};

inline Seeded SeedDefault() {
  Seeded seeded;
  std::list<::Opax::BaseMessage> messages;
  seeded.state = std::make_shared<State>(Store::Open(":memory:", messages));
  for (auto const& service : BindCatalogue({seeded.state, std::make_shared<::Opax::L10n::Localizer>()})) {
    seeded.provider->Register(service);
  }
  if (!RunSeed(DefaultSeed(), *seeded.provider, messages)) {
    seeded.fault = messages.empty() ? std::string("failed") : messages.front().defaultMessage();
  }
  return seeded;
}

}  // namespace Testing
}  // namespace Sim
