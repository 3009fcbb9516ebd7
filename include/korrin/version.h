/// \file
/// Release version of the library: the headers' version as macros, and the
/// version of the library actually loaded through korrin::version().
#ifndef KORRIN_VERSION_H
#define KORRIN_VERSION_H

#include "korrin/export.h"

/// Major version; also the SONAME version (libkorrin.so.1).
#define KORRIN_VERSION_MAJOR 1
/// Minor version: additions compatible with earlier minor versions.
#define KORRIN_VERSION_MINOR 1
/// Patch version: fixes only.
#define KORRIN_VERSION_PATCH 0

/// The three numbers as one, for comparisons in the preprocessor:
/// major * 10000 + minor * 100 + patch (10100 for 1.1.0).
/// \code
/// #if KORRIN_VERSION >= 10100
///   std::printf("libkorrin %s\n", korrin::version());
/// #endif
/// \endcode
#define KORRIN_VERSION \
  (KORRIN_VERSION_MAJOR * 10000 + KORRIN_VERSION_MINOR * 100 + KORRIN_VERSION_PATCH)

/// \cond KORRIN_INTERNAL
// The text of a number macro's value.
#define KORRIN_VERSION_TEXT_(number) #number
#define KORRIN_VERSION_TEXT(number) KORRIN_VERSION_TEXT_(number)
/// \endcond
/// The release string of these headers, "major.minor.patch" ("1.1.0").
#define KORRIN_VERSION_STRING               \
  KORRIN_VERSION_TEXT(KORRIN_VERSION_MAJOR) \
  "." KORRIN_VERSION_TEXT(KORRIN_VERSION_MINOR) "." KORRIN_VERSION_TEXT(KORRIN_VERSION_PATCH)

namespace korrin {

/// The release string of the loaded library, "major.minor.patch" (for
/// example "1.1.0"). A host built against older headers of the same major
/// version may run with a newer library; this says which one it got. The
/// string is static: the caller must not free it. Available since 1.1.0.
KORRIN_API const char* version();

}  // namespace korrin

#endif  // KORRIN_VERSION_H
