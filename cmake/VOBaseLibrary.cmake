# The library itself. Its sources are compiled once; the objects make the library that users link, shared or static,
# and the archive for the tests that look at what the shared library doesn't export.
set(VOBASE_SUBSYSTEMS diagnostics containers assetindex mapping publishing fileevent filemonitor config utility)
set(VOBASE_SOURCES)
foreach(subsystem IN LISTS VOBASE_SUBSYSTEMS)
  file(GLOB subsystem_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${subsystem}/*.cpp)
  list(APPEND VOBASE_SOURCES ${subsystem_sources})
endforeach()

find_package(LZO REQUIRED)

function(vobase_library_settings target)
  target_include_directories(${target}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vobase>)
  target_compile_features(${target} PUBLIC cxx_std_20)
endfunction()

add_library(vobase_objects OBJECT ${VOBASE_SOURCES})
vobase_library_settings(vobase_objects)
target_link_libraries(vobase_objects PRIVATE vo_platform LZO::LZO)
target_compile_definitions(vobase_objects PRIVATE $<IF:$<BOOL:${BUILD_SHARED_LIBS}>,VOBASE_BUILD,VOBASE_STATIC>)
vobase_join(vobase_objects)
# A benchmark links another one of it in front of the rest.
set_source_files_properties(${PROJECT_SOURCE_DIR}/containers/ordered_index.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)

add_library(VOBaseX64 $<TARGET_OBJECTS:vobase_objects>)
add_library(VOBaseX64::VOBaseX64 ALIAS VOBaseX64)
vobase_library_settings(VOBaseX64)
set_target_properties(VOBaseX64 PROPERTIES LINKER_LANGUAGE CXX)
if(BUILD_SHARED_LIBS)
  target_link_libraries(VOBaseX64 PRIVATE vo_platform LZO::LZO)
  # One symbol of that kind, of the standard library's templates say, and the loader never unloads the library again.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT WIN32)
    target_compile_options(vobase_objects PRIVATE -fno-gnu-unique)
    target_compile_options(vo_platform_objects PRIVATE -fno-gnu-unique)
  endif()
  # Calls inside the library go straight to their target, as they do in a DLL.
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang" AND NOT WIN32)
    target_compile_options(vobase_objects PRIVATE -fno-semantic-interposition)
    target_link_options(VOBaseX64 PRIVATE -Wl,-Bsymbolic-functions
      -Wl,--version-script=${CMAKE_CURRENT_LIST_DIR}/VOBaseX64.map)
    set_target_properties(VOBaseX64 PROPERTIES LINK_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/VOBaseX64.map)
  endif()
else()
  # The platform layer goes into the archive; what lies below it is the user's to link, and both packages name it.
  target_sources(VOBaseX64 PRIVATE $<TARGET_OBJECTS:vo_platform_objects>)
  target_compile_definitions(VOBaseX64 INTERFACE VOBASE_STATIC)
  target_link_libraries(VOBaseX64 PUBLIC LZO::LZO Threads::Threads ${VOBASE_PLATFORM_LIBRARIES})
endif()

# Before 1.0 a new minor version may change the interface, and the file's name says so.
set(VOBASE_INTERFACE_VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set_target_properties(VOBaseX64 PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${VOBASE_INTERFACE_VERSION})
if(WIN32 AND BUILD_SHARED_LIBS)
  # Programs ask for VOBaseX64.dll by exactly this name.
  set_target_properties(VOBaseX64 PROPERTIES PREFIX "")
endif()

# For the tests that look inside; they choose the platform layer, which may be the one that can be told to fail.
add_library(vobase_static STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:vobase_objects>)
vobase_library_settings(vobase_static)
set_target_properties(vobase_static PROPERTIES LINKER_LANGUAGE CXX)
target_link_libraries(vobase_static PUBLIC LZO::LZO)
target_compile_definitions(vobase_static PUBLIC VOBASE_STATIC)
