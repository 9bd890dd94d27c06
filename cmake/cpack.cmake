# Debian packages: `tilewright` with the program, `libtilewright-dev` with what clients build against, and, from a
# build with shared libraries, these in a package named after the interface that they keep.
set(CPACK_PACKAGE_VENDOR Tilewright)
set(CPACK_PACKAGE_CONTACT "Tilewright developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# The packages of one build find each other's libraries there.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/tilewright ${PROJECT_BINARY_DIR}/io)

set(CPACK_COMPONENTS_ALL development)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtilewright-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "The headers, the libraries and the CMake and pkg-config files that a client builds against.")
if(TARGET tilewright_io)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libgdal-dev)
endif()

if(TARGET tilewright_program)
  list(APPEND CPACK_COMPONENTS_ALL program)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME tilewright)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS pdal)
  set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
    "Reduces files of points to files of pixels, field by field: means, extremes, medians, planes.")
endif()

if(BUILD_SHARED_LIBS)
  list(APPEND CPACK_COMPONENTS_ALL libraries)
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME libtilewright${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION "The shared libraries that programs load.")
  foreach(component IN ITEMS DEVELOPMENT PROGRAM)
    list(APPEND CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME} (= ${PROJECT_VERSION})")
    list(JOIN CPACK_DEBIAN_${component}_PACKAGE_DEPENDS ", " CPACK_DEBIAN_${component}_PACKAGE_DEPENDS)
  endforeach()
endif()

include(CPack)
