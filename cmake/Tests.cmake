# Test and benchmark executables.
#
# qs_add_test(NAME <exe> LABEL <subsystem> SOURCES <files...> [LIBRARIES <targets...>] [DEPENDS <targets...>]
#             [ENVIRONMENT <NAME=value...>] [TIMEOUT <seconds>] [OWN_MAIN])
#   A GoogleTest program; each of its tests is one of ctest's and carries LABEL, which ./test takes as its argument.
#   DEPENDS names targets that must be built for the tests to run, such as the plug-in that they open.
#   OWN_MAIN leaves out GoogleTest's main().
#
# qs_add_node_test(NAME <name> LABEL <subsystem> SCRIPT <file.mjs> [ENVIRONMENT <NAME=value...>] [TIMEOUT <seconds>])
#   A test script for Node.js's own runner, one of ctest's tests. It is told the build tree in QS_BUILD_DIR and the
#   folder whose npm packages it may use (with createRequire) in QS_PAGE_DIR.
#
# qs_add_benchmark(NAME <exe> SOURCES <files...> [LIBRARIES <targets...>] [DEPENDS <targets...>])
#   A Google Benchmark program in the build tree's bench/, where ./bench finds it.
include(GoogleTest)

# GoogleTest's headers, compiled once for all test programs: with -O1 instead of -O2 this halves the time a test file
# takes. It is a program, not an object library, because those are compiled with another kind of position independence.
function(qs_precompiled_test_headers)
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/generated/TestHeaders.cpp" CONTENT "int main() {}\n")
    add_executable(qs_test_headers EXCLUDE_FROM_ALL "${CMAKE_BINARY_DIR}/generated/TestHeaders.cpp")
    set_target_properties(qs_test_headers PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/generated")
    qs_test_options(qs_test_headers)
    target_precompile_headers(qs_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
endfunction()

function(qs_test_options target)
    target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O1>)
    target_link_libraries(${target} PRIVATE GTest::gmock GTest::gtest)
    # A program whose flags differ reads the headers as text.
    set_target_properties(${target} PROPERTIES PCH_WARN_INVALID OFF)
endfunction()

function(qs_add_test)
    cmake_parse_arguments(PARSE_ARGV 0 arg "OWN_MAIN" "NAME;LABEL;TIMEOUT" "SOURCES;LIBRARIES;DEPENDS;ENVIRONMENT")
    if(NOT arg_NAME OR NOT arg_LABEL OR NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "qs_add_test needs NAME, LABEL and SOURCES (left over: ${arg_UNPARSED_ARGUMENTS})")
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    if(NOT arg_OWN_MAIN)
        list(APPEND arg_LIBRARIES GTest::gmock_main)
    endif()

    add_executable(${arg_NAME} ${arg_SOURCES})
    set_target_properties(${arg_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    target_include_directories(${arg_NAME} PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/Tests")
    target_compile_definitions(${arg_NAME} PRIVATE QS_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data")
    target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} quillstead-foundation)
    if(NOT TARGET qs_test_headers)
        qs_precompiled_test_headers()
    endif()
    qs_test_options(${arg_NAME})
    target_precompile_headers(${arg_NAME} REUSE_FROM qs_test_headers)
    if(arg_DEPENDS)
        add_dependencies(${arg_NAME} ${arg_DEPENDS})
    endif()

    set(properties LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT})
    if(arg_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
    # Two programs may name a test alike; ctest may not.
    gtest_discover_tests(${arg_NAME} TEST_PREFIX "${arg_NAME}/" DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                         PROPERTIES ${properties})
endfunction()

function(qs_add_node_test)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;LABEL;SCRIPT;TIMEOUT" "ENVIRONMENT")
    if(NOT arg_NAME OR NOT arg_LABEL OR NOT arg_SCRIPT OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "qs_add_node_test needs NAME, LABEL and SCRIPT (left over: ${arg_UNPARSED_ARGUMENTS})")
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    add_test(NAME ${arg_NAME} COMMAND "${QS_NODE}" --test "${CMAKE_CURRENT_SOURCE_DIR}/${arg_SCRIPT}")
    set(environment "QS_BUILD_DIR=${CMAKE_BINARY_DIR}" "QS_PAGE_DIR=${PROJECT_SOURCE_DIR}/Host/Page" ${arg_ENVIRONMENT})
    set_tests_properties(${arg_NAME} PROPERTIES
        LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT} ENVIRONMENT "${environment}")
endfunction()

function(qs_add_benchmark)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME" "SOURCES;LIBRARIES;DEPENDS")
    if(NOT arg_NAME OR NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "qs_add_benchmark needs NAME and SOURCES (left over: ${arg_UNPARSED_ARGUMENTS})")
    endif()
    add_executable(${arg_NAME} ${arg_SOURCES})
    set_target_properties(${arg_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bench")
    target_include_directories(${arg_NAME} PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/Tests")
    target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} quillstead-foundation benchmark::benchmark_main)
    if(arg_DEPENDS)
        add_dependencies(${arg_NAME} ${arg_DEPENDS})
    endif()
    set_property(GLOBAL APPEND PROPERTY QS_BENCHMARK_TARGETS ${arg_NAME})
endfunction()
