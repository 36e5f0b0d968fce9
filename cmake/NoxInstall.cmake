# Libraries, headers and the package configuration with which an outside project finds them.
include(CMakePackageConfigHelpers)

set(nox_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/CommonNOX)
install(TARGETS FrameworkCommon CommonNOX EXPORT CommonNOXTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS nox RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(folder platform entries dac connections evaluation)
  install(DIRECTORY ${CMAKE_SOURCE_DIR}/${folder} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/CommonNOX
          FILES_MATCHING PATTERN "*.h" PATTERN "icons" EXCLUDE PATTERN "*_p.h" EXCLUDE)
endforeach()
install(FILES ${CMAKE_BINARY_DIR}/generated/nox_export.h ${CMAKE_BINARY_DIR}/generated/framework_export.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/CommonNOX)
install(EXPORT CommonNOXTargets NAMESPACE CommonNOX:: DESTINATION ${nox_config_dir})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/CommonNOXConfig.cmake.in
  ${CMAKE_BINARY_DIR}/CommonNOXConfig.cmake INSTALL_DESTINATION ${nox_config_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/CommonNOXConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/CommonNOXConfig.cmake ${CMAKE_BINARY_DIR}/CommonNOXConfigVersion.cmake
        DESTINATION ${nox_config_dir})
