/// \file
/// Kept so that existing includes still compile: the declarations live in
/// korrin/compat/constants.h.
#ifndef KORRIN_CONSTANTS_H
#define KORRIN_CONSTANTS_H

#include "korrin/compat/constants.h"

#endif  // KORRIN_CONSTANTS_H
