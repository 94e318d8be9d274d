# What the scripts of this folder share.

# run(<output variable> <command>...): runs a command, gives its standard output; fails loudly.
function(run output)
  execute_process(
    COMMAND ${ARGN}
    OUTPUT_VARIABLE text
    ERROR_VARIABLE errors
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    string(JOIN " " command ${ARGN})
    message(FATAL_ERROR "${command}\nended with ${result}:\n${text}${errors}")
  endif()
  set(${output} "${text}" PARENT_SCOPE)
endfunction()
