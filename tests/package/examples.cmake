set(work "${BUILD_DIR}/package-test")
execute_process(COMMAND ${CMAKE_COMMAND} -S "${ROOT}/examples" -B "${work}/examples" -G Ninja
        "-DCMAKE_PREFIX_PATH=${work}/moved präfix" "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror"
    COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build "${work}/examples" COMMAND_ERROR_IS_FATAL ANY)
set(video "")
if(VIDEO)
    set(video "${ROOT}/tests/data/mp4/numbered.mp4")
endif()
execute_process(COMMAND python3 "${ROOT}/tests/package/examples_test.py" "${work}/examples"
        "${ROOT}/docs/example.jpg" "${work}/examples/files" ${video}
    COMMAND_ERROR_IS_FATAL ANY)
