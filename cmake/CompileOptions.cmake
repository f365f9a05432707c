# What every target is compiled with. All of it holds for this folder and what is in it: a project that takes the library
# in with add_subdirectory or FetchContent keeps its own.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# On a 32-bit board, files beyond 2 GiB are to fail where they fail on a 64-bit machine, not at stat or fopen.
add_compile_definitions(_FILE_OFFSET_BITS=64)

# The rest is for those who work on the library. A project that takes it in has a build type of its own, and may
# use a compiler that finds other things worth a warning.
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2)
