# All tests with the label threads: what the thread sanitizer has to see.
add_custom_target(rk_threads_tests)

# rk_add_test(SOURCE [NEEDS features...] [LINK targets...] [LABELS labels...] [SOURCES more...])
# Builds one Qt Test program, named after its source, and registers it with CTest, unless the build
# lacks one of the features RAW, SVG and VIDEO that the test needs.
function(rk_add_test source)
    cmake_parse_arguments(ARG "" "" "NEEDS;LINK;LABELS;SOURCES" ${ARGN})
    foreach(feature IN LISTS ARG_NEEDS)
        if(NOT RK_HAS_${feature})
            return()
        endif()
    endforeach()
    get_filename_component(name ${source} NAME_WE)
    add_executable(${name} ${source} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE RKTestSupport ${ARG_LINK} rk_test_options)
    target_precompile_headers(${name} REUSE_FROM RKTestHeaders)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    target_compile_definitions(${name} PRIVATE
        RK_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data"
        RK_DOCS="${PROJECT_SOURCE_DIR}/docs"
        RK_CORPORA="${PROJECT_SOURCE_DIR}/fuzz/corpora"
        RK_SAMPLES="${RK_SAMPLES}")
    if("threads" IN_LIST ARG_LABELS)
        add_dependencies(rk_threads_tests ${name})
    endif()
    add_test(NAME ${name} COMMAND ${name})
    # CTest limits the time; Qt's own limit of five minutes for each function ends what a busy machine
    # has made slow.
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 120
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;TZ=Pacific/Chatham;QT_LOGGING_RULES=;QTEST_FUNCTION_TIMEOUT=2000000")
endfunction()
