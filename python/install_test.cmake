# Installs the build into a scratch prefix and imports the package from there with the
# PYTHONPATH the README gives, the xarray engine included.
# Usage: cmake -DBUILD_DIR=... -DPYTHON=... -DSITE=<relative site-packages> -P install_test.cmake
set(prefix ${BUILD_DIR}/python-install-test)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
    RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "install failed")
endif()
execute_process(
    COMMAND ${CMAKE_COMMAND} -E env PYTHONPATH=${prefix}/${SITE} ${PYTHON} -c
        "import orvik, os, xarray; assert orvik.__file__.startswith(os.environ['PYTHONPATH']); assert 'orvik' in xarray.backends.list_engines(); print(orvik.__file__)"
    WORKING_DIRECTORY ${prefix}
    RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "the installed package does not import")
endif()
