# Finds what the Python module needs: a Python 3 interpreter with its development files,
# and pybind11. Sets LUMOX_PYTHON_FOUND. An interpreter given as Python3_EXECUTABLE is
# taken as it is; otherwise the first python3 on the PATH that imports NumPy is chosen,
# then /usr/bin/python3, so that a Python without NumPy (a user's own build) does not
# win over the system's one merely by coming first on the PATH.
if(NOT Python3_EXECUTABLE)
  string(REPLACE ":" ";" _lumox_path "$ENV{PATH}")
  foreach(_dir IN LISTS _lumox_path ITEMS /usr/bin)
    if(EXISTS "${_dir}/python3")
      execute_process(COMMAND "${_dir}/python3" -c "import numpy"
        RESULT_VARIABLE _lumox_rc OUTPUT_QUIET ERROR_QUIET)
      if(_lumox_rc EQUAL 0)
        set(Python3_EXECUTABLE "${_dir}/python3" CACHE FILEPATH "The Python interpreter of the module")
        break()
      endif()
    endif()
  endforeach()
endif()
find_package(Python3 3.8 COMPONENTS Interpreter Development.Module QUIET)
if(Python3_FOUND)
  find_package(pybind11 2.6 CONFIG QUIET)
endif()
if(Python3_FOUND AND pybind11_FOUND)
  set(LUMOX_PYTHON_FOUND TRUE)
else()
  set(LUMOX_PYTHON_FOUND FALSE)
endif()
