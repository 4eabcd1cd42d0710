# What a program says of itself with --version: the version, and the commit where it is known. The header BuildVersion.h
# is looked at in every build and written where it has changed; one small file of a program includes it.

include_guard(GLOBAL)

set(QUENMARK_COMMIT "" CACHE STRING "The commit that --version names; empty: that of the working tree or the archive")

add_custom_target(BuildVersionHeader
  COMMAND "${CMAKE_COMMAND}" "-DSOURCE=${PROJECT_SOURCE_DIR}" "-DVERSION=${PROJECT_VERSION}"
    "-DCOMMIT=${QUENMARK_COMMIT}" "-DHEADER=${PROJECT_BINARY_DIR}/generated/BuildVersion/BuildVersion.h"
    -P "${CMAKE_CURRENT_LIST_DIR}/write-build-version.cmake"
  BYPRODUCTS "${PROJECT_BINARY_DIR}/generated/BuildVersion/BuildVersion.h"
  COMMENT ""
  VERBATIM)

# quenmark_version_source(target source): the source of the target that includes BuildVersion.h.
function(quenmark_version_source target source)
  add_dependencies(${target} BuildVersionHeader)
  target_sources(${target} PRIVATE "${source}")
  target_include_directories(${target} PRIVATE "${PROJECT_BINARY_DIR}/generated/BuildVersion")
  set_source_files_properties("${source}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON SKIP_PRECOMPILE_HEADERS ON)
endfunction()
