# The libraries that the core calls.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(utf8proc IMPORTED_TARGET libutf8proc)
if(NOT utf8proc_FOUND)
  message(FATAL_ERROR "The C library utf8proc is needed, with its headers. "
                      "On Debian: apt install libutf8proc-dev")
endif()

if(STATIC_LIBRARIES)
  find_library(utf8proc_archive libutf8proc.a HINTS ${utf8proc_LIBRARY_DIRS} REQUIRED)
  set_target_properties(PkgConfig::utf8proc PROPERTIES INTERFACE_LINK_LIBRARIES ${utf8proc_archive})
endif()
