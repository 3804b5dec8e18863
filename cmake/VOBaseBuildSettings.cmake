# Compiler settings that every target of this tree shares.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

find_program(VOBASE_CCACHE ccache)
if(VOBASE_CCACHE)
  # Without the sloppiness nothing that uses a precompiled header is cached. With the base directory, what one checkout
  # compiled is there for the next one.
  set(CMAKE_C_COMPILER_LAUNCHER ${VOBASE_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
    ${VOBASE_CCACHE})
endif()

if(MSVC)
  add_compile_options(/W4 /WX /utf-8)
else()
  add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wundef -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
endif()

if(VOBASE_SANITIZE)
  add_compile_options(-fsanitize=${VOBASE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VOBASE_SANITIZE})
endif()

find_package(Threads REQUIRED)
