# The extension module, once per process-inspection layer. The variants are linked from the same
# objects and differ in one source, python/inspection_<layer>.cpp.
file(GLOB layer_sources CONFIGURE_DEPENDS python/inspection_*.cpp)
file(GLOB pybind11_sources CONFIGURE_DEPENDS
     python/bind_*.cpp python/arguments.cpp python/client_process.cpp python/module.cpp)
file(GLOB module_sources CONFIGURE_DEPENDS python/*.cpp)
list(REMOVE_ITEM module_sources ${layer_sources} ${pybind11_sources})

# The system's own interpreter: another one that stands first on PATH has other headers.
if(NOT DEFINED Python_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python_EXECUTABLE /usr/bin/python3)
endif()
find_package(Python 3.11 REQUIRED COMPONENTS Interpreter Development.Module)
find_package(pybind11 2.10 REQUIRED)

add_library(module_objects OBJECT ${module_sources})
target_link_libraries(module_objects PUBLIC core pybind11::module)
target_precompile_headers(module_objects PRIVATE <nlohmann/json.hpp> <pybind11/cast.h>)

# Each unit that includes pybind11.h pays two seconds for it, so those that do share two units.
list(LENGTH pybind11_sources count)
math(EXPR half "(${count} + 1) / 2")
add_library(binding_objects OBJECT ${pybind11_sources})
target_link_libraries(binding_objects PUBLIC core pybind11::module)
target_precompile_headers(binding_objects REUSE_FROM module_objects)
set_target_properties(binding_objects PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${half})

foreach(source IN LISTS layer_sources)
  string(REGEX REPLACE ".*/inspection_([a-z]+)\\.cpp$" "\\1" layer ${source})
  if(layer STREQUAL "native")
    set(directory ${CMAKE_BINARY_DIR}/python)
  else()
    set(directory ${CMAKE_BINARY_DIR}/python-${layer})
  endif()
  add_library(module-${layer} MODULE ${source})
  target_link_libraries(module-${layer} PRIVATE module_objects binding_objects)
  target_precompile_headers(module-${layer} REUSE_FROM module_objects)
  set_target_properties(module-${layer} PROPERTIES OUTPUT_NAME utility_manager
                                                   LIBRARY_OUTPUT_DIRECTORY ${directory}
                                                   DEFINE_SYMBOL "")
  pybind11_extension(module-${layer})
  configure_file(python/utility_manager.pyi ${directory}/utility_manager.pyi COPYONLY)
endforeach()
