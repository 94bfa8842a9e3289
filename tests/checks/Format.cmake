# Every C++ file follows .clang-format.
file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}"
  "${SOURCE_DIR}/include/*.h" "${SOURCE_DIR}/core/*.h" "${SOURCE_DIR}/core/*.cpp"
  "${SOURCE_DIR}/tests/*.h" "${SOURCE_DIR}/tests/*.cpp" "${SOURCE_DIR}/bench/*.h" "${SOURCE_DIR}/bench/*.cpp")
execute_process(COMMAND "${CLANG_FORMAT}" --dry-run --Werror ${files}
  WORKING_DIRECTORY "${SOURCE_DIR}" RESULT_VARIABLE rc ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "files differ from .clang-format (run clang-format -i on them):\n${out}")
endif()
