# Thin wrapper over the CMake presets. Every target installs the Debian
# packages it needs first (as root), or names them.

.PHONY: all example demo test asan tsan lint format clean

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

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
