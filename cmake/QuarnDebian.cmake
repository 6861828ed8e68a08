# The Debian packages, one for each component of the installation: cpack -G DEB. Builds for Qt 5 and
# Qt 6 make the same Headers, Documentation and Tools; scripts/packages.sh takes those of Qt 6.
find_program(GZIP gzip)
if(NOT GZIP)
  return()
endif()

set(qt "qt${QT_VERSION_MAJOR}")
set(package_Runtime "libquarn-${qt}-${PROJECT_VERSION_MAJOR}")
set(package_Devel "libquarn-${qt}-dev")
set(package_Headers "libquarn-dev")
set(package_Documentation "libquarn-doc")
set(package_Tools "quarn-tools")

# A packager sets these variables of Debian's own tools.
set(CPACK_PACKAGE_CONTACT "Quarn developers <developers@quarn.invalid>")
if(DEFINED ENV{DEBFULLNAME} AND DEFINED ENV{DEBEMAIL})
  set(CPACK_PACKAGE_CONTACT "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()
# Less than the 1 of the first package that Debian itself would make of this version.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0quarn1)
set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # it would stand before each package's own
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE quarn)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(about "Quarn is a library of I/O building blocks for Qt desktop applications: streams
over memory and files, buffers that one producer writes while any number of
readers read them, signatures and whom to trust, files in the background, and
file utilities.\n\n")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS xdg-utils) # shows files where there is no file manager
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "I/O building blocks for Qt ${QT_VERSION_MAJOR} applications
${about}This package has the libraries that programs need to run.")

set(CPACK_DEBIAN_DEVEL_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS
  "${package_Runtime} (= ${version}), ${package_Headers} (= ${version})")
if(QT_VERSION_MAJOR EQUAL 6)
  string(APPEND CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS ", qt6-base-dev (>= ${QUARN_OLDEST_QT})")
else()
  string(APPEND CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS ", qtbase5-dev (>= ${QUARN_OLDEST_QT})")
endif()
set(CPACK_DEBIAN_DEVEL_PACKAGE_SUGGESTS libquarn-doc)
set(CPACK_DEBIAN_DEVEL_DESCRIPTION
  "I/O building blocks for Qt ${QT_VERSION_MAJOR} applications - development files
${about}This package has what is needed to build programs with Qt ${QT_VERSION_MAJOR}: the packages for
CMake and pkg-config, and the link to the library.")

set(CPACK_DEBIAN_HEADERS_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HEADERS_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_HEADERS_PACKAGE_DEPENDS "libboost-dev (>= 1.66)")
set(CPACK_DEBIAN_HEADERS_PACKAGE_RECOMMENDS "libquarn-qt6-dev | libquarn-qt5-dev")
set(CPACK_DEBIAN_HEADERS_DESCRIPTION "I/O building blocks for Qt applications - headers
${about}This package has the headers, which are the same for both Qts, and the package
for CMake that finds the library for the Qt in use.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_DESCRIPTION "I/O building blocks for Qt applications - manual
${about}This package has the manual, for browsers and for Qt Assistant.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${package_Runtime} (= ${version})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "I/O building blocks for Qt applications - tools
${about}This package has quarn-relay, which gives one stream to several consumers at
once: readers, a verifier, a file.")

get_target_property(library_dir Quarn BINARY_DIR)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${library_dir}")
# Programs need the version that they were built with, or a newer one.
set(control_dir "${PROJECT_BINARY_DIR}/debian/${package_Runtime}")
file(WRITE "${control_dir}/shlibs"
  "libQuarn-${qt} ${PROJECT_VERSION_MAJOR} ${package_Runtime} (>= ${PROJECT_VERSION})\n")
file(WRITE "${control_dir}/triggers" "activate-noawait ldconfig\n")
# With the trigger no script has to call ldconfig. CPack writes one unless it is given its name; what
# isn't there it leaves out, with a warning.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${control_dir}/shlibs" "${control_dir}/triggers"
  "${control_dir}/postinst" "${control_dir}/postrm")

# Each package has its own copyright file and changelogs; a plain installation has none of them.
set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
set(changelog "${PROJECT_BINARY_DIR}/debian/changelog")
file(COPY_FILE "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${changelog}")
# An entry for each release, dated as there; what isn't released yet is of now, or SOURCE_DATE_EPOCH.
set(entries "")
file(STRINGS "${PROJECT_SOURCE_DIR}/CHANGELOG.md" releases REGEX "^## [0-9]")
foreach(release IN LISTS releases)
  string(REGEX MATCH "^## ([0-9.]+) *\\(?([^)]*)" ignored "${release}")
  set(released "${CMAKE_MATCH_1}")
  set(date_command date --utc --rfc-email)
  if(CMAKE_MATCH_2 MATCHES "^[0-9]+-[0-9]+-[0-9]+$")
    list(APPEND date_command "--date=${CMAKE_MATCH_2}")
  elseif(DEFINED ENV{SOURCE_DATE_EPOCH})
    list(APPEND date_command "--date=@$ENV{SOURCE_DATE_EPOCH}")
  endif()
  execute_process(COMMAND ${date_command} OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(APPEND entries
    "quarn (${released}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium\n\n"
    "  * Release ${released}: changelog.gz tells what changed.\n\n"
    " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n\n")
endforeach()
file(WRITE "${changelog}.Debian" "${entries}")
execute_process(COMMAND "${GZIP}" --force --keep --best --no-name "${changelog}" "${changelog}.Debian")

get_cmake_property(components COMPONENTS)
set(CPACK_COMPONENTS_ALL "")
foreach(component Runtime Devel Headers Documentation Tools)
  if(component IN_LIST components)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(package ${package_${component}})
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
    install(FILES "${PROJECT_SOURCE_DIR}/packaging/debian/copyright"
      "${changelog}.gz" "${changelog}.Debian.gz"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component} EXCLUDE_FROM_ALL)
    foreach(place lintian/overrides doc-base)
      get_filename_component(kind "${place}" NAME)
      set(file "${PROJECT_SOURCE_DIR}/packaging/debian/${package}.${kind}")
      if(EXISTS "${file}")
        install(FILES "${file}" DESTINATION "${CMAKE_INSTALL_DATADIR}/${place}"
          RENAME ${package} COMPONENT ${component} EXCLUDE_FROM_ALL)
      endif()
    endforeach()
  endif()
endforeach()
