# Component "testing" of the korrin CMake package: the imported target
# korrin::testing (static libkorrin-testing.a).
include("${CMAKE_CURRENT_LIST_DIR}/korrin-testing-targets.cmake")
