# What our own code is compiled with; third-party code doesn't link this.
add_library(launcher_settings INTERFACE)
target_compile_features(launcher_settings INTERFACE cxx_std_20)
target_include_directories(launcher_settings INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(MSVC)
  # No /WX: nobody has read this compiler's warnings yet.
  target_compile_options(launcher_settings INTERFACE /W4 /permissive- /utf-8)
  target_compile_definitions(launcher_settings INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  # With SOURCE_DATE_EPOCH set, two builds of one commit are the same, wherever they are made.
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
  if(MINGW)
    add_link_options(-Wl,--no-insert-timestamp)
  endif()
  target_compile_options(
    launcher_settings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
                                -ffunction-sections -fdata-sections)
endif()

if(WIN32)
  target_compile_definitions(launcher_settings INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN
                                                         _WIN32_WINNT=0x0A00)
endif()

set(LAUNCHER_SANITIZER "" CACHE STRING "address (with undefined behaviour), thread, fuzzer (with both of the first), or none")
if(LAUNCHER_SANITIZER MATCHES "address|fuzzer")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  # GCC takes some of the instrumented standard library for uses of uninitialised values.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=address,undefined)
  # The tests start over a thousand programs, each a fifth quicker so.
  add_link_options("$<$<CXX_COMPILER_ID:GNU>:-static-libasan;-static-libubsan>")
  if(LAUNCHER_SANITIZER STREQUAL "fuzzer")
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
elseif(LAUNCHER_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

# TCLAP is headers only. The copy keeps a cross compiler away from the rest of /usr/include.
find_path(TCLAP_INCLUDE_DIR tclap/CmdLine.h REQUIRED HINTS /usr/include NO_CMAKE_FIND_ROOT_PATH)
set(tclap_copy ${PROJECT_BINARY_DIR}/headers)
file(COPY ${TCLAP_INCLUDE_DIR}/tclap DESTINATION ${tclap_copy} FILES_MATCHING PATTERN *.h)
add_library(tclap INTERFACE)
target_include_directories(tclap SYSTEM INTERFACE ${tclap_copy})
