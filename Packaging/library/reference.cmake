# The API reference, by Doxygen over the public headers; Docs/reference has what it is made with.

option(QUENMARK_API_REFERENCE "Build and install the API reference (doxygen)" OFF)
if(NOT QUENMARK_API_REFERENCE)
  return()
endif()

find_program(DOXYGEN doxygen REQUIRED)
file(STRINGS "${PROJECT_SOURCE_DIR}/Tests/Install/public-headers.txt" patterns)
set(documents Docs/reference/main-page.md Docs/library.md Docs/api.md Docs/operations.md)
list(TRANSFORM patterns PREPEND "${PROJECT_SOURCE_DIR}/" OUTPUT_VARIABLE globs)
file(GLOB headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}" ${globs})
set(read ${headers} ${documents})
list(JOIN read " " reference_inputs)
set(reference_directory "${CMAKE_CURRENT_BINARY_DIR}/reference")
configure_file("${PROJECT_SOURCE_DIR}/Docs/reference/Doxyfile.in" "${CMAKE_CURRENT_BINARY_DIR}/Doxyfile" @ONLY)

list(TRANSFORM read PREPEND "${PROJECT_SOURCE_DIR}/")
add_custom_command(OUTPUT "${reference_directory}/html/index.html"
  COMMAND "${CMAKE_COMMAND}" -E rm -rf "${reference_directory}"
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${reference_directory}"
  COMMAND "${DOXYGEN}" "${CMAKE_CURRENT_BINARY_DIR}/Doxyfile"
  DEPENDS ${read} "${CMAKE_CURRENT_BINARY_DIR}/Doxyfile" "${PROJECT_SOURCE_DIR}/Docs/reference/filter"
    "${PROJECT_SOURCE_DIR}/Examples/upload/main.cpp" "${PROJECT_SOURCE_DIR}/Examples/upload/CMakeLists.txt"
  WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
  COMMENT "Writing the API reference"
  VERBATIM)
add_custom_target(api-reference ALL DEPENDS "${reference_directory}/html/index.html")
install(DIRECTORY "${reference_directory}/html" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/libquenmark-dev"
  COMPONENT Reference)
