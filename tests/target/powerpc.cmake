# The appliance's machine: 32 bits, big-endian. Debian's cross compiler, the libraries that tests/target/make_libraries
# has built, and the emulator that runs what comes out. ZT_TARGET_LIBRARIES names the folder of the libraries.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZT_TARGET_LIBRARIES)

set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L ${ZT_TARGET_LIBRARIES})

# Nothing of the building machine may be taken for the target's.
set(CMAKE_FIND_ROOT_PATH ${ZT_TARGET_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Ahead of the compiler's own, and for the libraries that are linked by their bare names.
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${ZT_TARGET_LIBRARIES}/include)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${ZT_TARGET_LIBRARIES}/include)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${ZT_TARGET_LIBRARIES}/lib -Wl,-rpath-link,${ZT_TARGET_LIBRARIES}/lib")
