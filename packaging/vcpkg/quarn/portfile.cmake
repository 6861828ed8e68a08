# An overlay port of the sources that it stands in:
# vcpkg install quarn --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../../.." ABSOLUTE)

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS
    -DQUARN_QT_VERSION_MAJOR=6
    -DQUARN_BUILD_EXAMPLES=OFF
    -DQUARN_BUILD_TESTS=OFF
    -DQUARN_BUILD_TOOLS=OFF
  MAYBE_UNUSED_VARIABLES
    QUARN_BUILD_TOOLS)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME Quarn-qt6 CONFIG_PATH lib/cmake/Quarn-qt6)
vcpkg_cmake_config_fixup(PACKAGE_NAME Quarn CONFIG_PATH share/cmake/Quarn)
vcpkg_fixup_pkgconfig()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
file(INSTALL "${CURRENT_PORT_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/packaging/debian/copyright")
