#pragma once

// What a generated .cpp needs besides its header: the walkers its entries instantiate.

#include <runtime/binding.h>
#include <runtime/struct_adapters.h>
#include <runtime/struct_validation.h>
