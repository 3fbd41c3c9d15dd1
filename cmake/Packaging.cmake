# The release: an installation tree's part that the launcher brings, with its documents beside it.
set(launcher_directory tools/${PROJECT_VERSION}/zqLauncher)
install(TARGETS zqLauncher RUNTIME DESTINATION ${launcher_directory})
install(FILES README.md CHANGELOG.md DESTINATION ${launcher_directory})
install(DIRECTORY docs DESTINATION ${launcher_directory})
install(FILES examples/orderly_stop.cpp examples/sample_tool.cpp DESTINATION ${launcher_directory}/examples)
install(FILES src/platform/windows_api.h DESTINATION ${launcher_directory}/examples/platform)

# The example as a tool: found as `-t zqOrderlyStop`.
install(PROGRAMS $<TARGET_FILE:orderly_stop> DESTINATION tools/${PROJECT_VERSION}/zqOrderlyStop
        RENAME zqOrderlyStop.exe)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_VENDOR Larkstone)
set(CPACK_PACKAGE_FILE_NAME zqLauncher-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
include(CPack)
