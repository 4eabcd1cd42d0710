#include "Tools/Version.h"

#include "BuildVersion.h"

namespace Tools {

const char* version() {
    return QUENMARK_BUILD_VERSION;
}

} // namespace Tools
