/// \file
/// Kept so that existing includes still compile: the declarations live in
/// korrin/compat/string_utils.h.
#ifndef KORRIN_STRING_UTILS_H
#define KORRIN_STRING_UTILS_H

#include "korrin/compat/string_utils.h"

#endif  // KORRIN_STRING_UTILS_H
