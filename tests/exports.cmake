# Looks at the library as the dynamic loader does: it exports what interface.c calls and nothing
# else, and finds its JVM by the soname alone.
#   cmake -D NM= -D READELF= -D LIBRARY= -D PRELOADED= -D INTERFACE= -D SHIPPED= -P exports.cmake
function(symbols variable)
  execute_process(COMMAND ${NM} ${ARGN} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^ \n]+\n" names "${output}")
  list(TRANSFORM names STRIP)
  list(SORT names)
  set(${variable} ${names} PARENT_SCOPE)
endfunction()

symbols(exported --dynamic --defined-only ${LIBRARY})
symbols(called --undefined-only ${INTERFACE})
list(FILTER called INCLUDE REGEX "^(fmi2|getver)")
list(LENGTH called number)
if(NOT number EQUAL 45 OR NOT exported STREQUAL called)
  message(SEND_ERROR "exported: ${exported}\nbut an importer calls: ${called}")
endif()

execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(NOT dynamic MATCHES "NEEDED[^\n]*\\[libjvm\\.so\\]" OR dynamic MATCHES "RPATH|RUNPATH")
  message(SEND_ERROR "libjvm.so must be needed, and no path given:\n${dynamic}")
endif()

foreach(file IN ITEMS ${LIBRARY} ${PRELOADED})
  execute_process(COMMAND ${READELF} -dlW ${file} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
  if(NOT headers MATCHES "GNU_RELRO" OR NOT headers MATCHES "BIND_NOW")
    message(SEND_ERROR "${file} leaves its table of functions writable")
  endif()
endforeach()

# `zelvox pack` replaces it in a copy.
set(guid "{6F1C2D3A-8B4E-4F70-9A1D-2E5B7C9D0F13}")
file(STRINGS ${LIBRARY} guids REGEX ${guid})
execute_process(COMMAND ${READELF} -p .zelvox_guid ${LIBRARY} OUTPUT_VARIABLE section COMMAND_ERROR_IS_FATAL ANY)
if(NOT guids STREQUAL guid OR NOT section MATCHES ${guid})
  message(SEND_ERROR "the library must hold the GUID once, got: ${guids}, and in a section of its own: ${section}")
endif()

symbols(imported --dynamic --undefined-only ${LIBRARY})
if(imported MATCHES "(printf|put|fwrite|perror|write|cout|cerr|clog)[^;]*(@|;)")
  message(SEND_ERROR "the library can print: ${CMAKE_MATCH_0}")
endif()

if(SHIPPED)
  if(imported MATCHES "@+(GLIBC_2\\.(1[5-9]|[2-9][0-9])[^;]*)")
    message(SEND_ERROR "FMUs would need ${CMAKE_MATCH_1}, expected glibc 2.14 or older")
  endif()
  file(STRINGS ${LIBRARY} paths REGEX "/.*\\.(cpp|h)$")
  if(paths)
    message(SEND_ERROR "paths of the build machine: ${paths}")
  endif()
endif()
