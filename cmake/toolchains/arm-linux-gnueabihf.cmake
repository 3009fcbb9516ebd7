# Cross build for 32-bit ARM hard-float Linux with Debian's
# arm-linux-gnueabihf toolchain. Needs: g++-arm-linux-gnueabihf, qemu-user,
# libcjson-dev:armhf, libgtest-dev:armhf, libgmock-dev:armhf, libstdc++6:armhf
# (scripts/install-deps armhf).
set(KORRIN_CROSS_TRIPLET arm-linux-gnueabihf)
set(KORRIN_CROSS_PROCESSOR arm)
set(KORRIN_CROSS_QEMU qemu-arm)
# What `file` says about code for this target (checked by a test).
set(KORRIN_CROSS_FILE_PATTERN "ELF 32-bit LSB .*ARM, EABI5")
include(${CMAKE_CURRENT_LIST_DIR}/debian-multiarch.cmake)
# GCC notes wherever a std::vector iterator is passed by value that its
# calling convention changed in GCC 7.1; every object here comes from one
# compiler, so the note is noise in the build log.
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-psabi")
