#include "korrin_host/mutex_factory.h"

namespace korrin_host {

korrin::MutexInterface* MutexFactory::create_mutex(bool recursive) {
  korrin::MutexInterface* mutex = nullptr;
  if (recursive) {
    mutex = new StdRecursiveMutex;
  } else {
    mutex = new StdMutex;
  }
  ++created_;
  ++live_;
  return mutex;
}

void MutexFactory::destroy_mutex(korrin::MutexInterface* mutex) {
  if (mutex == nullptr) {
    return;
  }
  delete mutex;
  --live_;
}

}  // namespace korrin_host
