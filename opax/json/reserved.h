#pragma once

namespace Opax {
namespace Json {

// The one member name the wire format reserves: it carries the type name of an error value and
// of a structure whose position does not say what it is (a dynamic structure, or a member the
// reader's definition does not know). Field wire names are snake_case, so it never collides.
constexpr char const kTypeMember[] = "@type";

}  // namespace Json
}  // namespace Opax
