#include "render/table.h"

#include <opax/core/data/compound_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/json/encoder.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <string>
#include <vector>

namespace Cli {
namespace {

using ::Opax::Data::CompoundValue;
using ::Opax::Data::DataValue;
using ::Opax::Data::Kind;
using ::Opax::Data::OptionalValue;

std::string Cell(std::shared_ptr<DataValue const> const* slot) {
  if (!slot || !*slot) return std::string();
  DataValue const* value = slot->get();
  if (value->kind() == Kind::Optional) {
    value = static_cast<OptionalValue const*>(value)->value().get();
    if (!value) return std::string();
  }
  std::string text;
  std::list<::Opax::BaseMessage> ignored;
  if (!::Opax::Json::Encode(*value, nullptr, text, ignored)) return "?";
  // A string reads better without its quotes; anything with structure keeps its JSON.
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"' && text.find('\\') == std::string::npos) {
    text = text.substr(1, text.size() - 2);
  }
  return text;
}

}  // namespace

bool IsListOfStructures(::Opax::Data::ListValue const& list) {
  if (list.isTyped()) return false;
  return std::all_of(list.values().begin(), list.values().end(), [](auto const& element) {
    return element && (element->kind() == Kind::Structure || element->kind() == Kind::Error);
  });
}

void WriteTable(std::ostream& out, ::Opax::Data::ListValue const& list) {
  if (list.values().empty()) {
    out << "(no rows)\n";
    return;
  }
  std::vector<std::string> columns;
  std::map<std::string, std::size_t> widths;
  for (auto const& element : list.values()) {
    for (auto const& field : static_cast<CompoundValue const&>(*element).fields().inOrder()) {
      std::string const name(field.name());
      if (!widths.count(name)) {
        columns.push_back(name);
        widths[name] = name.size();
      }
    }
  }
  std::vector<std::vector<std::string>> rows;
  for (auto const& element : list.values()) {
    auto const& structure = static_cast<CompoundValue const&>(*element);
    std::vector<std::string> row;
    for (auto const& column : columns) {
      row.push_back(Cell(structure.FindField(column)));
      widths[column] = std::max(widths[column], row.back().size());
    }
    rows.push_back(std::move(row));
  }
  auto writeRow = [&](std::vector<std::string> const& cells) {
    std::string line;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      line += cells[i];
      if (i + 1 < columns.size()) line += std::string(widths[columns[i]] - cells[i].size() + 2, ' ');
    }
    out << line << "\n";
  };
  std::vector<std::string> header;
  for (auto const& column : columns) {
    std::string upper = column;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    header.push_back(upper);
  }
  writeRow(header);
  for (auto const& row : rows) writeRow(row);
}

}  // namespace Cli
