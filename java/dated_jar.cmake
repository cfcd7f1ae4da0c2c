# `jar cf JAR FILE...` or `jar cfm JAR MANIFEST FILE...`, as add_jar() calls it, with one time for all
# entries: the one of SOURCE_DATE_EPOCH, or now.
#   cmake -D JAR=PATH -P dated_jar.cmake -- -cf[m] ...
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE ${last})
  list(APPEND arguments "${CMAKE_ARGV${i}}")
endforeach()
list(FIND arguments "--" start)
list(SUBLIST arguments ${start} -1 arguments)
list(POP_FRONT arguments dashes mode jar)
set(manifest)
if(mode STREQUAL "-cfm")
  list(POP_FRONT arguments manifest)
  set(manifest --manifest ${manifest})
elseif(mode STREQUAL "-cfM")
  set(manifest --no-manifest)
endif()
string(TIMESTAMP date "%Y-%m-%dT%H:%M:%SZ" UTC)
if(date STRLESS "1980-01-02")  # before the time of such archives begins
  set(date "1980-01-02T00:00:00Z")
endif()
execute_process(COMMAND ${JAR} --create --file ${jar} ${manifest} --date=${date} ${arguments}
  COMMAND_ERROR_IS_FATAL ANY)
