#include <opax/rpc/discovery/openrpc.h>

#include <opax/core/message/error_ids.h>
#include <opax/json/testing/sample_definition.h>
#include <opax/rpc/discovery/json_schema.h>
#include <opax/rpc/protocol/json_rpc.h>
#include <runtime/service_catalog.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <gtest/gtest.h>

#include <set>

namespace Opax {
namespace Rpc {
namespace {

namespace json = boost::json;

constexpr char kRecommendation[] = "com.quarn.nexar.cluster.edrs.recommendation";
constexpr char kMaintenance[] = "com.quarn.nexar.cluster.edrs.maintenance_mode";
constexpr char kEvcMode[] = "com.quarn.nexar.cluster.evc_mode";

struct Expected {
  char const* pointer;
  char const* json;
};

void ExpectAt(json::value const& root, std::vector<Expected> const& table) {
  for (auto const& row : table) {
    boost::system::error_code ec;
    json::value const* found = root.find_pointer(row.pointer, ec);
    if (found == nullptr) {
      ADD_FAILURE() << row.pointer << " is missing";
      continue;
    }
    EXPECT_EQ(*found, json::parse(row.json)) << row.pointer << " is " << json::serialize(*found);
  }
}

std::set<std::string> Required(json::value const& schema) {
  std::set<std::string> names;
  if (auto const* required = schema.as_object().if_contains("required")) {
    for (auto const& name : required->as_array()) names.insert(std::string(name.as_string()));
  }
  return names;
}

// The sample definition holds every kind the codec knows, a union and a structure that holds
// itself: each kind's schema must admit exactly what the encoder writes.
TEST(JsonSchemaWriter, DescribesEveryKindAsTheEncoderWritesIt) {
  auto const sample = Json::Testing::MakeSampleDefinition();
  JsonSchemaWriter writer;
  json::value const root = writer.SchemaOf(sample.device);
  EXPECT_EQ(root, json::parse(R"({"$ref":"#/components/schemas/com.example.device"})"));
  json::value const schemas = writer.TakeSchemas();
  ASSERT_EQ(schemas.as_object().size(), 2u) << json::serialize(schemas);
  json::value const& device = schemas.at(Json::Testing::kDevice);
  EXPECT_EQ(Required(device), std::set<std::string>{"name"});
  ExpectAt(
      device,
      {
          {"/properties/name", R"({"type":"string"})"},
          {"/properties/@type", R"({"const":"com.example.device"})"},
          {"/properties/password/anyOf", R"([{"type":"string","format":"password"},{"type":"null"}])"},
          {"/properties/data/anyOf/0/contentEncoding", R"("base64")"},
          {"/properties/created/anyOf/0", R"({"type":"string","format":"date-time"})"},
          {"/properties/count/anyOf/0", R"({"type":"integer","format":"int64"})"},
          {"/properties/ratio/anyOf/0/anyOf",
           R"([{"type":"number"},{"enum":["NaN","Infinity","-Infinity"]}])"},
          {"/properties/enabled/anyOf/0", R"({"type":"boolean"})"},
          {"/properties/state/anyOf/0", R"({"type":"string","enum":["ON","OFF"]})"},
          {"/properties/tags/anyOf/0", R"({"type":"array","items":{"type":"string"}})"},
          {"/properties/labels/anyOf/0", R"({"type":"object","additionalProperties":{"type":"string"}})"},
          {"/properties/backing/anyOf/0", R"({"$ref":"#/components/schemas/com.example.device.backing"})"},
          {"/properties/next/anyOf/0", R"({"$ref":"#/components/schemas/com.example.device"})"},
          {"/properties/children/anyOf/0/items", R"({"$ref":"#/components/schemas/com.example.device"})"},
          {"/properties/extra/anyOf/0/required", R"(["@type"])"},
          {"/properties/failure/anyOf/0/required", R"(["@type"])"},
      });
  // The tag is required; FILE requires "file", HOST leaves "host" free, NONE allows neither.
  json::value const& backing = schemas.at(Json::Testing::kBacking);
  EXPECT_EQ(Required(backing), std::set<std::string>{"type"});
  ExpectAt(
      backing,
      {
          {"/properties/type/enum", R"(["FILE","HOST","NONE"])"},
          {"/properties/file/anyOf/0", R"({"type":"string"})"},
          {"/oneOf/0",
           R"({"properties":{"type":{"const":"FILE"},"file":{"not":{"type":"null"}},"host":{"type":"null"}},
                       "required":["type","file"]})"},
          {"/oneOf/1",
           R"({"properties":{"type":{"const":"HOST"},"file":{"type":"null"}},"required":["type"]})"},
          {"/oneOf/2",
           R"({"properties":{"type":{"const":"NONE"},"file":{"type":"null"},"host":{"type":"null"}},
                       "required":["type"]})"},
      });
}

// Definitions no enumeration backs, dangling references and names that are not plain
// identifiers must still give a document that readers can resolve.
TEST(JsonSchemaWriter, DegradesWithoutInventingConstraints) {
  using namespace Data;  // NOLINT
  auto predicateOnly = IsOneOfDefinition::GetInstance([](std::string_view text) { return text == "A"; });
  auto dangling = StructRefDefinition::GetInstance("com.example.gone");
  StructDefinition::Fields fields;
  fields["kind"] = predicateOnly;
  fields["value"] = UnionCaseDefinition::GetInstance(
      OptionalDefinition::GetInstance(StringDefinition::GetInstance()), "kind",
      [](std::string_view tag) -> boost::logic::tribool { return tag == "A"; });
  fields["gone"] = dangling;
  fields["set"] = ListDefinition::GetInstance(StringDefinition::GetInstance(), true);
  auto odd =
      StructDefinition::GetInstance("a/b~c d", std::move(fields), StructDefinition::ExtraFields::Forbidden);

  JsonSchemaWriter writer;
  EXPECT_EQ(writer.SchemaOf(odd), json::parse(R"({"$ref":"#/components/schemas/a~1b~0c%20d"})"));
  EXPECT_EQ(writer.SchemaOf(nullptr), json::object{});
  json::value const schemas = writer.TakeSchemas();
  json::value const& schema = schemas.at("a/b~c d");
  EXPECT_EQ(Required(schema), (std::set<std::string>{"kind", "gone", "set"}));
  EXPECT_EQ(schema.as_object().count("oneOf"), 0u) << "a tag whose texts are unknown gives no branches";
  ExpectAt(schema,
           {
               {"/properties/kind", R"({"type":"string"})"},
               {"/properties/gone", R"({"type":"object"})"},
               {"/properties/set", R"({"type":"array","items":{"type":"string"},"uniqueItems":true})"},
               {"/additionalProperties", "false"},
           });
  EXPECT_TRUE(writer.TakeSchemas().empty()) << "taking the schemas empties the writer";
}

class OpenRpcDocumentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (char const* id : {kRecommendation, kMaintenance, kEvcMode}) {
      if (Catalog::ServiceCatalog::Instance().Find(id) == nullptr)
        GTEST_SKIP() << id << " is not in this build";
    }
    document_ = json::parse(
        OpenRpcDocument({kRecommendation, "com.example.unknown", kMaintenance, kEvcMode, kRecommendation}));
  }

  json::value const& Method(std::string const& name) const {
    for (auto const& method : document_.at("methods").as_array()) {
      if (method.at("name") == name.c_str()) return method;
    }
    static json::value const none;
    ADD_FAILURE() << name << " is not in the document";
    return none;
  }

  json::value const& Schema(std::string const& name) const {
    return document_.at_pointer("/components/schemas").at(name);
  }

  json::value document_;
};

// Plain and task forms as the catalogue serves them, services in the order asked, unknown and
// repeated ones once or not at all.
TEST_F(OpenRpcDocumentTest, ListsEveryServedMethodOnce) {
  EXPECT_EQ(document_.at("openrpc"), kOpenRpcVersion);
  std::vector<std::string> names;
  for (auto const& method : document_.at("methods").as_array())
    names.emplace_back(method.at("name").as_string());
  std::string const r = std::string(kRecommendation) + "/";
  std::string const m = std::string(kMaintenance) + "/";
  std::string const e = std::string(kEvcMode) + "/";
  EXPECT_EQ(names, (std::vector<std::string>{r + "generate", m + "enter", m + "enter$task", m + "exit",
                                             m + "exit$task", m + "get", e + "set$task", e + "get",
                                             e + "check_set$task", e + "check_add_host_evc$task"}));
}

TEST_F(OpenRpcDocumentTest, TaskFormAnswersWithTheTaskId) {
  json::value const& task = Method(std::string(kMaintenance) + "/enter$task");
  json::value const& plain = Method(std::string(kMaintenance) + "/enter");
  EXPECT_EQ(task.at("result"), json::parse(R"({"name":"task","schema":{"type":"string"}})"));
  EXPECT_EQ(plain.at_pointer("/result/schema"), json::parse(R"({"type":"null"})"));
  EXPECT_EQ(task.at("params"), plain.at("params"));
  EXPECT_EQ(task.at("errors"), plain.at("errors"));
  EXPECT_EQ(plain.at("paramStructure"), "by-name");
  ExpectAt(plain, {
                      {"/params/0/name", R"("cluster")"},
                      {"/params/0/required", "true"},
                      {"/params/0/schema", R"({"type":"string"})"},
                      {"/params/1/name", R"("spec")"},
                      {"/params/1/required", "false"},
                      {"/params/1/schema/anyOf/1", R"({"type":"null"})"},
                  });
}

TEST_F(OpenRpcDocumentTest, UnionCasesFollowTheirTag) {
  std::string const name = "com.quarn.nexar.cluster.edrs.recommendation.recommendation";
  EXPECT_EQ(Method(std::string(kRecommendation) + "/generate").at_pointer("/result/schema"),
            json::value({{"$ref", JsonSchemaWriter::SchemaRef(name)}}));
  json::value const& schema = Schema(name);
  EXPECT_EQ(Required(schema), (std::set<std::string>{"action", "reason"}));
  ExpectAt(schema,
           {
               {"/properties/action/enum", R"(["SCALE_OUT","SCALE_IN","NO_ACTION"])"},
               {"/properties/hosts/anyOf/0/uniqueItems", "true"},
               {"/oneOf/0/required", R"(["action","host_count"])"},
               {"/oneOf/0/properties/hosts", R"({"type":"null"})"},
               {"/oneOf/1/required", R"(["action","host_count","hosts"])"},
               {"/oneOf/2/properties", R"({"action":{"const":"NO_ACTION"},"host_count":{"type":"null"},
                                  "hosts":{"type":"null"}})"},
           });
  EXPECT_EQ(Schema("com.quarn.nexar.cluster.edrs.maintenance_mode.info").at_pointer("/properties/state"),
            json::parse(
                R"({"type":"string","enum":["ENTERING","IN_MAINTENANCE","EXITING","NOT_IN_MAINTENANCE"]})"));
}

TEST_F(OpenRpcDocumentTest, DeclaredErrorsPointAtTheirValueSchema) {
  json::value const& generate = Method(std::string(kRecommendation) + "/generate");
  std::set<std::string> refs;
  for (auto const& error : generate.at("errors").as_array())
    refs.insert(std::string(error.at("$ref").as_string()));
  EXPECT_EQ(refs.size(), 5u);
  EXPECT_EQ(refs.count(JsonSchemaWriter::ComponentRef("errors", ErrorIds::kNotFound)), 1u);
  json::value const& error = document_.at_pointer("/components/errors").at(ErrorIds::kNotFound);
  EXPECT_EQ(error.at("code"), static_cast<int>(RpcCode::OperationError));
  EXPECT_EQ(error.at("message"), ErrorIds::kNotFound);
  EXPECT_EQ(error.at("data"), json::value({{"$ref", JsonSchemaWriter::SchemaRef(ErrorIds::kNotFound)}}));
  json::value const& schema = Schema(ErrorIds::kNotFound);
  EXPECT_EQ(schema.at_pointer("/properties/@type"), json::value({{"const", ErrorIds::kNotFound}}));
  EXPECT_EQ(Required(schema).count("@type"), 1u);
}

}  // namespace
}  // namespace Rpc
}  // namespace Opax
