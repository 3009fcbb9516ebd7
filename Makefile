# Thin wrapper over the CMake presets. Every target installs the Debian
# packages it needs first (as root), or names them.

.PHONY: all example demo test asan tsan lint format clean fuzz-smoke memcheck soak

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

# The test suite of the dev build under valgrind memcheck: fails on any error
# or leak.
memcheck:
	scripts/install-deps build host memcheck
	cmake --preset dev
	cmake --build --preset dev
	scripts/memcheck build/dev

# Long runs in one process (optimised build): SOAK_CYCLES inventory sends and
# connect/configure/disconnect cycles, failing when the live heap changes.
SOAK_CYCLES ?= 10000
soak:
	scripts/install-deps build
	cmake --preset soak
	cmake --build --preset soak
	GLIBC_TUNABLES=glibc.malloc.tcache_count=0 build/soak/tests/soak/korrin-soak \
	    --cycles $(SOAK_CYCLES) --sends $(SOAK_CYCLES)

# Every libFuzzer target for FUZZ_SECONDS each (make fuzz-smoke FUZZ_SECONDS=600
# for a longer run); findings are saved under build/fuzz/artifacts.
FUZZ_SECONDS ?= 60
fuzz-smoke:
	scripts/install-deps build fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	scripts/fuzz-smoke $(FUZZ_SECONDS)

lint:
	scripts/install-deps build host lint
	cmake --preset dev
	scripts/lint

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
