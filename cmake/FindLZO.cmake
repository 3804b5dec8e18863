# LZO::LZO, the compression library: the distribution's on Linux, the cross-compiled one on Windows.
find_path(LZO_INCLUDE_DIR lzo/lzo1x.h)
find_library(LZO_LIBRARY NAMES lzo2)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LZO REQUIRED_VARS LZO_LIBRARY LZO_INCLUDE_DIR)
if(LZO_FOUND AND NOT TARGET LZO::LZO)
  add_library(LZO::LZO UNKNOWN IMPORTED)
  set_target_properties(LZO::LZO PROPERTIES
    IMPORTED_LOCATION ${LZO_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${LZO_INCLUDE_DIR})
endif()
