include(GenerateExportHeader)

set(RK_SANITIZE "" CACHE STRING "Sanitizers for every target, e.g. address,undefined")
option(RK_COVERAGE "Count how often lines run" OFF)

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
else()
    # Precompiled headers made anew are then the same file, which a compiler cache recognises.
    target_compile_options(rk_options INTERFACE "SHELL:-Xclang -fno-pch-timestamp")
endif()
if(RK_SANITIZE)
    target_compile_options(rk_options INTERFACE -fsanitize=${RK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(rk_options INTERFACE -fsanitize=${RK_SANITIZE})
endif()
if(RK_COVERAGE)
    target_compile_options(rk_options INTERFACE --coverage -fprofile-update=atomic)
    target_compile_definitions(rk_options INTERFACE RK_COVERAGE)
    target_link_options(rk_options INTERFACE --coverage)
endif()
target_compile_definitions(rk_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS
    QT_STRICT_ITERATORS QT_USE_QSTRINGBUILDER QT_MESSAGELOGCONTEXT QT_DISABLE_DEPRECATED_BEFORE=0x060400)
if(Qt6_VERSION VERSION_GREATER_EQUAL 6.5)
    # What has a successor that 6.4 lacks stays in use.
    target_compile_definitions(rk_options INTERFACE QT_WARN_DEPRECATED_UP_TO=0x060400)
endif()

# What a library exports is decided by its headers; the linker takes away what third-party templates
# add to that, and gives the symbols a version of their own.
if(CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF")
    set(RK_SYMBOLS "${PROJECT_BINARY_DIR}/exported-symbols.map")
    configure_file("${CMAKE_CURRENT_LIST_DIR}/exported-symbols.map.in" "${RK_SYMBOLS}" @ONLY)
endif()

# Libraries in the system's own folders are found there, and Debian wants no path to them in programs.
# Everywhere else they are found relative to the program, so that the prefix may be moved.
set(RK_RPATH_TO_LIBRARIES "")
set(RK_RPATH_BESIDE "")
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(RK_RPATH_BESIDE "$<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>")
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY "${CMAKE_INSTALL_FULL_BINDIR}"
        OUTPUT_VARIABLE libraries)
    set(RK_RPATH_TO_LIBRARIES "${RK_RPATH_BESIDE}/${libraries}")
endif()

# rk_precompile(TARGET [headers...])
# Compiles once for a target what most of its sources include. The presets minimal and deb do without
# (CMAKE_DISABLE_PRECOMPILE_HEADERS): there a source that lacks an include does not compile.
function(rk_precompile target)
    target_precompile_headers(${target} PRIVATE
        <QByteArray> <QColorSpace> <QDateTime> <QDebug> <QDir> <QFile> <QFileInfo> <QHash> <QImage>
        <QList> <QMutex> <QSize> <QString> <QStringList> <QVariant>
        <algorithm> <array> <cmath> <functional> <map> <memory> <optional> <set> <string> <vector> ${ARGN})
endfunction()

# What a library or module lacks shows when it is linked, not when it is loaded.
function(rk_forbid_undefined_symbols target)
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT RK_SANITIZE)
        target_link_options(${target} PRIVATE "LINKER:--no-undefined")
    endif()
endfunction()

# rk_add_library(NAME [COMPONENT component] PUBLIC_HEADERS files... SOURCES files...
#     PUBLIC_LINK targets... PRIVATE_LINK targets...)
# Shared or, with BUILD_SHARED_LIBS off, static; with a header NAMEExport.h. The component, Core unless
# told otherwise, is that of find_package() and of the installation, where all that only builds of
# hosts need is in Development.
function(rk_add_library name)
    cmake_parse_arguments(ARG "" "COMPONENT" "PUBLIC_HEADERS;SOURCES;PUBLIC_LINK;PRIVATE_LINK" ${ARGN})
    if(NOT ARG_COMPONENT)
        set(ARG_COMPONENT Core)
    endif()
    add_library(${name})
    add_library(RK::${name} ALIAS ${name})
    generate_export_header(${name}
        EXPORT_FILE_NAME "${CMAKE_CURRENT_BINARY_DIR}/include/${name}/${name}Export.h")
    if(NOT BUILD_SHARED_LIBS)
        string(TOUPPER ${name} upper)
        target_compile_definitions(${name} PUBLIC ${upper}_STATIC_DEFINE)
    endif()
    target_sources(${name}
        PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}/libs" FILES ${ARG_PUBLIC_HEADERS}
        PRIVATE ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC
        "$<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/include>")
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LINK} PRIVATE ${ARG_PRIVATE_LINK} $<BUILD_INTERFACE:rk_options>)
    target_compile_features(${name} PUBLIC cxx_std_17)
    # Before 1.0, each minor version may break what was linked with the one before.
    set_target_properties(${name} PROPERTIES
        AUTOMOC ON VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
        POSITION_INDEPENDENT_CODE ON INSTALL_RPATH "${RK_RPATH_BESIDE}"
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON CXX_EXTENSIONS OFF)
    if(BUILD_SHARED_LIBS AND RK_SYMBOLS)
        target_link_options(${name} PRIVATE "LINKER:--version-script=${RK_SYMBOLS}")
        set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS "${RK_SYMBOLS}")
    endif()
    if(BUILD_SHARED_LIBS)
        rk_forbid_undefined_symbols(${name})
    endif()
    install(TARGETS ${name} EXPORT RKImageLoader${ARG_COMPONENT}Targets
        RUNTIME COMPONENT ${ARG_COMPONENT}
        LIBRARY COMPONENT ${ARG_COMPONENT} NAMELINK_COMPONENT Development
        ARCHIVE COMPONENT Development
        FILE_SET HEADERS COMPONENT Development)
    set_property(GLOBAL APPEND PROPERTY RK_COMPONENTS ${ARG_COMPONENT})
    install(DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/include/" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT Development)
endfunction()

# rk_extend_library(NAME PUBLIC_HEADERS files... SOURCES files... PRIVATE_LINK targets...)
# Adds what only some builds have.
function(rk_extend_library name)
    cmake_parse_arguments(ARG "" "" "PUBLIC_HEADERS;SOURCES;PRIVATE_LINK" ${ARGN})
    target_sources(${name} PUBLIC FILE_SET HEADERS FILES ${ARG_PUBLIC_HEADERS} PRIVATE ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_PRIVATE_LINK})
endfunction()
