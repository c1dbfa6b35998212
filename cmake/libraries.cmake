# The libraries that the core calls; the variable `utf8proc` names the target of the C library.
find_package(Threads REQUIRED)

if(WIN32)
  # Windows has no place for libraries: the sources are built along.
  set(UTF8PROC_SOURCES "" CACHE PATH "The folder of the sources of the C library utf8proc")
  if(NOT EXISTS ${UTF8PROC_SOURCES}/utf8proc.c)
    message(FATAL_ERROR "The sources of the C library utf8proc are needed in UTF8PROC_SOURCES. "
                        "On Debian: tools/setup windows")
  endif()
  enable_language(C)
  add_library(utf8proc STATIC ${UTF8PROC_SOURCES}/utf8proc.c)
  set_target_properties(utf8proc PROPERTIES COMPILE_WARNING_AS_ERROR OFF)
  target_compile_definitions(utf8proc PUBLIC UTF8PROC_STATIC)
  target_include_directories(utf8proc SYSTEM PUBLIC $<BUILD_INTERFACE:${UTF8PROC_SOURCES}>)
  set(utf8proc utf8proc)
  set(system_libraries bcrypt ntdll ws2_32)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(utf8proc IMPORTED_TARGET libutf8proc)
  if(NOT utf8proc_FOUND)
    message(FATAL_ERROR "The C library utf8proc is needed, with its headers. "
                        "On Debian: apt install libutf8proc-dev")
  endif()
  set(utf8proc PkgConfig::utf8proc)

  if(STATIC_LIBRARIES)
    find_library(utf8proc_archive libutf8proc.a HINTS ${utf8proc_LIBRARY_DIRS} REQUIRED)
    set_target_properties(${utf8proc} PROPERTIES INTERFACE_LINK_LIBRARIES ${utf8proc_archive})
  endif()
endif()
