// The one-include header must compile with nothing before it: this file includes only it, so a
// header that leans on an include it does not make itself fails here.

#include <opax/opax.h>
