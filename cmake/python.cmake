# For tests that load the libraries into the building machine's Python.
#
#   vamel_python_works        whether it can load them
#   vamel_python_environment  the environment that it needs: the package, the library that has just
#                             been built, and with a sanitizer that sanitizer's own library first
find_package(Python3 COMPONENTS Interpreter)
set(vamel_python_works ${Python3_FOUND})
set(vamel_python_environment
  PYTHONPATH=${PROJECT_SOURCE_DIR}/bindings/python
  PYTHONDONTWRITEBYTECODE=1
  PYTHONIOENCODING=utf-8
  VAMEL_LIBRARY=$<TARGET_FILE:vamel>)
if(CMAKE_CROSSCOMPILING)
  set(vamel_python_works OFF)
elseif("address" IN_LIST VAMEL_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The sanitizer looks for the exceptions of C++ when it starts, and the interpreter has none.
  foreach(runtime asan stdc++)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=lib${runtime}.so
      OUTPUT_VARIABLE vamel_${runtime} OUTPUT_STRIP_TRAILING_WHITESPACE)
  endforeach()
  # What the interpreter itself leaves behind at its end is none of ours.
  list(APPEND vamel_python_environment LD_PRELOAD=${vamel_asan}:${vamel_stdc++}
    ASAN_OPTIONS=detect_leaks=0)
elseif(VAMEL_SANITIZE)
  set(vamel_python_works OFF)
endif()
