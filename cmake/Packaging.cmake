# The release: four archives, each with one folder of its own, and their checksums. win64 is for
# administrators, sdk for the authors of tools, symbols for debugging the launcher, check for testing
# it on any Windows machine.
set(release ${PROJECT_NAME}-${PROJECT_VERSION})
set(win64 ${release}-win64)
set(sdk ${release}-sdk)
set(symbols ${release}-symbols)
set(check ${release}-check)

# Copied into a tools version under the name zqLauncher, this folder is the launcher's.
install(TARGETS zqLauncher RUNTIME DESTINATION ${win64})
install(FILES README.md packaging/COPYRIGHT.txt CHANGELOG.md DESTINATION ${win64})
install(FILES docs/install.md docs/deployment.md docs/service.md docs/usage.md
              docs/troubleshooting.md docs/security.md docs/comparison.md
        DESTINATION ${win64}/docs)

# What is linked in, as its Debian package states it: a file in licences/ and where it comes from.
install(FILES packaging/licences.md DESTINATION ${win64}/licences RENAME README.md)
foreach(licence IN ITEMS
    tclap.txt=/usr/share/doc/libtclap-dev/copyright
    mingw-w64.txt=/usr/share/doc/mingw-w64-x86-64-dev/copyright
    gcc.txt=/usr/share/doc/g++-mingw-w64-x86-64-posix/copyright
    gpl-3.txt=/usr/share/common-licenses/GPL-3
    googletest.txt=/usr/share/doc/googletest/copyright)
  string(REGEX MATCH "(.*)=(.*)" _ ${licence})
  set(name ${CMAKE_MATCH_1})
  set(text ${CMAKE_MATCH_2})
  install(CODE "if(NOT EXISTS \"${text}\")
    message(FATAL_ERROR \"The licence text ${text} is missing. If dpkg is set up to leave out \"
                        \"documentation, install the package that owns it anew without that.\")
  endif()")
  install(FILES ${text} DESTINATION ${check}/licences RENAME ${name})
  if(NOT name STREQUAL googletest.txt) # the launcher holds nothing of it
    install(FILES ${text} DESTINATION ${win64}/licences RENAME ${name})
  endif()
endforeach()

# The folders are those of the project, so that the pages' links hold.
install(FILES packaging/sdk/README.md packaging/COPYRIGHT.txt DESTINATION ${sdk})
install(FILES docs/tools.md DESTINATION ${sdk}/docs)
install(FILES sdk/zq_end_children.h sdk/zq_orderly_stop.h DESTINATION ${sdk}/sdk)
install(FILES examples/console_tool.cpp examples/dbus_system.conf examples/dotnet_tool.cs
              examples/go_tool.go examples/message_loop_tool.c examples/node_tool.js
              examples/qt_tool.cpp examples/try_stop.cpp
        DESTINATION ${sdk}/examples)

install(FILES packaging/symbols/README.md packaging/COPYRIGHT.txt $<TARGET_FILE:zqLauncher>.debug
        DESTINATION ${symbols})

# cmd.exe may miss what follows a plain line feed.
foreach(script deployment/install deployment/remove check/check)
  configure_file(packaging/${script}.cmd ${PROJECT_BINARY_DIR}/packaging/${script}.cmd
                 @ONLY NEWLINE_STYLE CRLF)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/packaging/deployment/install.cmd
              ${PROJECT_BINARY_DIR}/packaging/deployment/remove.cmd
        DESTINATION ${win64}/deployment)
install(FILES ${PROJECT_BINARY_DIR}/packaging/check/check.cmd packaging/check/README.md packaging/COPYRIGHT.txt
        DESTINATION ${check})
install(FILES docs/windows-check.md DESTINATION ${check}/docs)
install(FILES packaging/check/licences.md DESTINATION ${check}/licences RENAME README.md)
install(TARGETS zqLauncher launcher_tests probe check_report sample_tool
        RUNTIME DESTINATION ${check}/check)
install(FILES docs/usage.md docs/install.md docs/service.md tests/examples.md
        DESTINATION ${check}/check)

set(CPACK_GENERATOR External)
set(CPACK_PACKAGE_VENDOR Larkstone)
set(CPACK_PACKAGE_FILE_NAME ${release})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_LINKER_MAP ${PROJECT_BINARY_DIR}/zqLauncher.map)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/CreateArchives.cmake)
include(CPack)
