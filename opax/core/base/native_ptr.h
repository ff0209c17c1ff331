#pragma once

namespace Opax {

// Type-erased addresses of native objects. An adapt function knows the type behind the address
// because it is the adapt function of that type; nothing else reads through these.
using NativePtr = void*;
using NativeConstPtr = void const*;

}  // namespace Opax
