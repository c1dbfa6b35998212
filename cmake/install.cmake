# The program, and what an embedder gets: the headers that he may include, the library, and what
# finds them.
include(CMakePackageConfigHelpers)

set(public_headers
    catalogue/catalogue.h
    catalogue/icon_cache.h
    catalogue/icons.h
    catalogue/plugin_places.h
    catalogue/utility_info.h
    catalogue/utility_map.h
    failures.h
    forked_child.h
    host/device.h
    host/failures.h
    host/local.h
    host/organization.h
    host/plugin_register.h
    host/python_host.h
    host/services.h
    launch.h
    limits.h
    lock.h
    output.h
    platform/handle.h
    platform/process.h
    platform/process_handle.h
    platform/stream.h
    platform/temporary_file.h
    port_pool.h
    published.h
    server_info.h
    server_table.h
    spool.h
    start_marker.h
    stderr_buffer.h
    supervision/monitor_thread.h
    utility_manager.h
    values/json_read.h
    values/json_write.h
    values/value.h
    version.h
    views/running_entry.h)
list(TRANSFORM public_headers PREPEND ${PROJECT_SOURCE_DIR}/utility_manager/)
target_sources(core PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}
                                            FILES ${public_headers})
add_library(utility_manager::core ALIAS core)
set_target_properties(core PROPERTIES OUTPUT_NAME utility_manager)

install(TARGETS utility-manager)
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/utility_manager)
install(TARGETS core EXPORT utility_manager FILE_SET HEADERS)
if(WIN32)
  install(TARGETS utf8proc EXPORT utility_manager)
endif()
install(EXPORT utility_manager NAMESPACE utility_manager:: FILE utility_manager-targets.cmake
        DESTINATION ${package_directory})

configure_package_config_file(cmake/utility_manager-config.cmake.in utility_manager-config.cmake
                              INSTALL_DESTINATION ${package_directory})
write_basic_package_version_file(utility_manager-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/utility_manager-config.cmake
              ${PROJECT_BINARY_DIR}/utility_manager-config-version.cmake
        DESTINATION ${package_directory})

if(WIN32)
  return()
endif()
file(RELATIVE_PATH path_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/utility_manager.pc.in utility_manager.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/utility_manager.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
