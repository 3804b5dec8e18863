# Compiler settings that every target of this tree shares. Nothing here reaches the project that this one is part of.
if(NOT CMAKE_CXX_STANDARD OR CMAKE_CXX_STANDARD LESS 20)
  set(CMAKE_CXX_STANDARD 20)
endif()
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
  endif()
endif()

# Sources that are compiled together read their headers once, which is most of the work. That each source includes what
# it uses is proved where each is compiled alone: by tests/install/part for the library, by ./test --tidy for the tool too.
option(VOBASE_UNITY "Compile the sources of a folder together" ON)

# What a compiler says of joined sources that it wouldn't say of each alone.
function(vobase_allow_joined target)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # It takes a joined source for a header, in which a nameless namespace would be a mistake.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # A local name that another source of the group has outside its functions.
    target_compile_options(${target} PRIVATE -Wno-shadow)
  endif()
endfunction()

# vobase_compile_quickly(TARGET): code that only tests run isn't optimised.
function(vobase_compile_quickly target)
  if(NOT MSVC)
    target_compile_options(${target} PRIVATE -O0)
  endif()
endfunction()

# vobase_join(TARGET [FOLDERS...]): the sources of each folder become one translation unit, where that is wanted; those
# of the folders that one argument names ("reader|image") become one together.
function(vobase_join target)
  if(NOT VOBASE_UNITY)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    cmake_path(GET source PARENT_PATH folder)
    cmake_path(GET folder FILENAME group)
    foreach(together IN LISTS ARGN)
      if(group MATCHES "^(${together})$")
        string(REPLACE "|" "_" group ${together})
      endif()
    endforeach()
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP "${group}")
  endforeach()
  vobase_allow_joined(${target})
endfunction()

if(VOBASE_DEVELOPER)
  find_program(VOBASE_CCACHE ccache)
  if(VOBASE_CCACHE)
    # Without the sloppiness nothing that uses a precompiled header is cached. With the base directory, what one
    # checkout compiled is there for the next one.
    set(CMAKE_C_COMPILER_LAUNCHER ${VOBASE_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}
      CCACHE_NOHASHDIR=1 ${VOBASE_CCACHE})
  endif()
  if(MSVC)
    add_compile_options(/W4 /WX)
  else()
    add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wundef -Wnon-virtual-dtor -Woverloaded-virtual -Werror)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # It would look for memory to use again, a tenth of its time, long before a joined source needs that.
    add_compile_options(--param=ggc-min-heapsize=1000000)
  endif()
endif()
if(MSVC)
  add_compile_options(/utf-8)
endif()

if(VOBASE_SANITIZE)
  add_compile_options(-fsanitize=${VOBASE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VOBASE_SANITIZE})
endif()

find_package(Threads REQUIRED)
