# Moves a program's debug information to <program>.debug beside it. A debugger finds it there by the
# name that the program then holds.
function(split_symbols program)
  add_custom_command(TARGET ${program} POST_BUILD VERBATIM
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${program}> $<TARGET_FILE:${program}>.debug
    COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=$<TARGET_FILE:${program}>.debug
            $<TARGET_FILE:${program}>)
endfunction()
