# How everything in this project is compiled; targets take it by linking vesk_compile.

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(vesk_compile INTERFACE)
target_compile_features(vesk_compile INTERFACE cxx_std_20 c_std_11)
target_compile_options(vesk_compile INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                       $<$<COMPILE_LANGUAGE:CXX>:-Wsign-conversion>)
# Where numbers have 32 bits, files and folders are still those of large disks.
target_compile_definitions(vesk_compile INTERFACE _FILE_OFFSET_BITS=64)
if(VESK_WERROR)
  target_compile_options(vesk_compile INTERFACE -Werror)
endif()
if(VESK_SANITIZE)
  target_compile_options(vesk_compile INTERFACE -fsanitize=${VESK_SANITIZE}
                         -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vesk_compile INTERFACE -fsanitize=${VESK_SANITIZE})
endif()

# vesk_c_program(TARGET SOURCE...): a program in C that uses the shared library.
function(vesk_c_program target)
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE vesk::vesk vesk_compile)
  if(VESK_SANITIZE)
    # The library's checks need the C++ part of the sanitizers' run time.
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  endif()
endfunction()

# How libraries that need libc alone at run time are compiled: the standard library is used
# header-only. A fortified build would call other functions than those that the tests observe.
set(vesk_lean_options -fno-exceptions -fno-rtti -fno-threadsafe-statics
    -fno-semantic-interposition -ffunction-sections -fdata-sections -U_FORTIFY_SOURCE)
if(VESK_SANITIZE OR (VESK_TESTS AND CMAKE_CROSSCOMPILING))
  # What is shipped is optimised, so this is how the sanitizers and other machines see it, whatever
  # the tests are.
  list(APPEND vesk_lean_options -O2)
endif()
