# Debian packages: `tilewright` with the program, `libtilewright-dev` with what clients of the library build against,
# `libtilewright-io-dev` with what those of io need besides, GDAL among it, `python3-tilewright` with the module, and,
# from a build with shared libraries, these in packages named after the interface that they keep.
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
  "The headers, the library and the CMake and pkg-config files that a client builds against.")

if(TARGET tilewright_io)
  list(APPEND CPACK_COMPONENTS_ALL io_development)
  set(CPACK_DEBIAN_IO_DEVELOPMENT_PACKAGE_NAME libtilewright-io-dev)
  set(CPACK_DEBIAN_IO_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_IO_DEVELOPMENT_PACKAGE_DEPENDS "libtilewright-dev (= ${PROJECT_VERSION}), libgdal-dev")
  set(CPACK_COMPONENT_IO_DEVELOPMENT_DESCRIPTION
    "What a client builds against, besides, who reads point clouds and writes rasters.")
endif()

if(TARGET tilewright_program)
  list(APPEND CPACK_COMPONENTS_ALL program)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME tilewright)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS pdal)
  set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
    "Reduces files of points to files of pixels, field by field: means, extremes, medians, planes.")
endif()

if(TARGET tilewright_python)
  get_property(python_version GLOBAL PROPERTY TILEWRIGHT_PYTHON_VERSION)
  string(REGEX MATCH "[0-9]+$" python_minor ${python_version})
  math(EXPR next_minor "${python_minor} + 1")
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-tilewright)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "python3 (>= ${python_version}), python3 (<< 3.${next_minor}), python3-numpy")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "python3-xarray, python3-rioxarray, python3-tqdm")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-dask, python3-distributed")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION
    "The engine as a module for Python 3: files or arrays of points to datasets of xarray.")
endif()

# Adds to what the package of a component depends on.
function(add_dependency component package)
  list(APPEND CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${package} (= ${PROJECT_VERSION})")
  list(JOIN CPACK_DEBIAN_${component}_PACKAGE_DEPENDS ", " joined)
  set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS ${joined} PARENT_SCOPE)
endfunction()

if(BUILD_SHARED_LIBS)
  set(interface ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  list(APPEND CPACK_COMPONENTS_ALL libraries)
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME libtilewright${interface})
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION "The shared library that programs load.")
  add_dependency(DEVELOPMENT libtilewright${interface})
  if(TARGET tilewright_io)
    list(APPEND CPACK_COMPONENTS_ALL io_libraries)
    set(CPACK_DEBIAN_IO_LIBRARIES_PACKAGE_NAME libtilewright-io${interface})
    set(CPACK_DEBIAN_IO_LIBRARIES_PACKAGE_SECTION libs)
    set(CPACK_COMPONENT_IO_LIBRARIES_DESCRIPTION "The shared library that reads point clouds and writes rasters.")
    add_dependency(IO_LIBRARIES libtilewright${interface})
    add_dependency(IO_DEVELOPMENT libtilewright-io${interface})
  endif()
  if(TARGET tilewright_program)
    add_dependency(PROGRAM libtilewright-io${interface})
  endif()
endif()

include(CPack)
