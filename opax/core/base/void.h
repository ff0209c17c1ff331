#pragma once

namespace Opax {

// The result of an operation without output. Every Void equals every other.
struct Void {
  bool operator==(Void const&) const { return true; }
  bool operator!=(Void const&) const { return false; }
  bool operator<(Void const&) const { return false; }
};

// The same empty result under the name that untyped result objects use.
using UVoid = Void;

}  // namespace Opax
