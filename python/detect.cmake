# SPDX-License-Identifier: Apache-2.0
# What the Python package (python/) needs, looked for before the option
# FIBER_BUILD_PYTHON is defined so that it is on by default exactly when
# the dependencies are there: Debian's Python 3 (/usr/bin/python3, not
# another python3 earlier on PATH) with its development files, and pybind11.
# Sets FIBER_PYTHON_DEPS_FOUND.
if(NOT DEFINED Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "Python 3 interpreter the package is built for")
endif()
set(FIBER_PYTHON_DEPS_FOUND OFF)
find_package(Python3 3.11 QUIET COMPONENTS Interpreter Development.Module)
if(Python3_FOUND)
  find_package(pybind11 2.6 CONFIG QUIET)
  if(pybind11_FOUND)
    set(FIBER_PYTHON_DEPS_FOUND ON)
  endif()
endif()
