# Where Qt looks for plug-ins, relative to the prefix: Qt's own folder where the prefix is Qt's.
set(RK_QT_PLUGIN_DIR "${QT6_INSTALL_PLUGINS}" CACHE STRING "Folder for Qt plug-ins")

# rk_add_image_plugin(NAME FOUND condition CODEC name LINK targets... TAKEN_BY words... SOURCES files...)
# Builds RKNAMEPlugin from RKNAMEPlugin.h and the sources, unless the codec is missing or, with AUTO,
# Qt has a plug-in for the format already, whose file name contains one of the words. Programs with
# rk_use_image_plugins find it in the build tree; others link RKNAMEStaticPlugin and import it with
# Q_IMPORT_PLUGIN. RKNAMEReader has the code without the plug-in. With PLUGIN_SOURCES and CODEC_ENTRY,
# the plug-in consists of the former and loads a module RKNAMECodec with the code later.
function(rk_add_image_plugin name)
    cmake_parse_arguments(ARG "" "FOUND;CODEC;CODEC_ENTRY" "LINK;TAKEN_BY;SOURCES;PLUGIN_SOURCES" ${ARGN})
    string(TOUPPER ${name} upper)
    set(option RK_BUILD_${upper}_PLUGIN)
    set(${option} AUTO CACHE STRING "Build the ${name} plug-in for Qt: ON, OFF, or AUTO for where Qt has none")
    set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
    if(${option} STREQUAL "AUTO")
        foreach(word IN LISTS ARG_TAKEN_BY)
            file(GLOB present "${QT6_INSTALL_PREFIX}/${QT6_INSTALL_PLUGINS}/imageformats/*${word}*")
            # One that was installed from here doesn't count.
            list(FILTER present EXCLUDE REGEX "RK${name}Plugin")
            if(present)
                message(STATUS "${name} plug-in: not built, Qt has ${present}")
                return()
            endif()
        endforeach()
    elseif(NOT ${option})
        return()
    endif()
    if(NOT ARG_FOUND)
        message(STATUS "${name} plug-in: not built, ${ARG_CODEC} is missing")
        return()
    endif()

    add_library(RK${name}Reader STATIC ${ARG_SOURCES})
    target_include_directories(RK${name}Reader PUBLIC "${PROJECT_SOURCE_DIR}/plugins")
    target_link_libraries(RK${name}Reader PUBLIC Qt6::Gui PRIVATE ${ARG_LINK} rk_options)
    set_target_properties(RK${name}Reader PROPERTIES POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

    add_library(RK${name}Plugin MODULE RK${name}Plugin.cpp RK${name}Plugin.h)
    add_library(RK${name}StaticPlugin STATIC EXCLUDE_FROM_ALL RK${name}Plugin.cpp RK${name}Plugin.h)
    target_compile_definitions(RK${name}StaticPlugin PRIVATE QT_STATICPLUGIN)
    if(ARG_CODEC_ENTRY)
        set(codecs rkcodecs)
        target_sources(RK${name}Plugin PRIVATE ${ARG_PLUGIN_SOURCES})
        target_include_directories(RK${name}Plugin PRIVATE "${PROJECT_SOURCE_DIR}/plugins")
        target_compile_definitions(RK${name}Plugin PRIVATE "RK_CODECS=\"${codecs}\"")
        target_link_libraries(RK${name}Plugin PRIVATE Qt6::Gui rk_options ${CMAKE_DL_LIBS})
        add_library(RK${name}Codec MODULE ${ARG_CODEC_ENTRY})
        target_link_libraries(RK${name}Codec PRIVATE RK${name}Reader rk_options)
        set_target_properties(RK${name}Codec PROPERTIES PREFIX ""
            CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
            LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin/${codecs}")
        add_dependencies(RK${name}Plugin RK${name}Codec)
        install(TARGETS RK${name}Codec LIBRARY DESTINATION "${RK_QT_PLUGIN_DIR}/${codecs}" COMPONENT Plugins)
    else()
        target_link_libraries(RK${name}Plugin PRIVATE RK${name}Reader rk_options)
    endif()
    target_link_libraries(RK${name}StaticPlugin PUBLIC RK${name}Reader PRIVATE rk_options)
    set_target_properties(RK${name}Plugin RK${name}StaticPlugin PROPERTIES AUTOMOC ON
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    set_target_properties(RK${name}Plugin PROPERTIES
        LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin/imageformats")
    set_property(GLOBAL APPEND PROPERTY RK_IMAGE_PLUGINS RK${name}Plugin)
    install(TARGETS RK${name}Plugin LIBRARY DESTINATION "${RK_QT_PLUGIN_DIR}/imageformats" COMPONENT Plugins)
endfunction()

# rk_use_image_plugins(TARGET)
# Has a program find the plug-ins of the build tree: Qt looks beside the program, too.
function(rk_use_image_plugins target)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
    get_property(plugins GLOBAL PROPERTY RK_IMAGE_PLUGINS)
    if(plugins)
        add_dependencies(${target} ${plugins})
    endif()
endfunction()
