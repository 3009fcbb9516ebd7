// Release version of the library headers.
#ifndef KORRIN_VERSION_H
#define KORRIN_VERSION_H

#define KORRIN_VERSION_MAJOR 1
#define KORRIN_VERSION_MINOR 0
#define KORRIN_VERSION_PATCH 0

#endif  // KORRIN_VERSION_H
