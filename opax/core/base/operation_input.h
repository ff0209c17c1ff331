#pragma once

namespace Opax {

// The input of an operation that takes no parameters: a structure with no fields.
struct OperationInput {};

}  // namespace Opax
