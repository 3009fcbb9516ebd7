# Component "host" of the korrin CMake package: the imported target
# korrin::host (static libkorrin-host.a) and what it links.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
find_dependency(CURL)
include("${CMAKE_CURRENT_LIST_DIR}/korrin-host-targets.cmake")
