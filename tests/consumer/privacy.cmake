# Preprocesses the umbrella header as a client sees it, with the installed headers alone. No name of the library's
# inside and no other library may be in what comes out.
cmake_minimum_required(VERSION 3.25)

file(MAKE_DIRECTORY ${WORK})
set(source ${WORK}/umbrella.cpp)
file(WRITE ${source} "#include <tilewright/tilewright.h>\n")
execute_process(COMMAND ${CXX} -std=c++20 -E -I${INCLUDE} ${source}
  OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)

# A line marker names each header that was read, a bare line is code. Semicolons would split the text as a list.
string(REPLACE ";" " " text "${text}")
string(REGEX MATCHALL "\n# [0-9]+ \"[^\"]+\"" markers "${text}")
list(TRANSFORM markers REPLACE ".*\"(.*)\"" "\\1")
list(REMOVE_DUPLICATES markers)
set(own 0)
foreach(header IN LISTS markers)
  string(FIND "${header}" "${INCLUDE}/" at)
  if(at EQUAL 0)
    math(EXPR own "${own} + 1")
  elseif(header MATCHES "/tilewright/[a-z]+/[^/]+\\.h$|/CLI/|/(gdal|cpl_|ogr_|proj)[^/]*$|/(gtest|gmock|benchmark)/")
    message(SEND_ERROR "The umbrella header reads ${header}")
  endif()
endforeach()
if(own LESS 10)
  message(SEND_ERROR "The umbrella header reads only ${own} headers of the library")
endif()

string(REGEX REPLACE "\n# [^\n]*" "" text "${text}")
foreach(name IN ITEMS MyCell GDAL[A-Za-z]* CLI createFragmentedOtherFields locateCell rasterField)
  if(text MATCHES "[^A-Za-z0-9_]${name}[^A-Za-z0-9_]")
    message(SEND_ERROR "The umbrella header declares ${CMAKE_MATCH_0}")
  endif()
endforeach()
