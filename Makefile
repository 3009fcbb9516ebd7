# Thin wrapper over the CMake presets. Every target installs the Debian
# packages it needs first (as root), or names them.

.PHONY: all example test asan tsan lint format clean

all: test

# The main job (until the reference host lands): build the library and run
# the minimal example host.
example:
	scripts/install-deps build
	cmake --preset dev
	cmake --build --preset dev --target korrin-minimal-host
	./build/dev/examples/korrin-minimal-host

test:
	scripts/install-deps build
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev

asan:
	scripts/install-deps build asan
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# The whole suite under ThreadSanitizer; the threaded configure-flow test is
# the one that drives host threads and a dispatcher thread together.
tsan:
	scripts/install-deps build tsan
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

lint:
	scripts/install-deps build lint
	cmake --preset dev
	scripts/lint

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
