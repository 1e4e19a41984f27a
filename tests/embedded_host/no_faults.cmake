# Fails if a library exports a symbol that names faults on purpose, or shows no symbols at all.
execute_process(COMMAND ${NM} --dynamic --defined-only --demangle ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
if(NOT symbols MATCHES "huMalloc")
  message(FATAL_ERROR "${LIBRARY} shows no symbols")
endif()
string(REGEX MATCHALL "[^\n]*[Ff]ault[^\n]*" found "${symbols}")
list(FILTER found EXCLUDE REGEX "[Dd]efault")
if(found)
  message(FATAL_ERROR "faults on purpose in ${LIBRARY}:\n${found}")
endif()
