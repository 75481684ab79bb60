set(work "${BUILD_DIR}/package-test")
# Where the prefix is must not matter, nor what it is called.
set(prefix "${work}/moved präfix")
file(REMOVE_RECURSE "${work}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${work}/installed"
    COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
file(RENAME "${work}/installed" "${prefix}")
execute_process(COMMAND ${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${work}/build" -G Ninja
        "-DCMAKE_PREFIX_PATH=${prefix}" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build "${work}/build" COMMAND_ERROR_IS_FATAL ANY)

file(GLOB_RECURSE plugins "${prefix}/*/libRK*Plugin*")
set(pictures "")
if(plugins MATCHES "RKHeifPlugin")
    list(APPEND pictures "${DATA_DIR}/heif/quadrants.heic")
endif()
if(plugins MATCHES "RKJpeg2000Plugin")
    list(APPEND pictures "${DATA_DIR}/jp2/rgb.jp2")
endif()
execute_process(COMMAND "${work}/build/consumer" ${pictures} COMMAND_ERROR_IS_FATAL ANY)
if(pictures)
    execute_process(COMMAND "${prefix}/bin/rkimage" info ${pictures} COMMAND_ERROR_IS_FATAL ANY
        OUTPUT_QUIET)
endif()
