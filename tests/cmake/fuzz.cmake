# The libFuzzer target of the manifest reader, built only in a clang build
# configured with TALVOREN_FUZZ (tools/test.sh makes one) and run from there.
if(TALVOREN_FUZZ)
  add_executable(manifest_fuzz ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/manifest_fuzz.cpp)
  target_link_libraries(manifest_fuzz PRIVATE talvoren_testsupport)
  target_link_options(manifest_fuzz PRIVATE -fsanitize=fuzzer)
endif()
