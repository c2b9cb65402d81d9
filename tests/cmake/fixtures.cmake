# The stand-in for the dictation app: a plain program that suites copy into a
# temporary "Talvoren.app" bundle, start, stop and watch.
add_executable(fake_talvoren ${CMAKE_CURRENT_SOURCE_DIR}/fixtures/fake_talvoren.cpp)

if(TARGET tst_running_apps_linux)
  add_dependencies(tst_running_apps_linux fake_talvoren)
  target_compile_definitions(tst_running_apps_linux PRIVATE FAKE_TALVOREN="$<TARGET_FILE:fake_talvoren>")
endif()
