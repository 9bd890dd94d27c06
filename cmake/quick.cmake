# What makes a build quick and changes nothing of its results.

# The headers of the standard library are parsed once for several targets and not once a file. The project's own are not
# among them, as a change of one would build everything anew; nor are those of other packages that few files include and
# that leave functions to be compiled in each.
#
# Only GCC does so by itself. What Clang writes names the folder it was made in, so that it is of no use in a compiler
# cache that checkouts share. Its build also shows where a source lacks an include.
set(quick OFF)
if(PROJECT_IS_TOP_LEVEL AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(quick ON)
endif()
option(TILEWRIGHT_PRECOMPILE "Precompile the headers of the standard library" ${quick})

# What costs little where it is not needed: <chrono>, <random> and <thread> have each object compile something, and
# <iostream> initialise its streams.
set(tilewright_precompiled_headers
  <algorithm> <array> <atomic> <bit> <cmath> <cstddef> <cstdint> <cstring> <filesystem> <functional> <limits> <map>
  <memory> <optional> <span> <stdexcept> <string> <string_view> <system_error> <tuple> <type_traits> <utility>
  <variant> <vector>)

# tilewright_precompile(TARGET [HEADER...]) precompiles these headers and those of the standard library.
function(tilewright_precompile target)
  if(TILEWRIGHT_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${tilewright_precompiled_headers} ${ARGN})
  endif()
endfunction()

# tilewright_precompile_as(TARGET OTHER) has TARGET use those of OTHER. Both must have the same options.
function(tilewright_precompile_as target other)
  if(TILEWRIGHT_PRECOMPILE)
    target_precompile_headers(${target} REUSE_FROM ${other})
  endif()
endfunction()

# Options, documents and tests are large templates, and run once: with more than -O1 they only take longer to compile,
# up to twice as long. The build with Clang keeps them at the level of the rest.
set(TILEWRIGHT_RUN_ONCE $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release,RelWithDebInfo>>:-O1>)

# Half of what a small file takes to compile is its headers and the templates that others instantiate as well. Such
# files are compiled several at a time. What loops over points or cells stays alone: what else there is to inline must
# not matter to it. So do files whose local names clash.
#
# Not so with Clang, whose build compiles each file as it is and finds what a name of another file would hide.
option(TILEWRIGHT_BATCH "Compile small files several at a time" ${quick})

# tilewright_batch(TARGET NAME [RUN_ONCE] FILE...) adds these files to the target, as one if that is on.
function(tilewright_batch target name)
  cmake_parse_arguments(PARSE_ARGV 2 arg "RUN_ONCE" "" "")
  set(sources ${arg_UNPARSED_ARGUMENTS})
  list(LENGTH sources count)
  if(TILEWRIGHT_BATCH AND count GREATER 1)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    list(TRANSFORM sources REPLACE "(.+)" "#include <${folder}/\\1>\n")
    list(JOIN sources "" includes)
    set(sources ${CMAKE_CURRENT_BINARY_DIR}/batches/${name}.cpp)
    # Written only if it changes.
    file(CONFIGURE OUTPUT ${sources} CONTENT "${includes}")
  endif()
  target_sources(${target} PRIVATE ${sources})
  if(arg_RUN_ONCE)
    set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS "${TILEWRIGHT_RUN_ONCE}")
  endif()
endfunction()

# tilewright_batches(TARGET NAME SIZE FILE...) adds these files, so many at a time.
function(tilewright_batches target name size)
  list(LENGTH ARGN count)
  math(EXPR last "${count} - 1")
  foreach(first RANGE 0 ${last} ${size})
    list(SUBLIST ARGN ${first} ${size} files)
    tilewright_batch(${target} ${name}_${first} ${files})
  endforeach()
endfunction()

# With its usual limit GCC searches its memory for what it could free again and again while it compiles a file of many
# templates, and finds little. These are kilobytes.
if(quick)
  add_compile_options(--param=ggc-min-heapsize=524288)
endif()
