# Installs BUILD into a fresh PREFIX and looks at what came: it must not refer to this machine's folders, nor
# export private code, and the program must find its libraries.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX} --config "${CONFIG}"
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

file(GLOB_RECURSE package_files ${PREFIX}/*.cmake)
if(NOT package_files)
  message(FATAL_ERROR "No package files were installed")
endif()
foreach(file IN LISTS package_files)
  file(READ ${file} text)
  foreach(leak IN ITEMS ${SOURCE} ${BUILD} ${PREFIX} tilewright_warnings)
    string(FIND "${text}" "${leak}" at)
    if(NOT at EQUAL -1)
      message(SEND_ERROR "${file} mentions ${leak}")
    endif()
  endforeach()
endforeach()

if(SHARED)
  set(private_names "\\(anonymous namespace\\)|MyCell|Tilewright::[A-Za-z]*Operator|Io::(PlyReader|TextReader|HiddenFolder)")
  foreach(library IN LISTS LIBRARIES)
    execute_process(COMMAND ${NM} --dynamic --defined-only --demangle ${library}
      OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]*(${private_names})[^\n]*" private "${symbols}")
    if(private)
      list(JOIN private "\n" private)
      message(SEND_ERROR "${library} exports private code:\n${private}")
    endif()
  endforeach()
endif()

if(PROGRAM)
  execute_process(COMMAND ${PREFIX}/${PROGRAM} --help OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  foreach(folder IN ITEMS man/man1 bash-completion/completions zsh/site-functions fish/vendor_completions.d)
    file(GLOB found ${PREFIX}/share/${folder}/*tilewright*)
    if(NOT found)
      message(SEND_ERROR "Nothing was installed into share/${folder}")
    endif()
  endforeach()
endif()
