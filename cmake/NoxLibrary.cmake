# libCommonNOX: the floors, linked into the one shared library that ships.
get_property(nox_floors GLOBAL PROPERTY NOX_FLOORS)
set(nox_objects "")
foreach(floor IN LISTS nox_floors)
  list(APPEND nox_objects $<TARGET_OBJECTS:${floor}>)
endforeach()
add_library(CommonNOX SHARED ${nox_objects})
add_library(CommonNOX::CommonNOX ALIAS CommonNOX)
generate_export_header(CommonNOX BASE_NAME NOX EXPORT_FILE_NAME ${CMAKE_BINARY_DIR}/generated/nox_export.h)
set_target_properties(CommonNOX PROPERTIES LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION}
                      SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME CommonNOX)
target_include_directories(CommonNOX PUBLIC
  $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}> $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/generated>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/CommonNOX>)
target_link_libraries(CommonNOX PUBLIC FrameworkCommon Qt5::Core Qt5::Gui Qt5::Network Threads::Threads
                      PRIVATE PkgConfig::libssh PkgConfig::libarchive PkgConfig::libcrypto)
