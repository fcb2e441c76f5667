# The two commands of the README: `make test` and `make demo`. Both install the
# Debian packages they need first.

BUILD_ROOT ?= build
TEST_BUILD := $(BUILD_ROOT)/test
RELEASE_BUILD := $(BUILD_ROOT)/release
BENCH_BUILD := $(BUILD_ROOT)/bench
JOBS ?= $(shell nproc)

.PHONY: all deps build test unit-test demo bench clean

all: build

deps:
	@./scripts/install-deps.sh

# The tool as it goes onto a board.
build: deps
	cmake -S . -B $(RELEASE_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFPU_BUILD_TESTS=OFF
	cmake --build $(RELEASE_BUILD) -j$(JOBS)

# Everything built with AddressSanitizer and UndefinedBehaviorSanitizer.
unit-test: deps
	cmake -S . -B $(TEST_BUILD) -DCMAKE_BUILD_TYPE=Debug -DFPU_SANITIZE=ON
	cmake --build $(TEST_BUILD) -j$(JOBS)
	ctest --test-dir $(TEST_BUILD) --output-on-failure -j$(JOBS)

test: unit-test

demo: build
	@./scripts/demo.sh $(RELEASE_BUILD)

# Own checksums, digests and hash check against reference libraries, built as
# the tool is; prints the figures (medians of three runs) and their ratios.
BENCH_OPTIONS ?= --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
bench: deps
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFPU_BUILD_TESTS=OFF -DFPU_BUILD_BENCH=ON
	cmake --build $(BENCH_BUILD) -j$(JOBS) --target fpu_bench
	$(BENCH_BUILD)/bench/fpu_bench $(BENCH_OPTIONS)

clean:
	rm -rf $(BUILD_ROOT)
