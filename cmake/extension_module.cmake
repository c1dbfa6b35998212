# The extension module, once per process-inspection layer. The variants are linked from the same
# objects and differ in one source, python/inspection_<layer>.cpp.
file(GLOB layer_sources CONFIGURE_DEPENDS python/inspection_*.cpp)
file(GLOB module_sources CONFIGURE_DEPENDS python/*.cpp)
list(REMOVE_ITEM module_sources ${layer_sources})
keep_sources_of_this_platform(module_sources)

# The system's own interpreter: another one that stands first on PATH has other headers.
if(NOT DEFINED Python_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python_EXECUTABLE /usr/bin/python3)
endif()
find_package(Python 3.11 REQUIRED COMPONENTS Interpreter Development.Module)

add_library(module_objects OBJECT ${module_sources})
target_compile_options(module_objects PRIVATE ${strict_warnings})
target_link_libraries(module_objects PUBLIC core Python::Module)

foreach(source IN LISTS layer_sources)
  string(REGEX REPLACE ".*/inspection_([a-z]+)\\.cpp$" "\\1" layer ${source})
  if(layer STREQUAL "native")
    set(directory ${CMAKE_BINARY_DIR}/python)
  else()
    set(directory ${CMAKE_BINARY_DIR}/python-${layer})
  endif()
  Python_add_library(module-${layer} MODULE WITH_SOABI ${source})
  target_link_libraries(module-${layer} PRIVATE module_objects)
  if(STATIC_LIBRARIES)
    target_link_options(module-${layer} PRIVATE LINKER:--exclude-libs,ALL)
  endif()
  set_target_properties(module-${layer} PROPERTIES OUTPUT_NAME utility_manager
                                                   LIBRARY_OUTPUT_DIRECTORY ${directory}
                                                   DEFINE_SYMBOL "")
  configure_file(python/utility_manager-stubs/__init__.pyi ${directory}/utility_manager.pyi COPYONLY)
endforeach()
