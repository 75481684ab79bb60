cmake_minimum_required(VERSION 3.25)

set(work "${BUILD_DIR}/package-test")
# Where the prefix is must not matter, nor what it is called.
set(prefix "${work}/moved präfix")
file(REMOVE_RECURSE "${work}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${work}/installed"
    COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
file(RENAME "${work}/installed" "${prefix}")

file(GLOB_RECURSE plugins "${prefix}/*/libRK*Plugin*")
set(pictures "")
if(plugins MATCHES "RKHeifPlugin")
    list(APPEND pictures "${DATA_DIR}/heif/quadrants.heic")
endif()
if(plugins MATCHES "RKJpeg2000Plugin")
    list(APPEND pictures "${DATA_DIR}/jp2/rgb.jp2")
endif()

set(components Core Async)
if(EXISTS "${prefix}/bin/rkimage")
    list(APPEND components Tool)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${work}/build" -G Ninja
        "-DCMAKE_PREFIX_PATH=${prefix}" "-DCOMPONENTS=${components}" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build "${work}/build" COMMAND_ERROR_IS_FATAL ANY)
if(STATIC)
    # A part of the program, which finds the plug-ins relative to itself.
    file(COPY "${work}/build/consumer" DESTINATION "${prefix}/bin")
    execute_process(COMMAND "${prefix}/bin/consumer" ${pictures} COMMAND_ERROR_IS_FATAL ANY)
else()
    execute_process(COMMAND "${work}/build/consumer" ${pictures} COMMAND_ERROR_IS_FATAL ANY)
endif()
if(pictures AND Tool IN_LIST components)
    execute_process(COMMAND "${prefix}/bin/rkimage" info ${pictures} COMMAND_ERROR_IS_FATAL ANY
        OUTPUT_QUIET)
endif()

# What isn't there is said, instead of being found wrong later.
execute_process(COMMAND ${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${work}/missing" -G Ninja
        "-DCMAKE_PREFIX_PATH=${prefix}" -DCOMPONENTS=Missing
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE message)
if(result EQUAL 0 OR NOT message MATCHES "RKImageLoader")
    message(FATAL_ERROR "a component that doesn't exist was found: ${message}")
endif()

# The same host without CMake.
if(PKG_CONFIG)
    file(GLOB_RECURSE package "${prefix}/*/RKImageLoader.pc")
    cmake_path(GET package PARENT_PATH folder)
    # The shell takes the answer apart as it would in a makefile: the prefix has a blank.
    set(ENV{PKG_CONFIG_PATH} "${folder}")
    execute_process(COMMAND sh -c [[
            flags=$("$1" --cflags --libs RKImageLoader) &&
            eval "$2 -std=c++17 -fPIC $3/main.cpp -o $4 $flags"]]
            sh "${PKG_CONFIG}" "${COMPILER}" "'${SOURCE_DIR}'" "'${work}/by-pkg-config'"
        COMMAND_ERROR_IS_FATAL ANY)
endif()
