# What ships, under which names: the library with its headers, and the two ways for a user's build to find them
# (find_package and pkg-config). Included after the library and before the programs.
include(CMakePackageConfigHelpers)

install(TARGETS VOBaseX64 EXPORT VOBaseX64Targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vobase
  FILES_MATCHING PATTERN "*.h")

# Installed programs find the library beside them, wherever the tree is moved.
file(RELATIVE_PATH library_from_programs /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set(CMAKE_INSTALL_RPATH "$ORIGIN/${library_from_programs}")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VOBaseX64)
install(EXPORT VOBaseX64Targets NAMESPACE VOBaseX64:: DESTINATION ${package_dir})
if(NOT BUILD_SHARED_LIBS)
  # Whoever links the archive links what it stands on.
  set(VOBASE_FIND_DEPENDENCIES "list(APPEND CMAKE_MODULE_PATH \"\${CMAKE_CURRENT_LIST_DIR}\")
find_dependency(LZO)
find_dependency(Threads)
list(REMOVE_ITEM CMAKE_MODULE_PATH \"\${CMAKE_CURRENT_LIST_DIR}\")")
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/FindLZO.cmake DESTINATION ${package_dir})
endif()
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VOBaseX64Config.cmake.in
  ${PROJECT_BINARY_DIR}/VOBaseX64Config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VOBaseX64ConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VOBaseX64Config.cmake ${PROJECT_BINARY_DIR}/VOBaseX64ConfigVersion.cmake
  DESTINATION ${package_dir})

# The prefix is found from the .pc file's own place, so that an installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
set(pkgconfig_cflags)
set(pkgconfig_libraries)
if(NOT BUILD_SHARED_LIBS)
  list(TRANSFORM VOBASE_PLATFORM_LIBRARIES PREPEND -l OUTPUT_VARIABLE pkgconfig_libraries)
  list(JOIN pkgconfig_libraries " " pkgconfig_libraries)
  set(pkgconfig_cflags " -DVOBASE_STATIC")
  set(pkgconfig_libraries " -llzo2 ${pkgconfig_libraries} ${CMAKE_THREAD_LIBS_INIT}")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/VOBaseX64.pc.in ${PROJECT_BINARY_DIR}/VOBaseX64.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/VOBaseX64.pc DESTINATION ${pkgconfig_dir})
