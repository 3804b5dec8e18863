# The library itself: one set of sources, built as the shared library that users link, as a static one for the tests
# that look at what the shared library doesn't export, and as the plain form that the benchmarks compare with.
set(VOBASE_SUBSYSTEMS diagnostics containers assetindex mapping fileevent filemonitor config utility)
set(VOBASE_SOURCES)
foreach(subsystem IN LISTS VOBASE_SUBSYSTEMS)
  file(GLOB subsystem_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${subsystem}/*.cpp)
  list(APPEND VOBASE_SOURCES ${subsystem_sources})
endforeach()

find_package(LZO REQUIRED)

function(vobase_library_settings target platform)
  target_include_directories(${target}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vobase>
    PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:${platform}> $<BUILD_INTERFACE:LZO::LZO>)
endfunction()

add_library(VOBaseX64 SHARED ${VOBASE_SOURCES})
add_library(VOBaseX64::VOBaseX64 ALIAS VOBaseX64)
vobase_library_settings(VOBaseX64 vo_platform)
target_compile_definitions(VOBaseX64 PRIVATE VOBASE_BUILD)

# One symbol of that kind, of the standard library's templates say, and the loader never unloads the library again.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT WIN32)
  target_compile_options(VOBaseX64 PRIVATE -fno-gnu-unique)
  target_compile_options(vo_platform PRIVATE -fno-gnu-unique)
endif()

# Calls inside the library go straight to their target, as they do in a DLL.
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang" AND NOT WIN32)
  target_compile_options(VOBaseX64 PRIVATE -fno-semantic-interposition)
  target_link_options(VOBaseX64 PRIVATE -Wl,-Bsymbolic-functions
    -Wl,--version-script=${CMAKE_CURRENT_LIST_DIR}/VOBaseX64.map)
  set_target_properties(VOBaseX64 PROPERTIES LINK_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/VOBaseX64.map)
endif()

add_library(vobase_static STATIC EXCLUDE_FROM_ALL ${VOBASE_SOURCES})
vobase_library_settings(vobase_static vo_platform_faulty)
target_compile_definitions(vobase_static PUBLIC VOBASE_STATIC)

# The Provider's maps on std::map.
add_library(vobase_std_map STATIC EXCLUDE_FROM_ALL ${VOBASE_SOURCES})
vobase_library_settings(vobase_std_map vo_platform)
target_compile_definitions(vobase_std_map PUBLIC VOBASE_STATIC PRIVATE VOBASE_STD_MAP_INDEX)
