# Third-party pieces the library and its tests use. Everything comes from the system's packages;
# scripts/setup installs them.

if(CMAKE_CROSSCOMPILING AND WIN32)
  # The cross compiler must see Boost's headers but never the rest of the host's /usr/include: a
  # folder holding only a link to the Boost headers.
  set(DOVO_BOOST_INCLUDE "${CMAKE_BINARY_DIR}/boost-include")
  if(NOT EXISTS "${DOVO_BOOST_INCLUDE}/boost")
    file(MAKE_DIRECTORY "${DOVO_BOOST_INCLUDE}")
    file(CREATE_LINK /usr/include/boost "${DOVO_BOOST_INCLUDE}/boost" SYMBOLIC)
  endif()
  set(DOVO_PLATFORM_LIBS ws2_32 ole32 rpcrt4)
else()
  find_package(Boost 1.81 REQUIRED CONFIG)
  set(DOVO_BOOST_INCLUDE ${Boost_INCLUDE_DIRS})
  set(DOVO_PLATFORM_LIBS)
  # hwloc counts processor packages, cores and logical processors.
  find_path(DOVO_HWLOC_INCLUDE hwloc.h REQUIRED)
  find_library(DOVO_HWLOC_LIBRARY hwloc REQUIRED)
  list(APPEND DOVO_PLATFORM_LIBS ${DOVO_HWLOC_LIBRARY})
  set(DOVO_PLATFORM_INCLUDE ${DOVO_HWLOC_INCLUDE})
endif()
