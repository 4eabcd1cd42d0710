# What every folder's target has in common: the language, the warnings, the sanitizers, and the rule that a
# folder sees only the folders it links.

include_guard(GLOBAL)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# For libraries and programs alike, so that they can share precompiled headers.
add_compile_options(-fPIC)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_CXX_FLAGS_DEBUG "-O0 -g1 -fno-omit-frame-pointer")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG -ffunction-sections -fdata-sections")
set(CMAKE_EXE_LINKER_FLAGS_RELEASE "-Wl,--gc-sections,--as-needed,-O1")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(QUENMARK_SANITIZE "" CACHE STRING "Comma-separated list for -fsanitize=")
add_library(QuenmarkFlags INTERFACE)
target_compile_options(QuenmarkFlags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # With optimisation this compiler takes inlined std::string operations for overruns (GCC bugs 105329 and 105651).
  target_compile_options(QuenmarkFlags INTERFACE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # What std::stable_sort of libstdc++ 12 uses is deprecated, and this compiler says so (LLVM issue 76515).
  target_compile_options(QuenmarkFlags INTERFACE -Wno-deprecated-declarations)
elseif(CMAKE_UNITY_BUILD)
  # In a batch the compiler takes every file but the batch itself for a header, and warns of what only headers must not.
  target_compile_options(QuenmarkFlags INTERFACE -Wno-subobject-linkage)
  # The compiler collects its garbage from half a gigabyte on. From 128 megabytes on, as it does by itself, this takes
  # up to an eighth of the time of a batch.
  add_compile_options(--param=ggc-min-heapsize=524288)
endif()
if(QUENMARK_SANITIZE)
  add_compile_options(-fsanitize=${QUENMARK_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QUENMARK_SANITIZE})
endif()

# Headers that nearly every file includes are read once.
set(QUENMARK_COMMON_HEADERS
  <algorithm> <chrono> <cstdint> <functional> <map> <memory> <optional> <string> <string_view> <utility> <variant>
  <vector> <boost/json.hpp>)

# quenmark_install_headers(folder header...): installs public headers where a program includes them as
# "folder/header". The other headers of a folder are internal.
function(quenmark_install_headers folder)
  foreach(header IN LISTS ARGN)
    cmake_path(GET header PARENT_PATH subfolder)
    install(FILES "${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/quenmark/${folder}/${subfolder}")
  endforeach()
endfunction()

# A folder's headers are reached as "Folder/Header.h" through an include directory that holds nothing but a link
# to that folder. A target therefore sees its own folder and those of the targets it links, and no other. This holds for
# a folder in a folder too.
function(quenmark_folder target folder)
  string(REPLACE "/" "." name "${folder}")
  set(layout "${PROJECT_BINARY_DIR}/layout/${name}")
  cmake_path(GET folder PARENT_PATH parent)
  file(MAKE_DIRECTORY "${layout}/${parent}")
  if(NOT EXISTS "${layout}/${folder}")
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${folder}" "${layout}/${folder}" SYMBOLIC)
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_include_directories(${target} PRIVATE "${layout}")
  else()
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${layout}>")
    target_compile_features(${target} PUBLIC cxx_std_20)
  endif()
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:QuenmarkFlags>)
  if(folder STREQUAL "Platform")
    target_precompile_headers(${target} PRIVATE ${QUENMARK_COMMON_HEADERS})
  elseif(TARGET Platform)
    target_precompile_headers(${target} REUSE_FROM Platform)
  endif()
endfunction()
