# find_package(iocache) gives iocache::iocache, the library, and iocache::host, the reference host.
include(${CMAKE_CURRENT_LIST_DIR}/iocache-targets.cmake)
