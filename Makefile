# Two commands do all the set-up: `make demo` and `make test`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: deps configure build demo test test-fast test-asan usb-test bench faults fuzz memcheck package clean

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# Starts the program on the built-in emulated logger (no hardware needed).
demo: build
	@$(BUILD)/bin/hygrotab --demo

# Installs, builds and runs every test: the normal build, then the address and
# undefined-behaviour sanitizer build.
test: deps
	@bash scripts/test.sh

# The logger through the kernel's own FTDI driver: a Debian guest under QEMU
# with emulated FTDI bridges (built once, then kept in /var/cache).
usb-test: deps
	@bash scripts/usb-test.sh

test-fast: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# Every performance figure in one table, beside its target.
bench: build
	@bash scripts/bench.sh $(BUILD)

# The libFuzzer targets (clang), each run for FUZZ_SECONDS.
FUZZ_SECONDS ?= 600
fuzz: deps
	@bash scripts/fuzz.sh $(FUZZ_SECONDS)

# Every logger operation under every line fault; rewrites the table in
# docs/reliability.md.
faults: build
	@bash scripts/fault-matrix.sh $(BUILD)

# The core's tests under Valgrind's memcheck.
memcheck: build
	@bash scripts/memcheck.sh $(BUILD)

# The Debian package, stripped, with its dependencies worked out from the
# programs: build/hygrotab_VERSION_ARCH.deb.
package: build
	@cd $(BUILD) && cpack

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) build-fuzz
