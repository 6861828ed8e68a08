# Settings that every target of the project shares, as functions on targets.

# Warnings, Qt's strict string and keyword macros, and the sanitizers asked for.
function(quarn_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF AUTOMOC ON)
  target_compile_definitions(${target} PRIVATE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_NO_FOREACH
    QT_DISABLE_DEPRECATED_BEFORE=0x050F00)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /permissive- $<$<BOOL:${QUARN_WERROR}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Woverloaded-virtual
      -Wnon-virtual-dtor -Wcast-align -Wundef $<$<BOOL:${QUARN_WERROR}>:-Werror>)
  endif()
  if(QUARN_SANITIZERS)
    target_compile_options(${target} PRIVATE
      -fsanitize=${QUARN_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${QUARN_SANITIZERS})
    if(QUARN_SANITIZERS MATCHES "thread")
      # The compiler expands small memcpy() calls in place, without telling the thread sanitizer.
      target_compile_options(${target} PRIVATE -fno-builtin)
    endif()
  endif()
endfunction()

# What the libraries have beyond that: nothing is exported but what the linker script exports allows,
# and no path of the machine that builds gets into them, except for debuggers into debug builds.
function(quarn_library_defaults target exports)
  quarn_target_defaults(${target})
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON POSITION_INDEPENDENT_CODE ON)
  if(NOT MSVC)
    foreach(folder "${PROJECT_SOURCE_DIR}" "${PROJECT_BINARY_DIR}") # the last that fits counts
      target_compile_options(${target} PRIVATE
        "$<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${folder}/=>")
    endforeach()
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # A unique symbol would keep the library in memory after dlclose().
    target_compile_options(${target} PRIVATE -fno-gnu-unique)
  endif()
  if(NOT WIN32)
    # Binding a function at its first call leaves what that is given, a password too, on the stack.
    target_link_options(${target} PRIVATE
      "LINKER:--version-script=${exports}" LINKER:-z,relro LINKER:-z,now)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${exports}")
    if(NOT QUARN_SANITIZERS)
      target_link_options(${target} PRIVATE LINKER:--no-undefined)
    endif()
  endif()
endfunction()

# Puts the version where Windows shows it, into the properties of the library's file.
function(quarn_version_resource target description)
  string(REPLACE "." "," QUARN_VERSION_NUMBERS "${PROJECT_VERSION}.0")
  set(QUARN_FILE_DESCRIPTION "${description}")
  set(QUARN_FILE_NAME "$<TARGET_FILE_NAME:${target}>")
  set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/version.rc.in" "${resource}.in" @ONLY)
  file(GENERATE OUTPUT "${resource}" INPUT "${resource}.in")
  target_sources(${target} PRIVATE "${resource}")
endfunction()

# Adds a family's sources and public headers to the library; paths are relative to the caller.
function(quarn_add_family)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "" "HEADERS;SOURCES")
  foreach(file IN LISTS ARG_HEADERS ARG_SOURCES)
    target_sources(Quarn PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/${file}")
  endforeach()
  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}")
  list(TRANSFORM ARG_HEADERS PREPEND "${folder}/")
  set_property(TARGET Quarn APPEND PROPERTY QUARN_PUBLIC_HEADERS ${ARG_HEADERS})
endfunction()
