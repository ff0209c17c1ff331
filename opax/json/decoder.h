#pragma once

#include <opax/core/data/data_value.h>
#include <opax/core/definition/data_definition.h>
#include <opax/core/message/base_message.h>
#include <opax/json/limits.h>

#include <list>
#include <memory>
#include <string_view>

namespace Opax {
namespace Json {

// Decodes JSON text into the value that `definition` describes: each member becomes exactly the
// value kind its definition asks for (a string becomes a secret, binary or date-time where the
// definition says so; an absent or null optional becomes an unset optional). Members and values
// the definition does not know are decoded by what they look like and kept, so that a newer
// peer's fields and enumeration texts travel on unchanged.
//
// On any fault (malformed text, a kind the definition does not allow, a number out of range,
// bad base64 or date-time, a duplicate member, a missing required member, a union case field
// that its tag does not allow, a limit passed) it returns false with one message whose last
// argument is the JSON path of the fault, and leaves `out` untouched. Never throws for bad input.
// No message carries the content of a string from the text.
bool Decode(std::string_view text, Data::DataDefinition const& definition,
            std::shared_ptr<Data::DataValue const>& out, std::list<BaseMessage>& messages,
            Limits const& limits = Limits());

// Decodes by looks alone: objects become structures (named by their "@type" member, if any),
// arrays lists, strings strings, integral numbers that fit 64 bits integers and other numbers
// doubles, booleans booleans and null void.
bool Decode(std::string_view text, std::shared_ptr<Data::DataValue const>& out,
            std::list<BaseMessage>& messages, Limits const& limits = Limits());

}  // namespace Json
}  // namespace Opax
