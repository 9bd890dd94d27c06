# Two export sets, so that a client who wants the library alone needs no GDAL.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tilewright)

file(RELATIVE_PATH lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})

# Clients older than CMake 3.23 do not read file sets: INCLUDES serves them.
install(TARGETS tilewright EXPORT tilewrightTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tilewrightTargets NAMESPACE tilewright:: DESTINATION ${package_dir})

# Builds what gets installed, and nothing else.
add_custom_target(tilewright_shipped DEPENDS tilewright)

set(TILEWRIGHT_PACKAGE_HAS_IO OFF)
if(TARGET tilewright_io)
  set(TILEWRIGHT_PACKAGE_HAS_IO ON)
  set_target_properties(tilewright_io PROPERTIES EXPORT_NAME io INSTALL_RPATH "$ORIGIN")
  install(TARGETS tilewright_io EXPORT tilewrightIoTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tilewright-io
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tilewright-io)
  install(EXPORT tilewrightIoTargets NAMESPACE tilewright:: DESTINATION ${package_dir})
  add_dependencies(tilewright_shipped tilewright_io)
endif()

if(TARGET tilewright_program)
  set_target_properties(tilewright_program PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")
  install(TARGETS tilewright_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  add_dependencies(tilewright_shipped tilewright_program)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/tilewright.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()

if(TARGET tilewright_completions)
  set(scripts ${PROJECT_BINARY_DIR}/apps/completion)
  install(FILES ${scripts}.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tilewright)
  install(FILES ${scripts}.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _tilewright)
  install(FILES ${scripts}.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d RENAME tilewright.fish)
  add_dependencies(tilewright_shipped tilewright_completions)
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
