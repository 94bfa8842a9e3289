# Installs the library into a fresh prefix, builds the consumer program against it with
# find_package(Dovo), and runs it (under the emulator in a cross build).
set(prefix "${BUILD_DIR}/package-check/prefix")
set(consumer "${BUILD_DIR}/package-check/consumer")
file(REMOVE_RECURSE "${BUILD_DIR}/package-check")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
set(configure ${CMAKE_COMMAND} -S "${SOURCE_DIR}/tests/consumer" -B "${consumer}" -G Ninja
    -DCMAKE_BUILD_TYPE=Release "-DCMAKE_PREFIX_PATH=${prefix}")
if(TOOLCHAIN)
  list(APPEND configure "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
endif()
run(${configure})
run(${CMAKE_COMMAND} --build "${consumer}")

if(EMULATOR)
  # The installed DLLs sit in the prefix's bin folder, as a user's program would find them.
  set(ENV{DOVO_WINE_OWN_DLLS} 1)
  file(COPY "${consumer}/consumer.exe" DESTINATION "${prefix}/bin")
  run(${EMULATOR} "${prefix}/bin/consumer.exe")
else()
  run("${consumer}/consumer")
endif()
if(NOT LAST_OUTPUT MATCHES "consumer: Dovo 0x0000001F")
  message(FATAL_ERROR "unexpected output from the consumer: ${LAST_OUTPUT}")
endif()
message(STATUS "${LAST_OUTPUT}")
