# Debian packages: scripts/package.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    return()
endif()
set(RK_PACKAGE_CONTACT "RKImageLoader <packages@rkimageloader.invalid>"
    CACHE STRING "Who maintains the Debian packages: name and address")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rkimageloader)
set(CPACK_PACKAGE_CONTACT "${RK_PACKAGE_CONTACT}")
# Or it would be the first line of every description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Manual pages, as Debian wants them.
file(WRITE "${PROJECT_BINARY_DIR}/packages/compress.cmake" [[
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_DIRECTORY}/*.1")
list(FILTER pages INCLUDE REGEX "/man1/")
foreach(page IN LISTS pages)
    execute_process(COMMAND gzip -9nf "${page}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
]])
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_BINARY_DIR}/packages/compress.cmake")
# The dependencies of each package are made before the others are installed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "")
foreach(library RKCore RKGeoLocation RKXML RKImageLoader RKImageLoaderAsync)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/libs/${library}")
endforeach()

set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(library librkimageloader${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog "${PROJECT_BINARY_DIR}/packages/changelog")
file(WRITE "${changelog}" "rkimageloader (${version}) unstable; urgency=medium\n\n"
    "  * Built from the sources, whose CHANGELOG.md says what is new.\n\n"
    " -- ${RK_PACKAGE_CONTACT}  ${date}\n")
execute_process(COMMAND gzip -9nf "${changelog}" COMMAND_ERROR_IS_FATAL ANY)

# rk_add_package(GROUP NAME SECTION SUMMARY text DESCRIPTION text COMPONENTS components...
#     [DEPENDS text] [RECOMMENDS text])
# A package of some components, and of what Debian wants beside them.
macro(rk_add_package group name section)
    cmake_parse_arguments(ARG "" "SUMMARY;DESCRIPTION;DEPENDS;RECOMMENDS" "COMPONENTS" ${ARGN})
    string(TOUPPER ${group} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${ARG_DEPENDS}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_RECOMMENDS "${ARG_RECOMMENDS}")
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_DESCRIPTION}")
    set(documents "${CMAKE_INSTALL_DATAROOTDIR}/doc/${name}")
    install(FILES "${PROJECT_SOURCE_DIR}/packaging/copyright" DESTINATION "${documents}"
        COMPONENT ${group}Documents EXCLUDE_FROM_ALL)
    install(FILES "${changelog}.gz" RENAME changelog.Debian.gz DESTINATION "${documents}"
        COMPONENT ${group}Documents EXCLUDE_FROM_ALL)
    set(overrides "${PROJECT_SOURCE_DIR}/packaging/lintian/${group}")
    if(EXISTS "${overrides}")
        install(FILES "${overrides}" RENAME ${name} COMPONENT ${group}Documents EXCLUDE_FROM_ALL
            DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides")
    endif()
    foreach(component IN ITEMS ${ARG_COMPONENTS} ${group}Documents)
        string(TOUPPER ${component} upper)
        set(CPACK_COMPONENT_${upper}_GROUP ${group})
        list(APPEND CPACK_COMPONENTS_ALL ${component})
    endforeach()
endmacro()

# Which package programs need that are linked to a library. The linker's cache follows by the trigger.
set(shlibs "")
foreach(name RKCore RKGeoLocation RKXML RKImageLoader RKImageLoaderAsync)
    string(APPEND shlibs "lib${name} ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} "
        "${library} (>= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE "${PROJECT_BINARY_DIR}/packages/shlibs" "${shlibs}")
file(WRITE "${PROJECT_BINARY_DIR}/packages/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    "${PROJECT_BINARY_DIR}/packages/shlibs" "${PROJECT_BINARY_DIR}/packages/triggers")

get_property(components GLOBAL PROPERTY RK_COMPONENTS)
set(CPACK_COMPONENTS_ALL "")
rk_add_package(Runtime ${library} libs COMPONENTS Core Async
    SUMMARY "library that loads pictures and videos of photo applications"
    DESCRIPTION "RKImageLoader opens, measures, converts and saves pictures, reads and\nwrites their metadata, and gives frames of videos."
    RECOMMENDS "qt6-image-formats-plugins, qt6-image-formats-rk")
rk_add_package(Headers librkimageloader-dev libdevel COMPONENTS Development
    SUMMARY "library that loads pictures and videos (headers)"
    DESCRIPTION "What programs that use RKImageLoader are built with."
    DEPENDS "${library} (= ${version}), qt6-base-dev")
if("Tool" IN_LIST components)
    rk_add_package(Program rkimage graphics COMPONENTS Tool
        SUMMARY "convert, measure and describe pictures and videos"
        DESCRIPTION "The command line tool of RKImageLoader. It converts and clips pictures,\nmakes thumbnails, saves frames of videos, and reads and changes metadata."
        DEPENDS "${library} (= ${version})")
endif()
if(RK_HAS_BROWSER)
    rk_add_package(Application rkimage-browser graphics COMPONENTS Browser
        SUMMARY "look through, rate and describe photographs and videos"
        DESCRIPTION "A window on folders of pictures and videos, for mouse and keyboard. It writes\nratings, keywords and texts into the files without touching their pixels."
        DEPENDS "${library} (= ${version})" RECOMMENDS "qt6-image-formats-plugins, qt6-image-formats-rk, qt6-qpa-plugins")
endif()
get_property(plugins GLOBAL PROPERTY RK_IMAGE_PLUGINS)
if(plugins)
    rk_add_package(ImageFormats qt6-image-formats-rk libs COMPONENTS Plugins
        SUMMARY "HEIC and JPEG 2000 for Qt 6"
        DESCRIPTION "Plug-ins that have any program with Qt 6 read these formats.")
endif()
include(CPack)
