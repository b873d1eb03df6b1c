# How everything in this project is compiled; targets take it by linking vesk_compile.

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(vesk_compile INTERFACE)
target_compile_features(vesk_compile INTERFACE cxx_std_20 c_std_11)
target_compile_options(vesk_compile INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                       $<$<COMPILE_LANGUAGE:CXX>:-Wsign-conversion>)
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
