#pragma once

#include <opax/core/data/data_value.h>
#include <opax/core/definition/data_definition.h>
#include <opax/core/message/base_message.h>

#include <list>
#include <string>

namespace Opax {
namespace Json {

struct EncodeOptions {
  // Spaces per level; 0 writes everything on one line with no spaces.
  int indent = 0;
};

// Appends the JSON text of `value` to `out`: structures as objects keyed by field wire names in
// the value's own order (declaration order, then retained unknown fields), unset optional fields
// left out, lists as arrays, maps as objects, enumerations as their text, integers exactly,
// doubles in their shortest exact form, binary as base64, date-times in UTC with milliseconds,
// secrets as plain strings (the wire is the one place they are written), void as null.
//
// `definition` (may be null) says where a structure's position does not name its type: error
// values, dynamic structures and members the definition does not know carry it in the reserved
// member "@type". The value is written as it is, whatever the definition says.
//
// Fails only on a string that is not valid UTF-8, which JSON text cannot carry: then false with
// "opax.json.utf8.invalid" and the path, and `out` as it was.
bool Encode(Data::DataValue const& value, Data::DataDefinition const* definition, std::string& out,
            std::list<BaseMessage>& messages, EncodeOptions const& options = {});

}  // namespace Json
}  // namespace Opax
