// Two timing helpers for hosts; the configure flow computes its own back-off.
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "korrin/compat/config_manager_impl.h"

unsigned get_seconds_to_wait(unsigned minimum, unsigned spread) {
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  const auto drawn = static_cast<unsigned>(std::rand());
  // A spread of UINT_MAX allows every value: spread + 1 would wrap to 0.
  const unsigned offset = spread + 1u == 0u ? drawn : drawn % (spread + 1u);
  return offset + minimum;
}

void sleep_for(unsigned seconds) {
  // usleep takes a 32-bit count of microseconds: sleep in chunks that fit.
  constexpr unsigned kChunkSeconds = 4000;
  while (seconds > 0) {
    const unsigned chunk = seconds < kChunkSeconds ? seconds : kChunkSeconds;
    usleep(static_cast<useconds_t>(chunk) * 1000000u);
    seconds -= chunk;
  }
}
