#pragma once

#include <cstdint>
#include <string_view>

namespace Opax {
namespace Data {
namespace internal {

// A hash of a text that a peer cannot steer: SipHash-1-3 under a key drawn at random once per
// process. Names of a large field map come from the wire, and a hash that anyone can compute
// lets a sender pick names that all collide, turning each lookup into a walk over all of them.
uint64_t KeyedHash(std::string_view text);

}  // namespace internal
}  // namespace Data
}  // namespace Opax
