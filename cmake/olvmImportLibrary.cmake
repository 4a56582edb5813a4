# Rewrites the DLL's import library so that it carries the callee-clean decorated symbols
# (_name@N, __imp__name@N) that callers compiled with olvm.h refer to, each importing the
# undecorated name the DLL exports. The linker's own import library, made under --kill-at,
# has lost the decoration.
#
#   cmake -DLINKER_DEF=... -DDLLTOOL=... -DDLL_NAME=olvmpx.dll -DOUTPUT=libolvmpx.dll.a -P
#
# LINKER_DEF is the linker's --output-def listing, whose entries read
# "name = name@N @ordinal": the decorated names the compiler gave the definitions.
file(STRINGS ${LINKER_DEF} lines)
set(def "LIBRARY ${DLL_NAME}\nEXPORTS\n")
set(count 0)
foreach(line IN LISTS lines)
  if(line MATCHES "^[ \t]*([A-Za-z0-9_]+)[ \t]*=[ \t]*([A-Za-z0-9_]+@[0-9]+)")
    string(APPEND def "    ${CMAKE_MATCH_2}\n")
    math(EXPR count "${count} + 1")
  elseif(line MATCHES "^[ \t]*[A-Za-z0-9_]" AND NOT line MATCHES "^(EXPORTS|LIBRARY)")
    message(FATAL_ERROR "${LINKER_DEF}: export without callee-clean decoration: ${line}")
  endif()
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "${LINKER_DEF}: no exports")
endif()
get_filename_component(dir ${OUTPUT} DIRECTORY)
set(decorated ${dir}/${DLL_NAME}.decorated.def)
file(WRITE ${decorated} "${def}")
execute_process(
  COMMAND ${DLLTOOL} --input-def ${decorated} --dllname ${DLL_NAME} --kill-at --output-lib ${OUTPUT}
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "dlltool failed to write ${OUTPUT}")
endif()
