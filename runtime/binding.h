#pragma once

// What a generated header needs: the runtime's value, definition, validation and metadata
// types, and the Fields table that generated structures befriend.

#include <opax/opax.h>
#include <runtime/fields.h>

#include <boost/optional.hpp>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>
