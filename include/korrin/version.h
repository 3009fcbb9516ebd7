/// \file
/// Release version of the library headers.
#ifndef KORRIN_VERSION_H
#define KORRIN_VERSION_H

/// Major version; also the SONAME version (libkorrin.so.1).
#define KORRIN_VERSION_MAJOR 1
/// Minor version: additions compatible with earlier minor versions.
#define KORRIN_VERSION_MINOR 0
/// Patch version: fixes only.
#define KORRIN_VERSION_PATCH 0

#endif  // KORRIN_VERSION_H
