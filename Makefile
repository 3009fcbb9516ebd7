# Thin wrapper over the CMake presets. Every target installs the Debian
# packages it needs first (as root), or names them.

.PHONY: all example demo test asan tsan lint format clean bench bench-smoke bench-callgrind

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

# Instruction counts under callgrind for every size, and the targets.
bench-callgrind:
	scripts/install-deps build bench
	cmake --preset bench
	cmake --build --preset bench
	scripts/bench-callgrind --sizes 10,100,1000,10000,100000 --pending 1,10,100,1000 --check

lint:
	scripts/install-deps build host lint
	cmake --preset dev
	scripts/lint

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
