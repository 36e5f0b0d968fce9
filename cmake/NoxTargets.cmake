# nox_floor(NAME SOURCES ...): one folder of the library as an object library. A floor sees the floors below it
# through the common include root; tests/tools/check_arrows.py keeps its includes from pointing up.
function(nox_floor name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(${name} OBJECT ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON AUTORCC ON)
  target_compile_definitions(${name} PRIVATE CommonNOX_EXPORTS)
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
  target_link_libraries(${name} PUBLIC FrameworkCommon Qt5::Core Qt5::Gui Qt5::Network Threads::Threads ${ARG_LINK})
  nox_precompile(${name})
  set_property(GLOBAL APPEND PROPERTY NOX_FLOORS ${name})
endfunction()

function(nox_precompile name)
  target_precompile_headers(${name} PRIVATE
    <QByteArray> <QDataStream> <QDateTime> <QHash> <QList> <QLoggingCategory> <QMap> <QObject> <QString>
    <QStringList> <QThread> <QVariant> <QVector>
    <algorithm> <atomic> <cmath> <cstdint> <functional> <limits> <map> <memory> <mutex> <string> <utility> <vector>)
endfunction()
