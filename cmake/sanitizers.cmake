# TILEWRIGHT_SANITIZE names the sanitizers of the whole build, for example "address,undefined" or "thread".
set(TILEWRIGHT_SANITIZE "" CACHE STRING "Comma-separated sanitizers to build everything with")
if(TILEWRIGHT_SANITIZE)
  add_compile_options(-fsanitize=${TILEWRIGHT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TILEWRIGHT_SANITIZE})
endif()
