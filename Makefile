# The two commands of the README: `make test` and `make demo`. Both install the
# Debian packages they need first (scripts/install-deps.sh), as `make preflight`
# does; `make deps` does that alone. No other target installs anything (the
# simulated board fetches Debian's kernel packages, and the ARM board's
# userland, into its cache, unpacked, not installed).
# SPDX-License-Identifier: MIT

BUILD_ROOT ?= build
TEST_BUILD := $(BUILD_ROOT)/test
RELEASE_BUILD := $(BUILD_ROOT)/release
BENCH_BUILD := $(BUILD_ROOT)/bench
ARM_BUILD := $(BUILD_ROOT)/armhf
# The ARM board's builds: the release tool for the demo, preflights and
# measurements, the sanitized one for the board scenarios.
ARM_RELEASE_BUILD := $(BUILD_ROOT)/armhf-release
ARM_TEST_BUILD := $(BUILD_ROOT)/armhf-test
ARM_TOOLCHAIN := -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake
JOBS ?= $(shell nproc)
# Kernels prepared for the simulated board, shared by the test and release builds.
BOARD_CACHE := $(abspath $(BUILD_ROOT))/board-cache

# The simulated board (board/) that the demo, preflights, board-test and
# board-measure boot: armhf, the board's own processor (Debian's armmp kernel
# in qemu-system-arm with the armhf tool), or amd64, a PC (Debian's amd64
# kernel with the native tool). `make test` runs the board scenarios on both,
# or only on BOARD_ARCH when it is given.
ifeq ($(origin BOARD_ARCH),undefined)
BOARD_ARCH := armhf
TEST_BOARDS ?= armhf amd64
else
TEST_BOARDS ?= $(BOARD_ARCH)
endif
ifeq ($(BOARD_ARCH),armhf)
BOARD_RELEASE_BUILD := $(ARM_RELEASE_BUILD)
BOARD_TOOLCHAIN := $(ARM_TOOLCHAIN)
else ifeq ($(BOARD_ARCH),amd64)
BOARD_RELEASE_BUILD := $(RELEASE_BUILD)
BOARD_TOOLCHAIN :=
else
$(error BOARD_ARCH=$(BOARD_ARCH): the simulated board is armhf or amd64)
endif
# The build whose board scenarios run on the board of that architecture.
board_test_build = $(if $(filter armhf,$(1)),$(ARM_TEST_BUILD),$(TEST_BUILD))

.PHONY: all deps build board-build test-build arm-test-build test unit-test arm arm-unit-test \
	board-test demo preflight bench fuzz clean

all: build

deps:
	@./scripts/install-deps.sh

# The tool as it goes onto a board.
FPU_INSTALL_MIREL ?= OFF
build:
	cmake -S . -B $(RELEASE_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFPU_BUILD_TESTS=OFF \
		-DFPU_BUILD_BOARD=OFF -DFPU_INSTALL_MIREL=$(FPU_INSTALL_MIREL)
	cmake --build $(RELEASE_BUILD) -j$(JOBS)

# The release build installed under PREFIX, or under DESTDIR$(PREFIX) for a
# staged install: make install DESTDIR=/tmp/x. FPU_INSTALL_MIREL=ON adds the
# development stand-in of libmirel.so.1.
PREFIX ?= /usr/local
install: build
	DESTDIR=$(DESTDIR) cmake --install $(RELEASE_BUILD) --prefix $(PREFIX)

# The Debian packages, amd64 and armhf, into $(BUILD_ROOT)/deb (scripts/build-deb.sh).
deb:
	./scripts/build-deb.sh

# The same build for the simulated board of BOARD_ARCH with what the board
# carries beside the tool: dftool, timerun and the sample pair, for the demo,
# preflights and the measurements (build/armhf-release, or build/release for
# the PC board).
board-build:
	cmake -S . -B $(BOARD_RELEASE_BUILD) $(BOARD_TOOLCHAIN) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DFPU_BUILD_TESTS=OFF -DFPU_BUILD_BOARD=ON -DFPU_BOARD_CACHE=$(BOARD_CACHE)
	cmake --build $(BOARD_RELEASE_BUILD) -j$(JOBS)

# Everything built with AddressSanitizer and UndefinedBehaviorSanitizer, with
# the PC board for its board scenarios.
test-build:
	cmake -S . -B $(TEST_BUILD) -DCMAKE_BUILD_TYPE=Debug -DFPU_SANITIZE=ON \
		-DFPU_BUILD_BOARD=ON -DFPU_BOARD_CACHE=$(BOARD_CACHE)
	cmake --build $(TEST_BUILD) -j$(JOBS)

unit-test: test-build
	ctest --test-dir $(TEST_BUILD) --output-on-failure -j$(JOBS) -LE board

# The board's 32-bit ARM build: the tool, libmirel.so.1 and the unit tests,
# built as the tool goes onto the board. What a board needs is installed,
# stripped and without the build tree's library path, under $(ARM_BUILD)/board.
# The tests run under user-mode QEMU, and without sanitizers: LeakSanitizer
# cannot stop the emulated process, and UBSan takes Thumb code addresses for
# misaligned references. The native test build keeps both.
arm:
	cmake -S . -B $(ARM_BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake \
		-DCMAKE_BUILD_TYPE=RelWithDebInfo -DFPU_INSTALL_MIREL=ON
	cmake --build $(ARM_BUILD) -j$(JOBS)
	cmake --install $(ARM_BUILD) --prefix $(abspath $(ARM_BUILD))/board --strip

arm-unit-test: arm
	ctest --test-dir $(ARM_BUILD) --output-on-failure -j$(JOBS) -LE board

# The ARM board's tool for the board scenarios, built like the native test
# build with AddressSanitizer and UndefinedBehaviorSanitizer, which run on the
# ARM kernel as they do natively: only what the board carries (the tool,
# firmpack-status, firmpack-check, dftool, timerun), the scenarios' stream
# checker and the fixtures, not the unit tests. Optimised (-O1), which halves
# the tool's runs under emulation.
arm-test-build:
	cmake -S . -B $(ARM_TEST_BUILD) $(ARM_TOOLCHAIN) -DCMAKE_BUILD_TYPE=Debug \
		"-DCMAKE_CXX_FLAGS_DEBUG=-g -O1" -DFPU_SANITIZE=ON -DFPU_BUILD_BOARD=ON \
		-DFPU_BOARD_CACHE=$(BOARD_CACHE)
	cmake --build $(ARM_TEST_BUILD) -j$(JOBS) \
		--target firmpack-update firmpack-status firmpack-check dftool timerun stream_summary \
		fpu_fixtures board_fixtures

# The scenarios (tests/board/) on the simulated boards of the architectures
# given: one QEMU boot each runs them all, then its summary (architecture,
# emulation, memory, time per scenario) is shown.
RUN_BOARDS = status=0; $(foreach arch,$(1),\
	ctest --test-dir $(call board_test_build,$(arch)) --output-on-failure -L board || status=1; \
	cat $(call board_test_build,$(arch))/tests/board/vm/summary.txt 2>/dev/null;) exit $$status

board-test: $(if $(filter armhf,$(BOARD_ARCH)),arm-test-build,test-build)
	@$(call RUN_BOARDS,$(BOARD_ARCH))

# Native unit tests, then the same tests on ARM, then the board scenarios on
# the ARM board and the PC board (TEST_BOARDS).
test: deps
	@$(MAKE) --no-print-directory unit-test
	@$(MAKE) --no-print-directory arm-unit-test
	@$(if $(filter armhf,$(TEST_BOARDS)),$(MAKE) --no-print-directory arm-test-build)
	@$(call RUN_BOARDS,$(TEST_BOARDS))

demo: deps
	@$(MAKE) --no-print-directory board-build
	@./scripts/demo.sh $(BOARD_RELEASE_BUILD)

# A pair of one's own on the simulated board, as the demo runs the sample pair:
#   make preflight OS=<fp_os.img> APP=<fp_app.img> [BOARD=<id>] [BASELINE=1]
#                  [FROM_OS=<fp_os.img> FROM_APP=<fp_app.img>] [KEYS=<keys.dtb>]
# (scripts/preflight.sh). The settings are checked before anything is built.
# The tool's exit status on the pair is its last line and in
# board-preflight/status of the build; make's own is 0 when that is 0, else 2
# (make has no other): run scripts/preflight.sh for the tool's status itself.
PREFLIGHT = OS='$(OS)' APP='$(APP)' BOARD='$(BOARD)' BASELINE='$(BASELINE)' \
	FROM_OS='$(FROM_OS)' FROM_APP='$(FROM_APP)' KEYS='$(KEYS)' ./scripts/preflight.sh
preflight:
	@$(PREFLIGHT) check
	@$(MAKE) --no-print-directory deps
	@$(MAKE) --no-print-directory board-build
	@$(PREFLIGHT) preflight $(BOARD_RELEASE_BUILD)

# The board VM's measurements (tests/board/measurements/) on the board of
# BOARD_ARCH with the tool as it goes onto a board, their own large firmpacks,
# which only this target builds, and the sample pair. The reports are shown on
# the console and kept in board-measure/report.txt of that build.
.PHONY: board-measure
board-measure: board-build
	cmake --build $(BOARD_RELEASE_BUILD) -j$(JOBS) --target board_measure_fixtures
	board/run-vm.sh measure $(BOARD_RELEASE_BUILD) $(BOARD_RELEASE_BUILD)/board-measure \
		tests/board $(BOARD_RELEASE_BUILD)/tests/board/measure-fixtures \
		$(BOARD_RELEASE_BUILD)/examples/pair

# Own checksums, digests and hash check against reference libraries, built as
# the tool is; prints the figures (medians of three runs) and their ratios.
BENCH_OPTIONS ?= --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
bench:
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFPU_BUILD_TESTS=OFF -DFPU_BUILD_BENCH=ON
	cmake --build $(BENCH_BUILD) -j$(JOBS) --target fpu_bench
	$(BENCH_BUILD)/bench/fpu_bench $(BENCH_OPTIONS)

# The fuzz targets (tests/fuzz/) under libFuzzer, built with clang into
# $(FUZZ_BUILD): SECONDS each (make fuzz SECONDS=600). The corpora they grow
# and whatever they find stay in $(FUZZ_BUILD).
FUZZ_BUILD := $(BUILD_ROOT)/fuzz
SECONDS ?= 60
fuzz:
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DFPU_FUZZ=ON -DFPU_BUILD_TESTS=OFF
	cmake --build $(FUZZ_BUILD) -j$(JOBS) --target fuzz_firmpack fuzz_cmdline fuzz_version
	scripts/fuzz.sh $(FUZZ_BUILD) $(SECONDS)

clean:
	rm -rf $(BUILD_ROOT)
