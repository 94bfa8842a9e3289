# Included by each subsystem folder after it sets _portable, _posix and _win32: hands the folder's
# sources for this platform to the library as DOVO_SUBSYSTEM_SOURCES.
if(WIN32)
  list(APPEND _portable ${_win32})
else()
  list(APPEND _portable ${_posix})
endif()
list(TRANSFORM _portable PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
set(DOVO_SUBSYSTEM_SOURCES ${_portable} PARENT_SCOPE)
