# What hosts find the installed libraries by: the CMake package and the files for pkg-config.
include(CMakePackageConfigHelpers)

# Static libraries need again what they were built with.
set(modules LCMS2 LIBTIFF LIBWEBP)
set(RK_STATIC_DEPENDENCIES "")
set(private_packages exiv2 zlib)
if(RK_HAS_VIDEO)
    list(APPEND modules FFMPEG)
endif()
if(RK_HAS_RAW)
    list(APPEND modules LIBRAW)
endif()
if(RK_HAS_SVG)
    list(APPEND private_packages Qt6Svg)
    string(APPEND RK_STATIC_DEPENDENCIES "find_dependency(Qt6 6.4 COMPONENTS Svg)\n")
endif()
string(APPEND RK_STATIC_DEPENDENCIES
    "find_dependency(ZLIB)\nfind_dependency(exiv2)\nfind_dependency(PkgConfig)\n")
foreach(module IN LISTS modules)
    list(JOIN ${module}_SPECIFICATION " " specification)
    string(APPEND RK_STATIC_DEPENDENCIES
        "pkg_check_modules(${module} REQUIRED IMPORTED_TARGET ${specification})\n")
    list(APPEND private_packages ${${module}_SPECIFICATION})
endforeach()
list(JOIN private_packages ", " private_packages)
string(REPLACE ">=" " >= " private_packages "${private_packages}")
if(BUILD_SHARED_LIBS)
    set(RK_STATIC_DEPENDENCIES "")
    set(private_packages "")
endif()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/RKImageLoader")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/RKImageLoaderConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/RKImageLoaderConfig.cmake" INSTALL_DESTINATION "${package_dir}"
    PATH_VARS RK_QT_PLUGIN_DIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/RKImageLoaderConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/RKImageLoaderConfig.cmake"
    "${PROJECT_BINARY_DIR}/RKImageLoaderConfigVersion.cmake"
    DESTINATION "${package_dir}" COMPONENT Development)
# That of the tool comes with the program, without which it would be wrong.
get_property(components GLOBAL PROPERTY RK_COMPONENTS)
list(REMOVE_DUPLICATES components)
foreach(component IN LISTS components)
    set(installed_with Development)
    if(component STREQUAL "Tool")
        set(installed_with Tool)
    endif()
    install(EXPORT RKImageLoader${component}Targets NAMESPACE RK:: DESTINATION "${package_dir}"
        COMPONENT ${installed_with})
endforeach()

# rk_add_pkg_config(NAME DESCRIPTION text LIBS flags REQUIRES packages PRIVATE packages)
# Relative to itself, so that the prefix may be moved. PRIVATE is for static linking.
function(rk_add_pkg_config name)
    cmake_parse_arguments(ARG "" "DESCRIPTION;LIBS;REQUIRES;PRIVATE" "" ${ARGN})
    set(folder "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
        BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${folder}" OUTPUT_VARIABLE prefix)
    set(flags "")
    if(NOT BUILD_SHARED_LIBS)
        set(flags " -DRKCORE_STATIC_DEFINE -DRKGEOLOCATION_STATIC_DEFINE -DRKXML_STATIC_DEFINE")
        string(APPEND flags " -DRKIMAGELOADER_STATIC_DEFINE -DRKIMAGELOADERASYNC_STATIC_DEFINE")
    endif()
    configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/pkg-config.pc.in"
        "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${folder}" COMPONENT Development)
endfunction()

# Those of a static library are no private ones: --static would ask for the codecs behind FFmpeg, too,
# whose shared libraries have no headers installed.
set(required_packages "Qt6Core >= 6.4, Qt6Gui >= 6.4, Qt6Xml >= 6.4")
if(private_packages)
    string(APPEND required_packages ", ${private_packages}")
endif()
set(initializer "")
if(NOT BUILD_SHARED_LIBS)
    get_property(initializer TARGET RKImageLoader PROPERTY RK_INITIALIZER)
    string(PREPEND initializer "-Wl,-u,")
    string(APPEND initializer " ")
endif()
rk_add_pkg_config(RKImageLoader DESCRIPTION "${PROJECT_DESCRIPTION}"
    LIBS "${initializer}-lRKImageLoader -lRKXML -lRKGeoLocation -lRKCore"
    REQUIRES "${required_packages}")
if(TARGET RKImageLoaderAsync)
    rk_add_pkg_config(RKImageLoaderAsync DESCRIPTION "Loading in the background, for RKImageLoader"
        LIBS "-lRKImageLoaderAsync" REQUIRES "RKImageLoader = ${PROJECT_VERSION}")
endif()
