# One zip for Windows: what is installed, and what the library and its dialogs need of others.
set(libraries Qt${QT_VERSION_MAJOR}::Core)
if(QUARN_BUILD_DESKTOP)
  find_package(Qt${QT_VERSION_MAJOR} ${QUARN_OLDEST_QT} REQUIRED COMPONENTS Widgets) # for this folder
  list(APPEND libraries Qt${QT_VERSION_MAJOR}::Gui Qt${QT_VERSION_MAJOR}::Widgets)
endif()
install(IMPORTED_RUNTIME_ARTIFACTS ${libraries} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Dependencies EXCLUDE_FROM_ALL)
if(TARGET Qt${QT_VERSION_MAJOR}::QWindowsIntegrationPlugin)
  # Where Qt looks from its own folder on, so that programs in other folders find it, too.
  install(FILES "$<TARGET_FILE:Qt${QT_VERSION_MAJOR}::QWindowsIntegrationPlugin>"
    DESTINATION plugins/platforms COMPONENT Dependencies EXCLUDE_FROM_ALL)
endif()
if(MINGW)
  foreach(library libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${library}"
      OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(IS_ABSOLUTE "${file}")
      get_filename_component(file "${file}" REALPATH)
      install(FILES "${file}"
        DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Dependencies EXCLUDE_FROM_ALL)
    endif()
  endforeach()
endif()
foreach(example sign-release verify-download)
  if(TARGET ${example})
    install(TARGETS ${example} RUNTIME
      DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Dependencies EXCLUDE_FROM_ALL)
  endif()
endforeach()

set(CPACK_PACKAGE_CONTACT "the Quarn developers")
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME
  "Quarn-${PROJECT_VERSION}-qt${QT_VERSION_MAJOR}-windows-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_COMPONENTS_ALL Runtime Devel Headers Tools Dependencies)
