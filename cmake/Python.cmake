# The Python package as a Debian package. Installations into other places have pip, which knows where
# packages belong there, so what is here is packaged only.
find_package(Python3 COMPONENTS Interpreter)
if(NOT Python3_FOUND)
  return()
endif()

set(python_dir ${PROJECT_SOURCE_DIR}/python)
set(python_info ${CMAKE_BINARY_DIR}/python)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${python_dir}/pyproject.toml ${python_dir}/README.md ${python_dir}/backend/tivar_backend.py)
file(MAKE_DIRECTORY ${python_info})
execute_process(
  COMMAND ${Python3_EXECUTABLE} -B -c
    "import sys, tivar_backend; tivar_backend.prepare_metadata_for_build_wheel(sys.argv[1])"
    ${python_info}
  WORKING_DIRECTORY ${python_dir}/backend
  COMMAND_ERROR_IS_FATAL ANY)

set(packages_dir lib/python3/dist-packages)
install(DIRECTORY ${python_dir}/tivar DESTINATION ${packages_dir}
  COMPONENT python3-tivar EXCLUDE_FROM_ALL
  FILES_MATCHING PATTERN "*.py" PATTERN py.typed PATTERN __pycache__ EXCLUDE)
install(FILES ${python_info}/tivar-${PROJECT_VERSION}.dist-info/METADATA
  DESTINATION ${packages_dir}/tivar-${PROJECT_VERSION}.dist-info
  COMPONENT python3-tivar EXCLUDE_FROM_ALL)
