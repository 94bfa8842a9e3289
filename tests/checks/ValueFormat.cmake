# The value format read across platforms: each build reads what it wrote itself, and the Windows build
# (under its emulator) reads what the Linux build wrote and the other way round. The Linux program is
# that of build/linux; without it the cross check is skipped (exit code 77).
#   -DPROGRAM=... -DEMULATOR=... -DOTHER=<the Linux program, for the Windows build> -DWORK=<folder>
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${result}\n${err}")
  endif()
endfunction()

file(MAKE_DIRECTORY "${WORK}")
set(self ${EMULATOR} "${PROGRAM}")
# Windows programs under Wine see the host's files on drive Z:.
set(prefix "")
if(EMULATOR)
  set(prefix "Z:")
endif()
run(${self} write "${prefix}${WORK}/own.bin")
run(${self} read "${prefix}${WORK}/own.bin")
if(OTHER)
  if(NOT EXISTS "${OTHER}")
    message("No Linux build at ${OTHER}: the cross-platform check needs build/linux first")
    cmake_language(EXIT 77)
  endif()
  run("${OTHER}" write "${WORK}/linux.bin")
  run(${self} read "${prefix}${WORK}/linux.bin")
  run("${OTHER}" read "${WORK}/own.bin")
  run(cmp "${WORK}/own.bin" "${WORK}/linux.bin")
endif()
