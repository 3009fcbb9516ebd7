/// \file
/// Kept so that existing includes still compile: the declarations live in
/// korrin/compat/error_tags.h.
#ifndef KORRIN_ERROR_TAGS_H
#define KORRIN_ERROR_TAGS_H

#include "korrin/compat/error_tags.h"

#endif  // KORRIN_ERROR_TAGS_H
