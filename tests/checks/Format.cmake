# Every C++ file follows .clang-format.
file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}"
  "${SOURCE_DIR}/include/*.h"
  "${SOURCE_DIR}/core/*.h" "${SOURCE_DIR}/core/*.cpp" "${SOURCE_DIR}/objects/*.h" "${SOURCE_DIR}/objects/*.cpp"
  "${SOURCE_DIR}/threads/*.h" "${SOURCE_DIR}/threads/*.cpp" "${SOURCE_DIR}/files/*.h" "${SOURCE_DIR}/files/*.cpp"
  "${SOURCE_DIR}/process/*.h" "${SOURCE_DIR}/process/*.cpp" "${SOURCE_DIR}/log/*.h" "${SOURCE_DIR}/log/*.cpp"
  "${SOURCE_DIR}/app/*.h" "${SOURCE_DIR}/app/*.cpp" "${SOURCE_DIR}/samples/*.cpp"
  "${SOURCE_DIR}/tests/*.h" "${SOURCE_DIR}/tests/*.cpp" "${SOURCE_DIR}/bench/*.h" "${SOURCE_DIR}/bench/*.cpp")
execute_process(COMMAND "${CLANG_FORMAT}" --dry-run --Werror ${files}
  WORKING_DIRECTORY "${SOURCE_DIR}" RESULT_VARIABLE rc ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "files differ from .clang-format (run clang-format -i on them):\n${out}")
endif()
