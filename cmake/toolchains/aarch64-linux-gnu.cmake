# Cross build for 64-bit ARM Linux with Debian's aarch64-linux-gnu toolchain.
# Needs: g++-aarch64-linux-gnu, qemu-user, libcjson-dev:arm64,
# libgtest-dev:arm64, libgmock-dev:arm64 and the arm64 runtime libstdc++6:arm64
# (scripts/install-deps aarch64).
set(KORRIN_CROSS_TRIPLET aarch64-linux-gnu)
set(KORRIN_CROSS_PROCESSOR aarch64)
set(KORRIN_CROSS_QEMU qemu-aarch64)
# What `file` says about code for this target (checked by a test).
set(KORRIN_CROSS_FILE_PATTERN "ELF 64-bit LSB .*ARM aarch64")
include(${CMAKE_CURRENT_LIST_DIR}/debian-multiarch.cmake)
