# What an installation holds: libraries, public headers, the command, the CMake package
# (iocache::iocache, iocache::host) and the pkg-config files.
include(CMakePackageConfigHelpers)

set(iocache_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/iocache)

install(TARGETS iocache iocache_host
    EXPORT iocache_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET iocache_tool)
    install(TARGETS iocache_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(FILES iocache/iocache.h host/iocache_host.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/iocache)

install(EXPORT iocache_targets
    NAMESPACE iocache::
    FILE iocache-targets.cmake
    DESTINATION ${iocache_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/iocache-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES cmake/iocache-config.cmake ${PROJECT_BINARY_DIR}/iocache-config-version.cmake
    DESTINATION ${iocache_cmake_dir})

foreach(name iocache iocache_host)
    configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
