# TILEWRIGHT_SANITIZE names the sanitizers of the whole build, for example "address,undefined" or "thread".
set(TILEWRIGHT_SANITIZE "" CACHE STRING "Comma-separated sanitizers to build everything with")
if(TILEWRIGHT_SANITIZE)
  # Reports name lines and no variables, and full debug information takes long to write and to link.
  add_compile_options(-g1 -fsanitize=${TILEWRIGHT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TILEWRIGHT_SANITIZE})
endif()
