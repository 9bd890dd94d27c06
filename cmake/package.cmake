# Two export sets, so that a client who wants the library alone needs no GDAL. Components are what the packages of
# cmake/cpack.cmake are made of; an install takes them all.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tilewright)

file(RELATIVE_PATH lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})

# Clients older than CMake 3.23 do not read file sets: INCLUDES serves them.
install(TARGETS tilewright EXPORT tilewrightTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tilewrightTargets NAMESPACE tilewright:: DESTINATION ${package_dir})

# For builds that are not CMake's. The folders are told from where the file lies, so that an install can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
function(install_pkgconfig name)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
install_pkgconfig(tilewright)

# Builds what gets installed, and nothing else.
add_custom_target(tilewright_shipped DEPENDS tilewright)

set(TILEWRIGHT_PACKAGE_HAS_IO OFF)
if(TARGET tilewright_io)
  set(TILEWRIGHT_PACKAGE_HAS_IO ON)
  set_target_properties(tilewright_io PROPERTIES EXPORT_NAME io INSTALL_RPATH "$ORIGIN")
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME io_development)
  install(TARGETS tilewright_io EXPORT tilewrightIoTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT io_libraries NAMELINK_COMPONENT io_development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tilewright-io
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tilewright-io)
  install(EXPORT tilewrightIoTargets NAMESPACE tilewright:: DESTINATION ${package_dir})
  # Whoever links the static library links what it uses; the shared one knows that by itself.
  set(gdal_if_static ", gdal")
  if(BUILD_SHARED_LIBS)
    set(gdal_if_static "")
  endif()
  install_pkgconfig(tilewright-io)
  set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
  add_dependencies(tilewright_shipped tilewright_io)
endif()

if(TARGET tilewright_program)
  set_target_properties(tilewright_program PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")
  install(TARGETS tilewright_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
  add_dependencies(tilewright_shipped tilewright_program)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/tilewright.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
endif()

if(TARGET tilewright_completions)
  set(scripts ${PROJECT_BINARY_DIR}/apps/completion)
  install(FILES ${scripts}.bash COMPONENT program
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tilewright)
  install(FILES ${scripts}.zsh COMPONENT program
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _tilewright)
  install(FILES ${scripts}.fish COMPONENT program
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d RENAME tilewright.fish)
  add_dependencies(tilewright_shipped tilewright_completions)
endif()

if(TARGET tilewright_python)
  get_property(python_version GLOBAL PROPERTY TILEWRIGHT_PYTHON_VERSION)
  set(python_dir ${TILEWRIGHT_PYTHON_DIR})
  if(NOT python_dir)
    # What the system's packages share between versions of Python is in /usr alone.
    install(CODE "
      if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
        set(tilewright_python_dir lib/python3/dist-packages)
      elseif(EXISTS /etc/debian_version)
        set(tilewright_python_dir lib/python${python_version}/dist-packages)
      else()
        set(tilewright_python_dir lib/python${python_version}/site-packages)
      endif()" COMPONENT python)
    set(python_dir "\${tilewright_python_dir}")
  endif()
  set_target_properties(tilewright_python PROPERTIES INSTALL_RPATH "$ORIGIN/../../../../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS tilewright_python LIBRARY DESTINATION "${python_dir}/tilewright" COMPONENT python)
  get_property(python_modules TARGET tilewright_python PROPERTY TILEWRIGHT_MODULES)
  install(FILES ${python_modules} DESTINATION "${python_dir}/tilewright" COMPONENT python)
  add_dependencies(tilewright_shipped tilewright_python)
endif()

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/tilewrightConfig.cmake.in ${PROJECT_BINARY_DIR}/tilewrightConfig.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tilewrightConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tilewrightConfig.cmake
  ${PROJECT_BINARY_DIR}/tilewrightConfigVersion.cmake
  DESTINATION ${package_dir})
