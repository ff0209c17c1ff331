#pragma once

// JSON Schema (draft-07) of data definitions, describing exactly the texts that opax::json writes
// and reads; docs/WIRE.md ("Discovery") tells how each kind is described.

#include <opax/core/definition/data_definition.h>

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Opax {
namespace Rpc {

// One writer serves one document: every named structure (and error) it meets becomes a `$ref`
// into `#/components/schemas/`, and is described once, however many definitions use it. Walks
// with a work list, so the depth of a definition costs heap, not stack.
class JsonSchemaWriter {
 public:
  // The schema of values of `definition`; a named structure gives a reference.
  boost::json::value SchemaOf(std::shared_ptr<Data::DataDefinition const> const& definition);

  // Describes every named structure referred to so far and hands them over, by name. The writer
  // is then empty again.
  boost::json::object TakeSchemas();

  // "#/components/schemas/<name>", escaped as a JSON pointer inside a URI fragment.
  static std::string SchemaRef(std::string const& name);
  // The same escape for any components section ("errors", ...).
  static std::string ComponentRef(char const* section, std::string const& name);

 private:
  struct Task {
    Data::DataDefinition const* definition;
    boost::json::value* out;
  };

  // Fills `out` with the schema of `root`; a named structure at the root is described in full
  // when `describeRoot`, and referred to otherwise.
  void Fill(Data::DataDefinition const* root, boost::json::value& out, bool describeRoot);
  void Refer(std::string const& name, Data::DataDefinition const* definition, boost::json::value& out);
  void DescribeStructure(Data::StructDefinition const& structure, boost::json::value& out,
                         std::vector<Task>& work);

  // Named structures: described (or to be described) by name; a std::map keeps the slots where
  // they are while more names arrive.
  std::map<std::string, boost::json::value> named_;
  std::vector<std::pair<std::string, Data::DataDefinition const*>> pending_;
  // The roots given and the reference targets met: what the pending pointers point into.
  std::vector<std::shared_ptr<Data::DataDefinition const>> keepAlive_;
};

}  // namespace Rpc
}  // namespace Opax
