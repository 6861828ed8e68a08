# Builds for Windows with Debian's MinGW-w64 compilers, against what scripts/windows.sh has built.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The variant that knows the threads of the standard library.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# scripts/windows.sh builds into the same folder.
if(DEFINED ENV{QUARN_WINDOWS_CACHE})
  set(QUARN_WINDOWS_CACHE "$ENV{QUARN_WINDOWS_CACHE}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(QUARN_WINDOWS_CACHE "$ENV{XDG_CACHE_HOME}/quarn-windows")
else()
  set(QUARN_WINDOWS_CACHE "$ENV{HOME}/.cache/quarn-windows")
endif()
list(APPEND CMAKE_FIND_ROOT_PATH "${QUARN_WINDOWS_CACHE}/prefix")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(NOT EXISTS "${QUARN_WINDOWS_CACHE}/prefix/bin/Qt6Widgets.dll")
  set(QUARN_BUILD_DESKTOP OFF)
endif()

# Where moc and the like come from: the system's own Qt of the same version.
set(QT_HOST_PATH /usr CACHE PATH "Qt whose tools run on this machine")
file(GLOB host_packages "/usr/lib/*/cmake/Qt6HostInfo")
if(host_packages)
  list(GET host_packages 0 host_packages)
  get_filename_component(host_packages "${host_packages}" DIRECTORY)
  set(QT_HOST_PATH_CMAKE_DIR "${host_packages}" CACHE PATH "The CMake packages of that Qt")
endif()
