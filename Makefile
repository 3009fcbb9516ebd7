# Thin wrapper over the CMake presets. Every target installs the Debian
# packages it needs first (as root), or names them.

.PHONY: all example test asan lint format clean fuzz-smoke memcheck

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

# The test suite of the dev build under valgrind memcheck: fails on any error
# or leak.
memcheck:
	scripts/install-deps build memcheck
	cmake --preset dev
	cmake --build --preset dev
	scripts/memcheck build/dev

# Every libFuzzer target for FUZZ_SECONDS each (make fuzz-smoke FUZZ_SECONDS=600
# for a longer run); findings are saved under build/fuzz/artifacts.
FUZZ_SECONDS ?= 60
fuzz-smoke:
	scripts/install-deps build fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	scripts/fuzz-smoke $(FUZZ_SECONDS)

lint:
	scripts/install-deps build lint
	cmake --preset dev
	scripts/lint

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
