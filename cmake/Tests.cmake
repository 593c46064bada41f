# Test and benchmark executables.
#
# qs_add_test(NAME <exe> LABEL <subsystem> SOURCES <files...> [LIBRARIES <targets...>] [DEPENDS <targets...>]
#             [ENVIRONMENT <NAME=value...>] [TIMEOUT <seconds>] [OWN_MAIN])
#   A GoogleTest program; each of its tests is one of ctest's and carries LABEL, which ./test takes as its argument.
#   DEPENDS names targets that must be built for the tests to run, such as the plug-in that they open.
#   OWN_MAIN leaves out GoogleTest's main().
#
# qs_add_benchmark(NAME <exe> SOURCES <files...> [LIBRARIES <targets...>] [DEPENDS <targets...>])
#   A Google Benchmark program in the build tree's bench/, where ./bench finds it.
include(GoogleTest)

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
    target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} quillstead-foundation GTest::gmock GTest::gtest)
    if(arg_DEPENDS)
        add_dependencies(${arg_NAME} ${arg_DEPENDS})
    endif()

    set(properties LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT})
    if(arg_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
    gtest_discover_tests(${arg_NAME} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
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
