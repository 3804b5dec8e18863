# What ships, under which names: the library with its headers, and the two ways for a user's build to find them
# (find_package and pkg-config). Included after the library and before the programs.
include(CMakePackageConfigHelpers)

# Before 1.0 a new minor version may change the interface, and the file's name says so.
set(VOBASE_INTERFACE_VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set_target_properties(VOBaseX64 PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${VOBASE_INTERFACE_VERSION})
if(WIN32)
  # Programs ask for VOBaseX64.dll by exactly this name.
  set_target_properties(VOBaseX64 PROPERTIES PREFIX "")
endif()

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
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VOBaseX64Config.cmake.in
  ${PROJECT_BINARY_DIR}/VOBaseX64Config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VOBaseX64ConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VOBaseX64Config.cmake ${PROJECT_BINARY_DIR}/VOBaseX64ConfigVersion.cmake
  DESTINATION ${package_dir})

# The prefix is found from the .pc file's own place, so that an installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/VOBaseX64.pc.in ${PROJECT_BINARY_DIR}/VOBaseX64.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/VOBaseX64.pc DESTINATION ${pkgconfig_dir})
