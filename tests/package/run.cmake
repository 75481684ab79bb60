set(work "${BUILD_DIR}/package-test")
file(REMOVE_RECURSE "${work}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${work}/prefix"
    COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
execute_process(COMMAND ${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${work}/build" -G Ninja
        "-DCMAKE_PREFIX_PATH=${work}/prefix" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build "${work}/build" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${work}/build/consumer" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${work}/prefix/bin/rkimage" formats COMMAND_ERROR_IS_FATAL ANY
    OUTPUT_VARIABLE formats)
file(GLOB_RECURSE heif "${work}/prefix/*/libRKHeifPlugin*")
if(heif AND NOT formats MATCHES "heic")
    message(FATAL_ERROR "rkimage doesn't find ${heif}:\n${formats}")
endif()
