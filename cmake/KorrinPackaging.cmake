# Debian packages made by CPack from the install components:
#   libkorrin1     runtime: libkorrin.so.1 and libkorrin.so.1.<minor>.<patch>
#   libkorrin-dev  headers, the libkorrin.so link, CMake and pkg-config files,
#                  the changelog and the integration guide
#   libkorrin-host-dev  the host kit korrin::host (static library, headers,
#                  CMake component "host", korrin-host.pc); depends on libcurl,
#                  which the library's own packages do not
#   libkorrin-testing-dev  the test doubles korrin::testing (static library,
#                  headers, CMake component "testing", korrin-testing.pc)
# Configure with CMAKE_INSTALL_PREFIX=/usr (presets "package", "aarch64",
# "armhf"), build, then run `cpack -G DEB` in the build directory.

option(KORRIN_INSTALL_DEBIAN_DOCS
       "Install the copyright and changelog files under share/doc/<package>" OFF)
set(KORRIN_DEB_RELEASE "1" CACHE STRING "Debian revision of the packages")
set(KORRIN_DEB_MAINTAINER "korrin developers <korrin-dev@example.com>"
    CACHE STRING "Maintainer field of the Debian packages")

set(KORRIN_DEB_RUNTIME_PACKAGE "libkorrin${PROJECT_VERSION_MAJOR}")
set(KORRIN_DEB_DEV_PACKAGE "libkorrin-dev")
set(KORRIN_DEB_HOST_PACKAGE "libkorrin-host-dev")
set(KORRIN_DEB_TESTING_PACKAGE "libkorrin-testing-dev")
set(KORRIN_DEB_VERSION "${PROJECT_VERSION}-${KORRIN_DEB_RELEASE}")

# The Debian architecture of the target, which is not the build machine's
# when cross-compiling.
if(CMAKE_LIBRARY_ARCHITECTURE)
  execute_process(
    COMMAND dpkg-architecture -t${CMAKE_LIBRARY_ARCHITECTURE} -qDEB_HOST_ARCH
    OUTPUT_VARIABLE KORRIN_DEB_ARCH OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
endif()
if(NOT KORRIN_DEB_ARCH)
  execute_process(COMMAND dpkg --print-architecture
    OUTPUT_VARIABLE KORRIN_DEB_ARCH OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()

# Debian policy wants copyright and changelog.Debian.gz (maximum compression,
# no time stamp) in every package's own documentation directory.
if(KORRIN_INSTALL_DEBIAN_DOCS)
  configure_file("${PROJECT_SOURCE_DIR}/packaging/debian/changelog.in"
                 "${PROJECT_BINARY_DIR}/debian/changelog.Debian" @ONLY)
  execute_process(
    COMMAND gzip -9 -n -c "${PROJECT_BINARY_DIR}/debian/changelog.Debian"
    OUTPUT_FILE "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz"
    RESULT_VARIABLE gzip_result)
  if(NOT gzip_result EQUAL 0)
    message(FATAL_ERROR "gzip failed on the Debian changelog")
  endif()
  set(korrin_doc_pairs "runtime:${KORRIN_DEB_RUNTIME_PACKAGE}"
                       "development:${KORRIN_DEB_DEV_PACKAGE}")
  get_property(korrin_host_kit_complete GLOBAL PROPERTY KORRIN_HOST_KIT_COMPLETE)
  if(korrin_host_kit_complete)
    list(APPEND korrin_doc_pairs "host:${KORRIN_DEB_HOST_PACKAGE}")
  endif()
  if(TARGET korrin_testing_kit AND KORRIN_BUILD_TESTING_KIT)
    list(APPEND korrin_doc_pairs "testing:${KORRIN_DEB_TESTING_PACKAGE}")
  endif()
  foreach(pair IN LISTS korrin_doc_pairs)
    string(REPLACE ":" ";" pair "${pair}")
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES
        "${PROJECT_SOURCE_DIR}/packaging/debian/copyright"
        "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}"
      PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
      COMPONENT ${component})
  endforeach()
endif()

# libkorrin-dev also carries what a host developer reads: the release notes
# (CHANGELOG.md, as Debian's upstream changelog.gz) and the integration guide,
# compressed as policy asks of larger documents.
if(KORRIN_INSTALL_DEBIAN_DOCS)
  foreach(pair IN ITEMS "CHANGELOG.md:changelog.gz" "docs/integrating.md:integrating.md.gz")
    string(REPLACE ":" ";" pair "${pair}")
    list(GET pair 0 source)
    list(GET pair 1 target)
    execute_process(
      COMMAND gzip -9 -n -c "${PROJECT_SOURCE_DIR}/${source}"
      OUTPUT_FILE "${PROJECT_BINARY_DIR}/debian/${target}"
      RESULT_VARIABLE gzip_result)
    if(NOT gzip_result EQUAL 0)
      message(FATAL_ERROR "gzip failed on ${source}")
    endif()
    install(FILES "${PROJECT_BINARY_DIR}/debian/${target}"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${KORRIN_DEB_DEV_PACKAGE}"
      PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
      COMPONENT development)
  endforeach()
  set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
               "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/docs/integrating.md")
else()
  install(FILES "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/docs/integrating.md"
    DESTINATION "${CMAKE_INSTALL_DOCDIR}"
    COMPONENT development)
endif()

set(CPACK_GENERATOR "DEB")
set(CPACK_PACKAGE_NAME "korrin")
set(CPACK_PACKAGE_VENDOR "The korrin authors")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "${KORRIN_DEB_MAINTAINER}")
# Each package's description below starts with its own synopsis line; an
# empty summary keeps CPack from putting the project's one in front of it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
# Install with DESTDIR, so that install-time code (korrin.pc) sees the real
# prefix rather than CPack's staging directory.
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_COMPONENTS_ALL runtime development)
get_property(korrin_host_kit_complete GLOBAL PROPERTY KORRIN_HOST_KIT_COMPLETE)
if(korrin_host_kit_complete)
  list(APPEND CPACK_COMPONENTS_ALL host)
endif()
if(TARGET korrin_testing_kit AND KORRIN_BUILD_TESTING_KIT)
  list(APPEND CPACK_COMPONENTS_ALL testing)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_DEBIAN_PACKAGE_RELEASE "${KORRIN_DEB_RELEASE}")
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${KORRIN_DEB_ARCH}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KORRIN_DEB_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")
set(CPACK_DEBIAN_PACKAGE_SOURCE "korrin")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${KORRIN_DEB_RUNTIME_PACKAGE}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION "libs")
# Depends from dpkg-shlibdeps; a shlibs file so that packages linking
# libkorrin.so.1 get "libkorrin1 (>= version)".
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# dpkg runs ldconfig once through libc's trigger; CPack's own postinst and
# postrm would call it directly, which current Debian policy replaces.
configure_file("${PROJECT_SOURCE_DIR}/packaging/debian/libkorrin1.triggers"
               "${PROJECT_BINARY_DIR}/debian/runtime/triggers" COPYONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/runtime/triggers")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"accessory configuration and inventory library
libkorrin is loaded by a host application on a Linux device with headsets
and cameras attached. Through six interfaces the host implements, it fetches
the accessory configuration document, decides settings and firmware per
accessory, hands those decisions back to the host and posts an inventory
document.
.
This package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME "${KORRIN_DEB_DEV_PACKAGE}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION "libdevel")
# korrin.pc names libcjson in Requires.private, which pkg-config resolves
# even for --cflags.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${KORRIN_DEB_RUNTIME_PACKAGE} (= ${KORRIN_DEB_VERSION}), libcjson-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"accessory configuration and inventory library - development files
libkorrin is loaded by a host application on a Linux device with headsets
and cameras attached. Through six interfaces the host implements, it fetches
the accessory configuration document, decides settings and firmware per
accessory, hands those decisions back to the host and posts an inventory
document.
.
This package contains the headers, the CMake package (korrin::korrin) and
the pkg-config file (korrin).")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME "${KORRIN_DEB_HOST_PACKAGE}")
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION "libdevel")
# A static library: what it links (libcurl, the library itself) must be there
# when the host program is linked.
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS
    "${KORRIN_DEB_DEV_PACKAGE} (= ${KORRIN_DEB_VERSION}), libcurl4-openssl-dev | libcurl-dev")
set(CPACK_COMPONENT_HOST_DESCRIPTION
"accessory configuration and inventory library - host kit
libkorrin is loaded by a host application on a Linux device with headsets
and cameras attached. Through six interfaces the host implements, it fetches
the accessory configuration document, decides settings and firmware per
accessory, hands those decisions back to the host and posts an inventory
document.
.
This package contains korrin::host, ready-made host components: a task
dispatcher thread that follows the task contract, a lock factory on the
standard library, a network on libcurl (http, https, tftp, file) and log
sinks for standard error and syslog. Static library, headers, the CMake
package component \"host\" and the pkg-config file (korrin-host).")

set(CPACK_DEBIAN_TESTING_PACKAGE_NAME "${KORRIN_DEB_TESTING_PACKAGE}")
set(CPACK_DEBIAN_TESTING_PACKAGE_SECTION "libdevel")
set(CPACK_DEBIAN_TESTING_PACKAGE_DEPENDS "${KORRIN_DEB_DEV_PACKAGE} (= ${KORRIN_DEB_VERSION})")
set(CPACK_COMPONENT_TESTING_DESCRIPTION
"accessory configuration and inventory library - test doubles
libkorrin is loaded by a host application on a Linux device with headsets
and cameras attached. Through six interfaces the host implements, it fetches
the accessory configuration document, decides settings and firmware per
accessory, hands those decisions back to the host and posts an inventory
document.
.
This package contains korrin::testing, recording fakes of every host
interface and a fake accessory for the unit tests of host code: one ordered
call log, scripted answers, a dispatcher the test drives by hand, lock
misuse detection, fault arming and live-object counters. It works with any
test framework. Static library, headers, the CMake package component
\"testing\" and the pkg-config file (korrin-testing).")

include(CPack)
