# Installs the library, its headers, and the packages for CMake and pkg-config. Builds for Qt 5 and
# Qt 6 go into one prefix side by side; what both install, the component Headers, is the same.
include(CMakePackageConfigHelpers)

set(package "Quarn-qt${QT_VERSION_MAJOR}")
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")
set(thin_package_dir "${CMAKE_INSTALL_DATADIR}/cmake/Quarn") # for any architecture

install(TARGETS Quarn EXPORT ${package}Targets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Runtime NAMELINK_COMPONENT Devel
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Devel)
if(TARGET QuarnDesktop) # the main library loads it, nobody links it
  set(desktop_dir "${CMAKE_INSTALL_LIBDIR}/$<TARGET_PROPERTY:QuarnDesktop,OUTPUT_NAME>")
  install(TARGETS QuarnDesktop LIBRARY COMPONENT Runtime
    DESTINATION "$<IF:$<BOOL:${WIN32}>,${CMAKE_INSTALL_BINDIR},${desktop_dir}>")
endif()
install(EXPORT ${package}Targets
  NAMESPACE Quarn:: DESTINATION "${package_dir}" COMPONENT Devel)

get_target_property(public_headers Quarn QUARN_PUBLIC_HEADERS)
foreach(header IN LISTS public_headers)
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "${PROJECT_SOURCE_DIR}/src/${header}"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}" COMPONENT Headers)
endforeach()
install(FILES
  "${PROJECT_BINARY_DIR}/include/Quarn/quarn_export.h"
  "${PROJECT_BINARY_DIR}/include/Quarn/quarn_version.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/Quarn" COMPONENT Headers)

# Whoever links a static library links what it is made with, too.
get_target_property(library_type Quarn TYPE)
set(QUARN_PRIVATE_QT_MODULES Core)
if(QUARN_BUILD_DESKTOP)
  list(APPEND QUARN_PRIVATE_QT_MODULES Widgets)
endif()
if(QUARN_BUILD_DESKTOP AND NOT WIN32)
  list(APPEND QUARN_PRIVATE_QT_MODULES DBus)
endif()
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/Quarn-qtConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/package/${package}Config.cmake"
  INSTALL_DESTINATION "${package_dir}" NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/package/${package}ConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/package/${package}Config.cmake"
  "${PROJECT_BINARY_DIR}/package/${package}ConfigVersion.cmake"
  DESTINATION "${package_dir}" COMPONENT Devel)

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/QuarnConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/package/QuarnConfig.cmake"
  INSTALL_DESTINATION "${thin_package_dir}"
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/package/QuarnConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES
  "${PROJECT_BINARY_DIR}/package/QuarnConfig.cmake"
  "${PROJECT_BINARY_DIR}/package/QuarnConfigVersion.cmake"
  DESTINATION "${thin_package_dir}" COMPONENT Headers)

set(QUARN_PC_REQUIRES "Qt${QT_VERSION_MAJOR}Core >= ${QUARN_OLDEST_QT}")
if(library_type STREQUAL "STATIC_LIBRARY")
  foreach(module IN LISTS QUARN_PRIVATE_QT_MODULES)
    string(APPEND QUARN_PC_REQUIRES ", Qt${QT_VERSION_MAJOR}${module} >= ${QUARN_OLDEST_QT}")
  endforeach()
  string(APPEND QUARN_PC_REQUIRES ", libcrypto >= 3.0")
endif()
set(QUARN_PC_CFLAGS "")
if(QT_VERSION_MAJOR EQUAL 5) # its own file for pkg-config doesn't tell
  get_target_property(qt_options Qt5::Core INTERFACE_COMPILE_OPTIONS)
  if("-fPIC" IN_LIST qt_options)
    set(QUARN_PC_CFLAGS " -fPIC")
  endif()
endif()
foreach(folder INCLUDEDIR LIBDIR)
  set(QUARN_PC_${folder} "${CMAKE_INSTALL_${folder}}")
  if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    string(PREPEND QUARN_PC_${folder} "\${prefix}/")
  endif()
endforeach()
# The prefix is completed when it is known, at installation. It is relative to the file, so that an
# installation can be moved as a whole, but not for /usr, whose folders pkg-config then knows and drops.
set(movable_prefix "")
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH up "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  string(REGEX REPLACE "/$" "" movable_prefix "\${pcfiledir}/${up}")
endif()
set(pc_file "${PROJECT_BINARY_DIR}/package/quarn-qt${QT_VERSION_MAJOR}.pc")
set(QUARN_PC_PREFIX "@QUARN_PC_PREFIX@")
configure_file("${PROJECT_SOURCE_DIR}/cmake/quarn-qt.pc.in" "${pc_file}.in" @ONLY)
install(CODE "
  set(QUARN_PC_PREFIX [[${movable_prefix}]])
  if(NOT QUARN_PC_PREFIX OR CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    set(QUARN_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  endif()
  configure_file([[${pc_file}.in]] [[${pc_file}]] @ONLY)"
  COMPONENT Devel)
install(FILES "${pc_file}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT Devel)

if(PROJECT_IS_TOP_LEVEL) # a project that has Quarn as a sub-folder makes its own packages
  if(WIN32)
    include(QuarnWindowsPackage)
  else()
    include(QuarnDebian)
  endif()
  include(CPack)
endif()
