# The fuzz targets, and their sources, for whoever runs them: libFuzzer (fuzz/CMakeLists.txt) and the replay in
# tests/fuzz.
set(VOBASE_FUZZ_TARGETS IniReader PathListFile PathListBuffer BufferLine OptionSection Decompressor AssetImage
  AssetProvider EventImage StringSet Section Road)
set(VOBASE_FUZZ_SOURCES ini_reader.cpp path_list.cpp option_section.cpp decompressor.cpp asset_image.cpp event_image.cpp
  string_set.cpp section.cpp road.cpp)

# What lum reads can be looked into where lum is built.
set(VOBASE_FUZZ_LUM_TARGETS)
if(TARGET lum)
  set(VOBASE_FUZZ_LUM_TARGETS LumImage LumDump LumTypes LumPaths LumOptions)
endif()

# What makes the seeds of the images.
set(VOBASE_FUZZ_SEED_SOURCES seeds.cpp)

list(TRANSFORM VOBASE_FUZZ_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
list(TRANSFORM VOBASE_FUZZ_SEED_SOURCES PREPEND ${CMAKE_CURRENT_LIST_DIR}/)

# vobase_add_fuzzed_lum(NAME LIBRARY): the targets for lum, with those of its sources that they look into. What these
# would show goes nowhere.
function(vobase_add_fuzzed_lum name library)
  find_package(fmt REQUIRED)
  set(lum ${PROJECT_SOURCE_DIR}/tools/lum)
  file(GLOB sources CONFIGURE_DEPENDS ${lum}/image/*.cpp)
  list(REMOVE_ITEM sources ${lum}/image/image_load.cpp)
  set(fuzz ${PROJECT_SOURCE_DIR}/fuzz)
  add_library(${name} STATIC ${sources} ${lum}/base/files.cpp ${lum}/base/paths.cpp ${lum}/base/text.cpp ${lum}/scan/path_list.cpp
    ${lum}/scan/path_tree.cpp ${lum}/scan/type_table.cpp ${lum}/publish/option_file.cpp ${fuzz}/lum_image.cpp
    ${fuzz}/lum_texts.cpp ${fuzz}/quiet_console.cpp)
  target_include_directories(${name} PRIVATE ${lum} ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${library} vo_platform fmt::fmt)
  vobase_join(${name})
endfunction()
