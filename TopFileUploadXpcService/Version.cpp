#include "TopFileUploadXpcService/Version.h"

#include "BuildVersion.h"

namespace Quenmark {

const char* version() {
    return QUENMARK_BUILD_VERSION;
}

} // namespace Quenmark
