# Shared part of the Debian cross toolchains. The including file sets
# KORRIN_CROSS_TRIPLET (the GNU triplet) and KORRIN_CROSS_PROCESSOR.
#
# Debian's cross compilers (g++-<triplet>) bring their own C and C++ runtime
# under /usr/<triplet>; the target's libraries (libcjson-dev:<arch>,
# libgtest-dev:<arch>, ...) are multiarch packages installed into the host's
# own /usr/lib/<triplet>. So the sysroot stays "/" and the triplet keeps the
# target's files apart from the build machine's.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${KORRIN_CROSS_PROCESSOR})

set(CMAKE_C_COMPILER ${KORRIN_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${KORRIN_CROSS_TRIPLET}-g++)

# find_package() and find_library() look in lib/<triplet> only, never in the
# build machine's lib/x86_64-linux-gnu.
set(CMAKE_LIBRARY_ARCHITECTURE ${KORRIN_CROSS_TRIPLET})

# pkg-config reads the target's .pc files only. Set in the environment of
# the CMake process, so every (re)configure sees it.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${KORRIN_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
unset(ENV{PKG_CONFIG_SYSROOT_DIR})

# Target programs (tests, test discovery) run under qemu-user. They load the
# target's own Debian runtime (libc6:<arch>, libstdc++6:<arch>, libcjson1:<arch>),
# which multiarch installs beside the build machine's, so the emulator looks
# up the dynamic loader and libraries from "/". (The cross compiler's copy
# under /usr/<triplet> is only for linking: its loader and the multiarch libc
# come from different glibc builds and must not be mixed in one process.)
find_program(KORRIN_QEMU ${KORRIN_CROSS_QEMU} REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${KORRIN_QEMU} -L /)
