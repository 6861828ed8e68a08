# Installs the library, its headers, and the packages for CMake and pkg-config. Builds for Qt 5 and
# Qt 6 go into one prefix side by side; what both install is the same.
include(CMakePackageConfigHelpers)

set(package "Quarn-qt${QT_VERSION_MAJOR}")
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")
set(thin_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Quarn")

install(TARGETS Quarn EXPORT ${package}Targets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Runtime NAMELINK_COMPONENT Devel
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Devel)
if(TARGET QuarnDesktop) # the main library loads it, nobody links it
  install(TARGETS QuarnDesktop LIBRARY COMPONENT Runtime
    DESTINATION "$<IF:$<BOOL:${WIN32}>,${CMAKE_INSTALL_BINDIR},${CMAKE_INSTALL_LIBDIR}>")
endif()
install(EXPORT ${package}Targets
  NAMESPACE Quarn:: DESTINATION "${package_dir}" COMPONENT Devel)

get_target_property(public_headers Quarn QUARN_PUBLIC_HEADERS)
foreach(header IN LISTS public_headers)
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "${PROJECT_SOURCE_DIR}/src/${header}"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}" COMPONENT Devel)
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/include/Quarn/quarn_export.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/Quarn" COMPONENT Devel)

if(QT_VERSION_MAJOR EQUAL 6)
  set(QUARN_QT_VERSION_NEEDED 6.2)
else()
  set(QUARN_QT_VERSION_NEEDED 5.15)
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

write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/package/QuarnConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_SOURCE_DIR}/cmake/QuarnConfig.cmake"
  "${PROJECT_BINARY_DIR}/package/QuarnConfigVersion.cmake"
  DESTINATION "${thin_package_dir}" COMPONENT Devel)

# Relative, so that an installation can be moved as a whole.
file(RELATIVE_PATH QUARN_PC_PREFIX
  "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" QUARN_PC_PREFIX "${QUARN_PC_PREFIX}")
set(pc_file "${PROJECT_BINARY_DIR}/package/quarn-qt${QT_VERSION_MAJOR}.pc")
configure_file("${PROJECT_SOURCE_DIR}/cmake/quarn-qt.pc.in" "${pc_file}" @ONLY)
install(FILES "${pc_file}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT Devel)

set(CPACK_PACKAGE_CONTACT "the Quarn developers")
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Runtime Devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "libquarn-qt${QT_VERSION_MAJOR}-${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_DEVEL_PACKAGE_NAME "libquarn-qt${QT_VERSION_MAJOR}-dev")
set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS
  "libquarn-qt${QT_VERSION_MAJOR}-${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libboost-dev")
include(CPack)
