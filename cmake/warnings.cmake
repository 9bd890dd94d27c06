# One interface target carries the warnings, so that nobody who uses the package inherits them.
option(TILEWRIGHT_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)
add_library(tilewright_warnings INTERFACE)
target_compile_options(tilewright_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion $<$<BOOL:${TILEWRIGHT_WARNINGS_AS_ERRORS}>:-Werror>)
