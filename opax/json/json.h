#pragma once

// The wire format in one include: every data value as JSON text and back.

#include <opax/json/decoder.h>
#include <opax/json/encoder.h>
#include <opax/json/limits.h>
#include <opax/json/reserved.h>
