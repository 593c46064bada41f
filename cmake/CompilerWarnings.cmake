# The warnings our own code is held to; each is an error.
add_library(qs_warnings INTERFACE)
target_compile_options(qs_warnings INTERFACE
    -Werror -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wcast-align -Wcast-qual
    -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi -Wformat=2 -Wimplicit-fallthrough -Wundef -Wvla
    # Options are given by name where only some differ: `move(ids, {.deleteOriginals = true})`.
    -Wno-missing-field-initializers)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(qs_warnings INTERFACE
        -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wsuggest-override
        # GCC 12 reports these on correct std::string and coroutine code, differently at each optimisation level.
        -Wno-restrict -Wno-mismatched-new-delete -Wno-error=array-bounds -Wno-error=stringop-overflow
        -Wno-error=stringop-overread -Wno-error=maybe-uninitialized -Wno-error=free-nonheap-object)
endif()
