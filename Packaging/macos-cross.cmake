# Toolchain file of Packaging/macos-cross-check, which prepares build/macos-cross before it is used.
get_filename_component(cross "${CMAKE_CURRENT_LIST_DIR}/../build/macos-cross" ABSOLUTE)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 22)
set(CMAKE_SYSTEM_PROCESSOR arm64)

set(CMAKE_C_COMPILER "${cross}/bin/cc")
set(CMAKE_CXX_COMPILER "${cross}/bin/c++")
set(CMAKE_OBJCXX_COMPILER "${cross}/bin/c++")
set(CMAKE_AR "${cross}/bin/ar" CACHE FILEPATH "")
set(CMAKE_RANLIB "${cross}/bin/ranlib" CACHE FILEPATH "")
# These would only rewrite paths on installation, which never happens here.
set(CMAKE_INSTALL_NAME_TOOL /bin/false CACHE FILEPATH "")

# System headers that the compiler does not bring.
set(CMAKE_CXX_FLAGS_INIT "-isystem \"${CMAKE_CURRENT_LIST_DIR}/macos-declarations/include\"")
set(frameworks "-F \"${CMAKE_CURRENT_LIST_DIR}/macos-declarations\"")
# The compiler adds an option to Objective-C++ that it then has no use for.
set(CMAKE_OBJCXX_FLAGS_INIT "${frameworks} -Wno-unused-command-line-argument")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${frameworks}")

# Only what was put there for macOS is found, nothing of this system.
set(CMAKE_FIND_ROOT_PATH "${cross}/prefix")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${cross}/prefix/usr/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
