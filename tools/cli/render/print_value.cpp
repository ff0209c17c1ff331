#include "render/print_value.h"

#include "render/mask_secrets.h"
#include "render/table.h"

#include <opax/json/encoder.h>

namespace Cli {

void PrintValue(std::ostream& out, std::shared_ptr<::Opax::Data::DataValue const> const& value,
                ::Opax::Data::DataDefinition const* definition, OutputFormat format) {
  using ::Opax::Data::Kind;
  if (!value || value->kind() == Kind::Void) return;
  auto const masked = MaskSecrets(value);
  if (format == OutputFormat::Table && masked->kind() == Kind::List) {
    auto const& list = static_cast<::Opax::Data::ListValue const&>(*masked);
    if (IsListOfStructures(list)) {
      WriteTable(out, list);
      return;
    }
  }
  std::string text;
  std::list<::Opax::BaseMessage> messages;
  if (!::Opax::Json::Encode(*masked, definition, text, messages, ::Opax::Json::EncodeOptions{2})) {
    for (auto const& message : messages) out << "nexar: " << message.defaultMessage() << "\n";
    return;
  }
  out << text << "\n";
}

}  // namespace Cli
