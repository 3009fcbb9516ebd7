# Install rules: headers, the shared library with its SONAME links, the CMake
# package (find_package(korrin CONFIG) -> korrin::korrin) and korrin.pc.
#
# Components: "runtime" is what a device needs (libkorrin.so.1 and the file
# it points to); "development" is what a host build needs (headers, the
# libkorrin.so link, CMake and pkg-config files). The Debian packages
# libkorrin1 and libkorrin-dev are made from these two components.
include(CMakePackageConfigHelpers)

# Empty means beside the library: <libdir>/cmake/korrin and <libdir>/pkgconfig,
# worked out on every configure, since libdir follows the prefix (a multiarch
# directory under /usr, "lib" elsewhere).
set(KORRIN_INSTALL_CMAKEDIR ""
    CACHE STRING "Where the CMake package files go, relative to the prefix (empty: <libdir>/cmake/korrin)")
set(KORRIN_INSTALL_PKGCONFIGDIR ""
    CACHE STRING "Where korrin.pc goes, relative to the prefix (empty: <libdir>/pkgconfig)")
if(NOT KORRIN_INSTALL_CMAKEDIR)
  set(KORRIN_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/korrin")
endif()
if(NOT KORRIN_INSTALL_PKGCONFIGDIR)
  set(KORRIN_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endif()

# Debian policy: shared libraries are not executable.
install(TARGETS korrin
  EXPORT korrin-targets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
    COMPONENT runtime
    NAMELINK_COMPONENT development)

install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/korrin"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  COMPONENT development
  FILES_MATCHING PATTERN "*.h")

# cJSON is a private dependency of the shared library: consumers link only
# libkorrin, so the exported target carries no reference to it.
install(EXPORT korrin-targets
  NAMESPACE korrin::
  DESTINATION "${KORRIN_INSTALL_CMAKEDIR}"
  COMPONENT development)

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/korrin-config.cmake.in"
  "${PROJECT_BINARY_DIR}/korrin-config.cmake"
  INSTALL_DESTINATION "${KORRIN_INSTALL_CMAKEDIR}"
  NO_SET_AND_CHECK_MACRO
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# The library keeps its binary interface within one major version (the SONAME).
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/korrin-config-version.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/korrin-config.cmake"
    "${PROJECT_BINARY_DIR}/korrin-config-version.cmake"
  DESTINATION "${KORRIN_INSTALL_CMAKEDIR}"
  COMPONENT development)

# korrin.pc names absolute directories, so it is written when installing,
# from the prefix actually used (`cmake --install --prefix` may change it).
# Directories given relative (the usual case) are placed under ${prefix}.
foreach(kind IN ITEMS LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(KORRIN_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(KORRIN_PC_${kind} "\\\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
install(CODE "
  set(KORRIN_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(KORRIN_PC_LIBDIR \"${KORRIN_PC_LIBDIR}\")
  set(KORRIN_PC_INCLUDEDIR \"${KORRIN_PC_INCLUDEDIR}\")
  set(KORRIN_PC_VERSION \"${PROJECT_VERSION}\")
  set(KORRIN_PC_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/cmake/korrin.pc.in\"
                 \"${PROJECT_BINARY_DIR}/pkgconfig/korrin.pc\" @ONLY)
" COMPONENT development)
install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/korrin.pc"
  DESTINATION "${KORRIN_INSTALL_PKGCONFIGDIR}"
  COMPONENT development)

# korrin_install_pkgconfig(NAME COMPONENT): writes cmake/NAME.pc.in at install
# time, like korrin.pc above, and installs it with COMPONENT.
function(korrin_install_pkgconfig name component)
  install(CODE "
    set(KORRIN_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    set(KORRIN_PC_LIBDIR \"${KORRIN_PC_LIBDIR}\")
    set(KORRIN_PC_INCLUDEDIR \"${KORRIN_PC_INCLUDEDIR}\")
    set(KORRIN_PC_VERSION \"${PROJECT_VERSION}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in\"
                   \"${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc\" @ONLY)
  " COMPONENT ${component})
  install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc"
    DESTINATION "${KORRIN_INSTALL_PKGCONFIGDIR}"
    COMPONENT ${component})
endfunction()
