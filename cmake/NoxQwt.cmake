# Qwt, which brings no package file of its own, as Qwt::Qwt. Debian and its kin name the Qt 5 build qwt-qt5.
find_path(QWT_INCLUDE_DIR qwt_plot.h PATH_SUFFIXES qwt qwt-qt5 qt5/qwt)
find_library(QWT_LIBRARY NAMES qwt-qt5 qwt)
if(NOT QWT_INCLUDE_DIR OR NOT QWT_LIBRARY)
  message(FATAL_ERROR "Qwt for Qt 5 is missing (Debian: libqwt-qt5-dev)")
endif()
add_library(Qwt::Qwt UNKNOWN IMPORTED)
set_target_properties(Qwt::Qwt PROPERTIES IMPORTED_LOCATION ${QWT_LIBRARY}
  INTERFACE_INCLUDE_DIRECTORIES ${QWT_INCLUDE_DIR}
  INTERFACE_LINK_LIBRARIES Qt5::Widgets)
