# What the toolchains of both processors share; OSM_TRIPLET names the compiler's target.
set(CMAKE_C_COMPILER ${OSM_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${OSM_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${OSM_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${OSM_TRIPLET})
# Libraries come from the folder that third_party.sh fills (CMAKE_PREFIX_PATH), never from this machine.
if(CMAKE_PREFIX_PATH)
    list(APPEND CMAKE_FIND_ROOT_PATH ${CMAKE_PREFIX_PATH})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# 32-bit code keeps to SSE2 as 64-bit code does: the x87's longer numbers would make other pictures.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL i686)
    set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
    set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
endif()
# Each program carries its runtime; nothing of the compiler's has to lie beside it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
