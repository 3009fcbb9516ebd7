# Thin wrapper over the CMake presets. Every target installs the Debian
# packages it needs first (as root), or names them.

.PHONY: all example demo test asan tsan lint layering warnings-clang format clean aarch64 armhf package consumer symbols docs
.PHONY: lib lib-check
.PHONY: bench bench-smoke bench-callgrind bench-aarch64
.PHONY: fuzz-smoke memcheck soak plan-scale web web-serve web-test

all: test

# The minimal host on the host kit: configures one headset from the example
# office document and prints what the library asks the device to do.
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

# The library alone, the product build: a C++ compiler, CMake, make,
# pkg-config and libcjson-dev are all it needs (no tests, tools or examples).
# Installs under PREFIX; DESTDIR=/some/stage stages the install instead.
PREFIX ?= /usr/local
JOBS ?= 2
lib:
	scripts/install-deps lib
	cmake --preset lib -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build --preset lib --parallel $(JOBS)
	DESTDIR=$(DESTDIR) cmake --install build/lib

# The lib preset from scratch: fails when it looks for anything beyond
# pkg-config and libcjson, builds more than the library, or installs or loads
# more than it should (build/lib-check).
lib-check:
	scripts/install-deps lib
	scripts/check-lib-build

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

# Benchmarks in an optimised build (build/bench): medians of repeated runs,
# then a table of the time per setting and the ratio to the JSON parse floor.
# BENCH_ARGS adds runner options, e.g. BENCH_ARGS=--benchmark_filter=Update.
BENCH_REPETITIONS ?= 5
BENCH_MIN_TIME ?= 0.2
BENCH_ARGS ?=
bench:
	scripts/install-deps build bench
	cmake --preset bench
	cmake --build --preset bench
	build/bench/bench/korrin-bench --benchmark_repetitions=$(BENCH_REPETITIONS) \
	  --benchmark_min_time=$(BENCH_MIN_TIME) --benchmark_report_aggregates_only=true \
	  --benchmark_out=build/bench/results.json --benchmark_out_format=json $(BENCH_ARGS)
	scripts/bench-report build/bench/results.json

# Every benchmark once, briefly, to show that each still runs and does its
# work; the figures mean nothing. Then the instruction-count targets
# (repeatable, unlike times) at 1,000 and 10,000 settings.
bench-smoke:
	scripts/install-deps build bench
	cmake --preset bench
	cmake --build --preset bench
	build/bench/bench/korrin-bench --benchmark_min_time=0.001 \
	  --benchmark_out=build/bench/smoke.json --benchmark_out_format=json
	scripts/bench-report build/bench/smoke.json
	scripts/bench-callgrind --sizes 1000,10000 --modes floor,update --check

# The benchmarks cross-built for arm64 and run once, briefly, under
# qemu-aarch64: a check that they build and work there. Figures from an
# emulator say nothing about a device, so none are printed.
bench-aarch64:
	scripts/install-deps build aarch64 bench-aarch64
	cmake --preset bench-aarch64
	cmake --build --preset bench-aarch64
	qemu-aarch64 -L / build/bench-aarch64/bench/korrin-bench --benchmark_min_time=0.001 \
	  --benchmark_out=build/bench-aarch64/smoke.json --benchmark_out_format=json >/dev/null
	scripts/bench-report --check-only build/bench-aarch64/smoke.json
	qemu-aarch64 -L / build/bench-aarch64/bench/korrin-bench-profile update 1000

# Instruction counts under callgrind for every size, and the targets.
bench-callgrind:
	scripts/install-deps build bench
	cmake --preset bench
	cmake --build --preset bench
	scripts/bench-callgrind --sizes 10,100,1000,10000,100000 --pending 1,10,100,1000 --check

# `korrin-host plan --summary` on a generated document of 100,000 settings
# for 3 accessories, in a Release build: wall time and peak memory, checked
# against 3 s and 400 MB.
plan-scale:
	scripts/install-deps build host scale
	scripts/plan-scale

# The document checker for the browser: libkorrin, cJSON (compiled from
# Debian's cjson source package) and the planning library in WebAssembly,
# and the static site around them in build/web.
web:
	scripts/install-deps build web
	scripts/fetch-cjson-source build/web-deps/cjson
	cmake --preset wasm
	cmake --build --preset wasm
	ctest --preset wasm -LE web-native
	scripts/web-assemble build/wasm build/web

# Serves build/web on 127.0.0.1 (WEB_PORT, default 8018) until interrupted.
WEB_PORT ?= 8018
web-serve:
	@test -f build/web/index.html || { echo "build/web is not built: run make web first" >&2; exit 1; }
	@echo "The document checker: http://127.0.0.1:$(WEB_PORT)/"
	python3 -m http.server --bind 127.0.0.1 --directory build/web $(WEB_PORT)

# The checker's plans against korrin-host's (native dev build) for every
# example and golden document, then the page in headless Chromium.
web-test: web
	scripts/install-deps build host
	cmake --preset dev
	cmake --build --preset dev --target korrin-host
	ctest --preset wasm
	/usr/bin/python3 tools/web/tests/browser_test.py build/web build/dev/tools/korrin-host/korrin-host

lint: layering
	scripts/install-deps build host lint
	cmake --preset dev
	scripts/lint

# The library, the host kit, the reference host and the examples built with
# clang (clang-14 comes with the fuzz group) and the strict warning list as
# errors; every other target builds them with g++.
warnings-clang:
	scripts/install-deps build host fuzz
	CXX=clang++-14 cmake -S . -B build/clang -G Ninja -DKORRIN_WERROR=ON \
	  -DKORRIN_BUILD_TESTS=OFF -DKORRIN_BUILD_TOOLS=ON -DKORRIN_BUILD_EXAMPLES=ON \
	  -DKORRIN_INSTALL=OFF
	cmake --build build/clang --parallel $(JOBS)

# Every include in src/ and include/korrin/ runs downwards: base/ below
# config/ and metrics/ (which never include each other), the task routing on top.
layering:
	scripts/check-layering

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
# against each (the arm64 one cross-built and run under qemu-aarch64). The
# arm64 host kit compiles against libcurl's arm64 packages unpacked into
# build/sysroot-arm64 (scripts/arm64-curl-sysroot).
package:
	scripts/install-deps build host aarch64 package
	scripts/arm64-curl-sysroot
	cmake --preset package
	cmake --build --preset package
	cmake --preset package-aarch64
	cmake --build --preset package-aarch64
	scripts/package

# A host program built against the install tree (find_package and pkg-config).
consumer:
	scripts/install-deps build host
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev -L consumer

# The exported symbols against abi/exported-symbols.txt (scripts/update-symbols
# rewrites the list after a deliberate API change), and no call of the
# library to its own exported functions left for the dynamic linker.
symbols:
	scripts/install-deps build
	cmake --preset package
	cmake --build --preset package --target korrin
	scripts/check-symbols build/package/src/libkorrin.so
	scripts/check-self-binding build/package/src/libkorrin.so

# API reference in build/docs/html; fails on any doxygen warning. The second
# run checks that every member of the host-facing headers is documented.
docs:
	scripts/install-deps docs
	doxygen docs/Doxyfile
	doxygen docs/Doxyfile.host

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
