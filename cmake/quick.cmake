# What makes a build quick and changes nothing of its results.

# The headers of the standard library are parsed once a target and not once a file. The project's own are not among
# them, as a change of one would build everything anew; nor are those of other packages that few files include and that
# leave functions to be compiled in each.
#
# Only GCC does so by itself. What Clang writes names the folder it was made in, so that it is of no use in a compiler
# cache that checkouts share. Its build also shows where a source lacks an include.
set(precompile OFF)
if(PROJECT_IS_TOP_LEVEL AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(precompile ON)
endif()
option(TILEWRIGHT_PRECOMPILE "Precompile the headers of the standard library" ${precompile})

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
