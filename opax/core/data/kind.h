#pragma once

namespace Opax {
namespace Data {

// The kinds of data value. The numbers are stable: the value-to-native adapters treat kind 5
// (an optional wrapper) as the one that needs a converting read, and codecs may write them.
enum class Kind : int {
  Void = 0,
  Boolean = 1,
  Integer = 2,
  Double = 3,
  String = 4,
  Optional = 5,
  List = 6,
  Structure = 7,
  Error = 8,
  Secret = 9,
  Binary = 10,
  DateTime = 11,
  Map = 12,
};

// Lower-case name of a kind ("string", "optional", ...), for messages.
char const* KindName(Kind kind);

}  // namespace Data
}  // namespace Opax
