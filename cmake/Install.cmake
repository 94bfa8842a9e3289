# cmake --install gives a package that find_package(Dovo) finds, with the target Dovo::dovo.
include(CMakePackageConfigHelpers)

install(TARGETS dovo EXPORT DovoTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/dovo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT DovoTargets NAMESPACE Dovo:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Dovo)

configure_package_config_file(cmake/DovoConfig.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/DovoConfig.cmake"
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Dovo)
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/DovoConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/DovoConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/DovoConfigVersion.cmake"
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Dovo)

if(WIN32 AND DOVO_MINGW_RUNTIME_DLLS)
  # The DLL links the compiler's runtime dynamically; ship it beside dovo.dll.
  install(FILES ${DOVO_MINGW_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
