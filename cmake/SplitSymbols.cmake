# Moves a program's debug information to <program>.debug beside it. A debugger finds it there by the
# name that the program then holds. The dates that are preserved are those in the files too.
function(split_symbols program)
  set(file $<TARGET_FILE:${program}>)
  add_custom_command(TARGET ${program} POST_BUILD VERBATIM
    COMMAND ${CMAKE_OBJCOPY} --preserve-dates --only-keep-debug ${file} ${file}.debug
    COMMAND ${CMAKE_OBJCOPY} --preserve-dates --strip-all --add-gnu-debuglink=${file}.debug ${file})
endfunction()
