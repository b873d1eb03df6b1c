# Builds for another machine with Debian's cross compilers, and runs what was built for it.
# VESK_TRIPLET is the machine's GNU triplet: mips-linux-gnu, powerpc-linux-gnu, i686-linux-gnu.

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR "${VESK_TRIPLET}")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VESK_TRIPLET)

set(CMAKE_C_COMPILER ${VESK_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VESK_TRIPLET}-g++)

# Libraries and packages are the machine's own; programs are those of the machine that builds.
set(CMAKE_FIND_ROOT_PATH /usr/${VESK_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Where the kernel runs programs of the machine, its loader starts them; elsewhere qemu does. Either
# way they get the machine's libraries, whatever others the cache of this machine's loader knows.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/${VESK_TRIPLET}/lib/ld-linux.so.2
    --library-path /usr/${VESK_TRIPLET}/lib)
execute_process(COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} --version
                RESULT_VARIABLE VESK_LOADER_RESULT OUTPUT_QUIET ERROR_QUIET)
if(NOT VESK_LOADER_RESULT STREQUAL "0")
  set(VESK_QEMU_i686 qemu-i386)
  set(VESK_QEMU_mips qemu-mips)
  set(VESK_QEMU_powerpc qemu-ppc)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VESK_QEMU_${CMAKE_SYSTEM_PROCESSOR}} -L /usr/${VESK_TRIPLET}
      -E LD_LIBRARY_PATH=/usr/${VESK_TRIPLET}/lib)
endif()
