include(GenerateExportHeader)

set(RK_SANITIZE "" CACHE STRING "Sanitizers for every target, e.g. address,undefined")

add_library(rk_options INTERFACE)
target_compile_features(rk_options INTERFACE cxx_std_20)
target_compile_options(rk_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
    -Wconversion -Wno-sign-conversion -Wdouble-promotion -Wformat=2 -Wnull-dereference -Wimplicit-fallthrough
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # After inlining, GCC 12 sees null pointers in the headers of the standard library where there
    # are none. Clang's analyser looks for them.
    target_compile_options(rk_options INTERFACE -Wno-null-dereference)
endif()
if(RK_SANITIZE)
    target_compile_options(rk_options INTERFACE -fsanitize=${RK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(rk_options INTERFACE -fsanitize=${RK_SANITIZE})
endif()
target_compile_definitions(rk_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS
    QT_STRICT_ITERATORS QT_USE_QSTRINGBUILDER QT_MESSAGELOGCONTEXT QT_DISABLE_DEPRECATED_BEFORE=0x060400)

function(rk_add_library name)
    cmake_parse_arguments(ARG "" "" "PUBLIC_HEADERS;SOURCES;PUBLIC_LINK;PRIVATE_LINK" ${ARGN})
    add_library(${name} SHARED)
    add_library(RK::${name} ALIAS ${name})
    string(TOUPPER ${name} upper)
    # Internal classes that tests reach directly: exported only while tests or fuzzers are built.
    set(test_export "#define ${upper}_TEST_EXPORT ${upper}_NO_EXPORT")
    if(BUILD_TESTING OR RK_BUILD_FUZZERS)
        set(test_export "#define ${upper}_TEST_EXPORT ${upper}_EXPORT")
    endif()
    generate_export_header(${name}
        EXPORT_FILE_NAME "${CMAKE_CURRENT_BINARY_DIR}/include/${name}/${name}Export.h"
        CUSTOM_CONTENT_FROM_VARIABLE test_export)
    target_sources(${name}
        PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/libs" FILES ${ARG_PUBLIC_HEADERS}
        PRIVATE ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC
        "$<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/include>")
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LINK} PRIVATE ${ARG_PRIVATE_LINK} $<BUILD_INTERFACE:rk_options>)
    target_compile_features(${name} PUBLIC cxx_std_17)
    set_target_properties(${name} PROPERTIES
        AUTOMOC ON VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        INSTALL_RPATH "$<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>"
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON CXX_EXTENSIONS OFF)
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT RK_SANITIZE)
        target_link_options(${name} PRIVATE -Wl,--no-undefined)
    endif()
    install(TARGETS ${name} EXPORT RKImageLoaderTargets FILE_SET HEADERS)
    install(DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/include/" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
