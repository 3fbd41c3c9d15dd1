# Makes a program ready for a signature. Whatever else changes the file comes before.
function(prepare_signing program)
  find_program(PERL perl)
  if(NOT PERL AND CMAKE_HOST_WIN32)
    message(WARNING "Without Perl the program isn't prepared for a signature.")
    return()
  endif()
  find_program(PERL perl REQUIRED)
  add_custom_command(TARGET ${program} POST_BUILD VERBATIM
    COMMAND ${PERL} ${PROJECT_SOURCE_DIR}/scripts/authenticode prepare $<TARGET_FILE:${program}>)
endfunction()
