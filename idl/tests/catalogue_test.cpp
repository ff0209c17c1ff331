// The generated catalogue against the list it must match (catalogue.txt): every service id,
// class, resource type and operation with its forms, in slot order, as the library reports
// them at run time.

#include <runtime/service_catalog.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Expected {
  std::string classPath;
  std::string resourceType;
  std::vector<std::string> operations;  // "name", "name+task" or "name$task"
};

std::map<std::string, Expected> ReadList() {
  std::map<std::string, Expected> services;
  std::ifstream in(NEXAR_CATALOGUE_LIST);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    std::string id;
    Expected entry;
    words >> id >> entry.classPath >> entry.resourceType;
    for (std::string op; words >> op;) entry.operations.push_back(op);
    services[id] = entry;
  }
  return services;
}

std::string Form(Opax::Binding::OperationDescriptor const& op) {
  if (op.plain && op.task) return std::string(op.name) + "+task";
  if (op.task) return std::string(op.name) + "$task";
  return op.name;
}

TEST(Catalogue, MatchesTheListServiceByService) {
  auto const expected = ReadList();
  ASSERT_EQ(expected.size(), 206u) << "the list itself is incomplete";
  // The framework's own services (the task service) register too; the list is the catalogue's.
  auto services = Opax::Catalog::ServiceCatalog::Instance().services();
  services.erase(std::remove_if(services.begin(), services.end(),
                                [](auto const* service) {
                                  return std::string(service->id).rfind("com.quarn.nexar.", 0) != 0;
                                }),
                 services.end());
  std::size_t operations = 0, taskOnly = 0, both = 0, resourceTypes = 0;
  for (auto const* service : services) {
    auto found = expected.find(service->id);
    if (found == expected.end()) {
      ADD_FAILURE() << "a service the list does not have: " << service->id;
      continue;
    }
    Expected const& want = found->second;
    EXPECT_EQ(service->classPath, want.classPath) << service->id;
    EXPECT_EQ(service->resourceType ? std::string(service->resourceType) : "-", want.resourceType)
        << service->id;
    std::vector<std::string> ops;
    for (std::size_t i = 0; i < service->operationCount; ++i) {
      auto const& op = *service->operations[i];
      ops.push_back(Form(op));
      operations += 1;
      taskOnly += op.task && !op.plain;
      both += op.task && op.plain;
      EXPECT_TRUE(op.inputDef() && op.outputDef()) << service->id << " " << op.name;
    }
    EXPECT_EQ(ops, want.operations) << service->id;
    resourceTypes += service->resourceType != nullptr;
  }
  EXPECT_EQ(services.size(), 206u);
  EXPECT_EQ(operations, 530u);
  EXPECT_EQ(taskOnly, 70u);
  EXPECT_EQ(both, 5u);
  EXPECT_EQ(resourceTypes, 41u);
}

TEST(Catalogue, EveryOperationDescribesItsInputOutputAndErrors) {
  for (auto const* service : Opax::Catalog::ServiceCatalog::Instance().services()) {
    for (std::size_t i = 0; i < service->operationCount; ++i) {
      auto const& op = *service->operations[i];
      auto input = op.inputDef();
      ASSERT_TRUE(input) << service->id << " " << op.name;
      EXPECT_EQ(input->type(), Opax::Data::DefinitionType::Structure) << service->id << " " << op.name;
      for (auto const& error : op.errorDefs()) {
        ASSERT_TRUE(error) << service->id << " " << op.name;
        EXPECT_EQ(error->type(), Opax::Data::DefinitionType::Error) << service->id << " " << op.name;
      }
    }
  }
}

}  // namespace
