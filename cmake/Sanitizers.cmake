# QS_SANITIZE is a comma-separated list for -fsanitize, such as "address,undefined" or "thread"; empty for none.
set(QS_SANITIZE "" CACHE STRING "Sanitizers to build with")

add_library(qs_sanitizers INTERFACE)
if(QS_SANITIZE)
    target_compile_options(qs_sanitizers INTERFACE
        -fsanitize=${QS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
        # The instrumented code confuses the flow analysis behind these.
        -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow)
    target_link_options(qs_sanitizers INTERFACE -fsanitize=${QS_SANITIZE})
    if(QS_SANITIZE MATCHES "thread")
        # Boost and the standard library use fences in places; GCC warns that the thread sanitizer ignores them.
        target_compile_options(qs_sanitizers INTERFACE -Wno-tsan)
    endif()
endif()
