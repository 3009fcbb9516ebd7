// Live heap of the soak program, counted by its own replacement of the
// global operator new and operator delete (every C++ allocation of the
// program and of the libraries it loads goes through them), and malloc's
// own view, which also covers what C code such as cJSON allocates.
#ifndef KORRIN_TESTS_SOAK_HEAP_COUNTER_H
#define KORRIN_TESTS_SOAK_HEAP_COUNTER_H

#include <cstddef>

namespace korrin_soak {

/// Bytes and blocks allocated with operator new and not yet deleted.
struct HeapSnapshot {
  long long bytes = 0;
  long long blocks = 0;
  /// Bytes malloc reports in use (mallinfo2); 0 where a tool replaces malloc.
  std::size_t malloc_in_use = 0;
};

/// The counts right now.
HeapSnapshot heap_now();

}  // namespace korrin_soak

#endif  // KORRIN_TESTS_SOAK_HEAP_COUNTER_H
