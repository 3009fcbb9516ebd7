// The release string of the library, fixed when it is built.
#include "korrin/version.h"

namespace korrin {

const char* version() { return KORRIN_VERSION_STRING; }

}  // namespace korrin
