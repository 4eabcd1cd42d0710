# Writes BuildVersion.h; see BuildVersion.cmake.
#   cmake -DSOURCE= -DVERSION= -DCOMMIT= -DHEADER= -P write-build-version.cmake

# git archive(1) puts the commit into this file (gitattributes(5), export-subst).
file(STRINGS "${SOURCE}/Packaging/commit" archived LIMIT_COUNT 1)
if(NOT COMMIT AND NOT archived MATCHES "Format")
  set(COMMIT "${archived}")
endif()
# A tree of another project's, into which this one was copied, says nothing of it.
if(NOT COMMIT AND EXISTS "${SOURCE}/.git")
  execute_process(COMMAND git -C "${SOURCE}" describe --always --dirty --abbrev=12 --exclude=*
    OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()

set(text "${VERSION}")
if(COMMIT)
  string(APPEND text " (${COMMIT})")
endif()
file(CONFIGURE OUTPUT "${HEADER}" CONTENT "#pragma once\n#define QUENMARK_BUILD_VERSION \"${text}\"\n" @ONLY)
