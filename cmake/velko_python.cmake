# Whether the Python package can be built: for a Python that has its headers, and not with
# sanitizers, whose run-time a Python that lacks them can't load.

set(Python_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The Python that the package is for")
set(VELKO_PYTHON_INSTALL_DIR lib/python3/dist-packages CACHE STRING "Where the Python package is installed to")
if(VELKO_BUILD_PYTHON)
  set(PYBIND11_FINDPYTHON ON)
  find_package(Python 3.9 COMPONENTS Interpreter Development.Module QUIET)
  find_package(pybind11 2.10 CONFIG QUIET)
  if(VELKO_SANITIZE OR NOT Python_Development.Module_FOUND OR NOT pybind11_FOUND)
    message(STATUS "The Python package is left out (it needs pybind11-dev, python3-dev, and no sanitizer)")
    set(VELKO_BUILD_PYTHON OFF)
  endif()
endif()
