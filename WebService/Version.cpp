#include "WebService/Version.h"

#include "BuildVersion.h"

namespace webservice {

const char* version() {
    return QUENMARK_BUILD_VERSION;
}

} // namespace webservice
