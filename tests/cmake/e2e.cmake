# The end-to-end suite: the built program, driven through its window under
# Xvfb inside an isolated root (tests/e2e/run.sh). It needs root for the mount
# namespace and runs in the ordinary build only: under the sanitizers the
# program is too slow for the window's timeouts and adds nothing that the unit
# suites do not already cover there.
if(NOT TALVOREN_SANITIZE)
  add_test(NAME e2e
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/e2e/run.sh $<TARGET_FILE:TalvorenUninstaller> $<TARGET_FILE:fake_talvoren>)
  set_tests_properties(e2e PROPERTIES TIMEOUT 420)
endif()
