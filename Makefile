# Thin wrapper over the CMake presets. Every target installs the Debian
# packages it needs first (as root), or names them.

.PHONY: all example demo test asan tsan lint format clean aarch64 armhf package consumer symbols docs

all: test

# The smallest host: installs a table and prints the records it receives.
example:
	scripts/install-deps build host
	cmake --preset dev
	cmake --build --preset dev --target korrin-minimal-host
	./build/dev/examples/korrin-minimal-host

# The reference host's demo: an embedded server on 127.0.0.1 serves the
# example documents and the example host configures the example accessories.
demo:
	scripts/install-deps build host
	cmake --preset dev
	cmake --build --preset dev --target korrin-host
	./build/dev/tools/korrin-host/korrin-host demo

test:
	scripts/install-deps build host
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev

asan:
	scripts/install-deps build host asan
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# The whole suite under ThreadSanitizer; the threaded configure-flow test is
# the one that drives host threads and a dispatcher thread together.
tsan:
	scripts/install-deps build host tsan
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

lint:
	scripts/install-deps build host lint
	cmake --preset dev
	scripts/lint

# Cross builds: the unit tests run under qemu-user.
aarch64:
	scripts/install-deps build aarch64
	cmake --preset aarch64
	cmake --build --preset aarch64
	ctest --preset aarch64

armhf:
	scripts/install-deps build armhf
	cmake --preset armhf
	cmake --build --preset armhf
	ctest --preset armhf

# Debian packages for amd64 and arm64, lintian, and the consumer built
# against each (the arm64 one cross-built and run under qemu-aarch64).
package:
	scripts/install-deps build aarch64 package
	cmake --preset package
	cmake --build --preset package
	cmake --preset aarch64
	cmake --build --preset aarch64 --target korrin
	scripts/package

# A host program built against the install tree (find_package and pkg-config).
consumer:
	scripts/install-deps build host
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev -L consumer

# The exported symbols against abi/exported-symbols.txt (scripts/update-symbols
# rewrites the list after a deliberate API change).
symbols:
	scripts/install-deps build
	cmake --preset package
	cmake --build --preset package --target korrin
	scripts/check-symbols build/package/src/libkorrin.so

# API reference in build/docs/html; fails on any doxygen warning.
docs:
	scripts/install-deps docs
	doxygen docs/Doxyfile

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
