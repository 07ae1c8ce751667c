// What the library's own folders ask of the codeset registry beyond charset/codeset.h.
#pragma once

#include "charset/codeset.h"

namespace mar::charset {

// Returns `codeset`, or the default if it is null.
xcs_cs_t* codeset_or_default(xcs_cs_t* codeset);

// Called with each codeset that is about to be freed, so that a caller can drop its own pointer to it. May be
// null.
extern void (*codeset_freed)(const xcs_cs_t* codeset);

}  // namespace mar::charset
