# Language, warnings, sanitizers and the compiler cache, for every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")

find_program(NOX_CCACHE ccache)
if(NOX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Precompiled headers are only cached when their defines and times may be sloppy.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${NOX_CCACHE})
endif()

# Results must not depend on whether the machine has a fused multiply-add.
add_compile_options(-ffp-contract=off)
# Nobody replaces the library's own functions at run time, so that they may be inlined within it.
add_compile_options(-fno-semantic-interposition)
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
                    -Wformat=2 -Wimplicit-fallthrough)
if(NOX_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options($<$<BOOL:${NOX_CCACHE}>:-fpch-preprocess>)
else()
  # A precompiled header from the cache may be older than system headers that were installed anew unchanged.
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
endif()
add_compile_definitions(QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH
                        QT_DEPRECATED_WARNINGS QT_DISABLE_DEPRECATED_BEFORE=0x050F00 QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)

if(NOX_SANITIZE)
  add_compile_options(-fsanitize=${NOX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
  add_link_options(-fsanitize=${NOX_SANITIZE})
  if(NOX_SANITIZE MATCHES "undefined" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Qt's own objects carry no type information that matches across libraries built without it.
    add_compile_options(-fno-sanitize=vptr)
  endif()
endif()
