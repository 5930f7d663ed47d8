# The part of the toolkit's CMake package that this build uses, declared for the check on systems without the toolkit for
# macOS: the window's build is described with it, nothing of the window is compiled. Never used by a build on macOS.
foreach(component IN LISTS Qt6_FIND_COMPONENTS)
  if(NOT TARGET Qt6::${component})
    add_library(Qt6::${component} INTERFACE IMPORTED GLOBAL)
  endif()
endforeach()
set(QT6_INSTALL_PREFIX "${CMAKE_CURRENT_LIST_DIR}")
set(QT6_INSTALL_BINS bin)

function(qt_add_library name)
  add_library(${name} ${ARGN})
endfunction()

function(qt_add_executable name)
  add_executable(${name} ${ARGN})
endfunction()

function(qt_add_qml_module name)
  cmake_parse_arguments(PARSE_ARGV 1 given "NO_CACHEGEN;NO_PLUGIN" "" "DEPENDENCIES;QML_FILES;RESOURCES;SOURCES")
  target_sources(${name} PRIVATE ${given_SOURCES})
endfunction()
