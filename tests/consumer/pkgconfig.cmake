# Builds a client of the package in PREFIX with what pkg-config says, and runs it.
cmake_minimum_required(VERSION 3.25)

set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs tilewright-io
  OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
foreach(module IN ITEMS tilewright tilewright-io)
  execute_process(COMMAND ${PKG_CONFIG} --modversion ${module}
    OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT version STREQUAL VERSION)
    message(SEND_ERROR "${module}.pc is of version ${version} and not ${VERSION}")
  endif()
endforeach()
# The shared library keeps GDAL to itself, and the static one cannot.
if(SHARED AND flags MATCHES "-lgdal")
  message(SEND_ERROR "tilewright-io.pc links clients of the shared library with GDAL")
endif()

separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND ${LAUNCHER} ${CXX} -std=c++20 -c ${CMAKE_CURRENT_LIST_DIR}/pkgconfig.cpp -o ${WORK}.o ${flags}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CXX} ${WORK}.o -o ${WORK} ${flags} COMMAND_ERROR_IS_FATAL ANY)
set(ENV{LD_LIBRARY_PATH} ${PREFIX}/${LIBDIR})
execute_process(COMMAND ${WORK} COMMAND_ERROR_IS_FATAL ANY)
