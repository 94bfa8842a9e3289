# Cross build for 64-bit Windows with mingw-w64 (POSIX threads flavour); programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(_triple x86_64-w64-mingw32)

set(CMAKE_C_COMPILER ${_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_triple}-g++-posix)
set(CMAKE_RC_COMPILER ${_triple}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Packages such as an installed Dovo may sit anywhere: CMAKE_PREFIX_PATH finds them.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# The compiler's runtime DLLs: installed beside dovo.dll, and found by Wine through WINEPATH.
set(DOVO_MINGW_RUNTIME_DLLS)
foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
    OUTPUT_VARIABLE _path OUTPUT_STRIP_TRAILING_WHITESPACE)
  list(APPEND DOVO_MINGW_RUNTIME_DLLS "${_path}")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run")
