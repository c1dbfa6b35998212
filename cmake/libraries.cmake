# The C libraries that the core calls.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(utf8proc IMPORTED_TARGET libutf8proc)
pkg_check_modules(uuid IMPORTED_TARGET uuid)
if(NOT utf8proc_FOUND OR NOT uuid_FOUND)
  message(FATAL_ERROR "The C libraries utf8proc and libuuid are needed, with their headers. "
                      "On Debian: apt install libutf8proc-dev uuid-dev")
endif()

if(STATIC_LIBRARIES)
  foreach(library utf8proc uuid)
    find_library(${library}_ARCHIVE lib${library}.a HINTS ${${library}_LIBRARY_DIRS} REQUIRED)
    set_target_properties(PkgConfig::${library} PROPERTIES
                          INTERFACE_LINK_LIBRARIES ${${library}_ARCHIVE})
  endforeach()
endif()
