# What every folder's target has in common: the language, the warnings, the sanitizers, and the rule that a
# folder sees only the folders it links.

include_guard(GLOBAL)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1 -fno-omit-frame-pointer")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG -ffunction-sections -fdata-sections")
set(CMAKE_EXE_LINKER_FLAGS_RELEASE "-Wl,--gc-sections,--as-needed,-O1")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(QUENMARK_SANITIZE "" CACHE STRING "Comma-separated list for -fsanitize=")
add_library(QuenmarkFlags INTERFACE)
target_compile_options(QuenmarkFlags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(QUENMARK_SANITIZE)
  add_compile_options(-fsanitize=${QUENMARK_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QUENMARK_SANITIZE})
endif()

find_program(QUENMARK_CCACHE ccache)
if(QUENMARK_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${QUENMARK_CCACHE}")
endif()

# A folder's headers are reached as "Folder/Header.h" through an include directory that holds nothing but a link
# to that folder. A target therefore sees its own folder and those of the targets it links, and no other.
function(quenmark_folder target folder)
  set(layout "${PROJECT_BINARY_DIR}/layout/${folder}")
  file(MAKE_DIRECTORY "${layout}")
  if(NOT EXISTS "${layout}/${folder}")
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${folder}" "${layout}/${folder}" SYMBOLIC)
  endif()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_include_directories(${target} PRIVATE "${layout}")
  else()
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${layout}>")
  endif()
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:QuenmarkFlags>)
endfunction()
