// Symbol visibility for libkorrin. The library is built with hidden
// visibility; only declarations marked KORRIN_API are exported.
#ifndef KORRIN_EXPORT_H
#define KORRIN_EXPORT_H

#if defined(KORRIN_BUILDING_LIBRARY)
#define KORRIN_API __attribute__((visibility("default")))
#else
#define KORRIN_API
#endif

#endif  // KORRIN_EXPORT_H
