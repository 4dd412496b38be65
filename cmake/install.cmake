# What `cmake --install` lays down: programs, headers below include/flatlink, the libraries
# libflatlink-NAME.a or .so, a CMake package whose components are the libraries, and a pkg-config
# file each.

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/flatlink)
set(generated_dir ${PROJECT_BINARY_DIR}/package)
file(RELATIVE_PATH prefix_from_pkgconfig
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
if(FLATLINK_SHARED)
  # Programs and libraries find the libraries wherever the installation lies.
  file(RELATIVE_PATH libraries_from_programs
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/${libraries_from_programs})
endif()

# install_library(NAME [what it links...]): a component, with its files.
function(install_library name)
  if(NOT FLATLINK_INSTALL)
    return()
  endif()
  set(needed ${ARGN})
  list(REMOVE_ITEM needed flatlink::curses)
  string(APPEND lines "list(APPEND _flatlink_components ${name})\n")
  string(APPEND lines "set(_flatlink_${name}_needs ${needed})\n")
  set_property(GLOBAL APPEND_STRING PROPERTY flatlink_components "${lines}")

  list(TRANSFORM needed PREPEND flatlink-)
  if(flatlink::curses IN_LIST ARGN)
    list(APPEND needed ncurses)
  endif()
  list(JOIN needed ", " requires)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in
    ${generated_dir}/flatlink-${name}.pc @ONLY)
  install(FILES ${generated_dir}/flatlink-${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  install(TARGETS flatlink-${name} EXPORT flatlink-${name}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/flatlink)
  install(EXPORT flatlink-${name} NAMESPACE flatlink:: DESTINATION ${package_dir})
endfunction()

# install_package(): what stands over the libraries; call it once all of them are known.
function(install_package)
  include(CMakePackageConfigHelpers)
  get_property(component_table GLOBAL PROPERTY flatlink_components)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/flatlink-config.cmake.in
    ${generated_dir}/flatlink-config.cmake INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${generated_dir}/flatlink-config-version.cmake
    COMPATIBILITY SameMajorVersion)
  install(FILES ${generated_dir}/flatlink-config.cmake
    ${generated_dir}/flatlink-config-version.cmake ${PROJECT_SOURCE_DIR}/cmake/curses.cmake
    DESTINATION ${package_dir})
  install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(DIRECTORY samples DESTINATION ${CMAKE_INSTALL_DOCDIR})
  foreach(number 1 5 7)
    file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/man/*.${number})
    install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${number})
  endforeach()
endfunction()
