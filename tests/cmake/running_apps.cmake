# The running-app suite starts copies of the stand-in app.
if(TARGET tst_running_apps_linux)
  add_dependencies(tst_running_apps_linux fake_talvoren)
  target_compile_definitions(tst_running_apps_linux PRIVATE FAKE_TALVOREN="$<TARGET_FILE:fake_talvoren>")
endif()
