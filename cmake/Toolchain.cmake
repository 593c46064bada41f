# The language level, and the faster compiler cache and linker where the machine has them.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Assertions stay on in every build type: a programming fault is logged at the border instead of corrupting mail.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1")
set(QS_DEBUG_LEVEL "-O0" CACHE STRING "Optimisation of debug builds; the sanitizers ask for -O1")
set(CMAKE_CXX_FLAGS_DEBUG "${QS_DEBUG_LEVEL} -g")
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

include(CheckPIESupported)
check_pie_supported()

find_program(QS_CCACHE ccache)
if(QS_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Without the sloppiness the cache passes over every file that uses a precompiled header; without the others it
    # knows nothing again in another build folder or checkout.
    set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_NOHASHDIR=1
        "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" "${QS_CCACHE}")
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
endif()

find_program(QS_LLD NAMES ld.lld)
if(QS_LLD)
    add_link_options(-fuse-ld=lld)
endif()

# A symbol that nobody defines is found when a library is linked, not when a user's plug-in is opened.
string(APPEND CMAKE_SHARED_LINKER_FLAGS " -Wl,-z,defs")
string(APPEND CMAKE_MODULE_LINKER_FLAGS " -Wl,-z,defs")

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
