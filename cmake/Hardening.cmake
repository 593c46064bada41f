# Flags that turn a memory fault into a stop instead of a way in. They go into every binary: the host, the plug-in, the
# helper, the tools and the tests.
include(CheckCXXCompilerFlag)

add_library(qs_hardening INTERFACE)
target_compile_options(qs_hardening INTERFACE -fstack-protector-strong)
foreach(flag IN ITEMS -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "QS_HAS${flag}" available)
    check_cxx_compiler_flag(${flag} ${available})
    if(${available})
        target_compile_options(qs_hardening INTERFACE ${flag})
    endif()
endforeach()
# The library's own bounds checks cost little beside what mail costs.
target_compile_definitions(qs_hardening INTERFACE _GLIBCXX_ASSERTIONS)
target_link_options(qs_hardening INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)

# Fortified calls need optimisation, and the sanitizers bring better checks of the same calls.
if(NOT QS_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_options(qs_hardening INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
