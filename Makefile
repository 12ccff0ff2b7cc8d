# What people type. The build itself is CMake's: see CMakePresets.json.
SHELL := /bin/bash
MODEL ?= models/vanto.xml
ARGS ?=
# One compiler a processor, and no more than fit into memory at a gigabyte each.
JOBS ?= $(shell awk -v cpus="$$(nproc)" '/^MemAvailable/ { fit = int($$2 / 1048576); \
  if (fit < 1) fit = 1; print (fit < cpus) ? fit : cpus }' /proc/meminfo)
CMAKE_ARGS ?=
BENCH_ARGS ?=
CTEST_ARGS ?=
TARGETS ?= tests_all

.PHONY: help run build python test test-asan test-tsan torture bench instructions coverage faults format clean \
  deps python-deps test-deps bench-deps
.NOTPARALLEL:
.DEFAULT_GOAL := help

help:
	@echo "make run       build what is missing and start the robot here; Ctrl-C stops it"
	@echo "               make run MODEL=models/lirae.xml ARGS='--listen 127.0.0.1:0'"
	@echo "make build     the same without starting: build/bin, build/lib/tavro"
	@echo "make python    the Python package, in build/python"
	@echo "make test      build everything and run every test"
	@echo "make test-asan the tests under the address and undefined-behaviour sanitizers"
	@echo "make fuzz      hostile input, a minute a target; FUZZ_ARGS='--inputs 1000000' for the long run"
	@echo "make test-tsan the tests that race under the thread sanitizer (clang)"
	@echo "make torture   everything that takes long, hours in all; ONLY=soak runs one step, see docs/reliability.md"
	@echo "make coverage  which lines the tests run"
	@echo "make faults    seeds faults one at a time; each must be noticed"
	@echo "make bench     the speed tables"
	@echo "make instructions  instructions of five paths beside those of an earlier commit, BASE="
	@echo "make format    clang-format every source file in place"
	@echo "make clean     remove every build folder"

deps:
	@tools/install-deps run

python-deps:
	@tools/install-deps python

test-deps:
	@tools/install-deps test

bench-deps:
	@tools/install-deps bench

# Configures once; from then on Ninja notices by itself when CMake files change.
build/build.ninja build-asan/build.ninja build-tsan/build.ninja build-coverage/build.ninja: | deps
	@cmake --preset $(if $(findstring -,$(@D)),$(subst build-,,$(@D)),release) $(CMAKE_ARGS)

build: deps build/build.ninja
	@cmake --build build -j $(JOBS) --target robot

run: build
	@exec build/bin/tavro --model $(MODEL) $(ARGS)

python: python-deps build/build.ninja
	@cmake --build build -j $(JOBS) --target python

test: test-deps build/build.ninja
	@cmake --build build -j $(JOBS)
	@ctest --test-dir build --output-on-failure -j $(JOBS)

# A leak, a misuse or a race ends the test that has it.
test-asan: export ASAN_OPTIONS = detect_leaks=1:strict_string_checks=1
test-asan: export UBSAN_OPTIONS = print_stacktrace=1
test-asan: test-deps build-asan/build.ninja
	@cmake --build build-asan -j $(JOBS) --target $(TARGETS)
	@ctest --test-dir build-asan --output-on-failure -j $(JOBS) -LE source $(CTEST_ARGS)

test-tsan: export TSAN_OPTIONS = halt_on_error=1:second_deadlock_stack=1
test-tsan: test-deps build-tsan/build.ninja
	@cmake --build build-tsan -j $(JOBS) --target tests_tsan
	@ctest --test-dir build-tsan --output-on-failure -j $(JOBS) -L tsan $(CTEST_ARGS)

# New hostile input; what it finds ends the run, see fuzz/README.md.
FUZZ_ARGS ?=
.PHONY: fuzz
build-fuzz/build.ninja: | deps
	@cmake --preset fuzz $(CMAKE_ARGS)
fuzz: test-deps build-fuzz/build.ninja
	@cmake --build build-fuzz -j $(JOBS) --target fuzzers
	@python3 fuzz/run.py build-fuzz $(FUZZ_ARGS)

# What takes too long for every day, step by step: make torture ONLY=soak,fuzz; RESUME=1 leaves out
# what passed at this commit with the same settings.
ONLY ?=
RESUME ?=
torture: bench-deps
	@JOBS=$(JOBS) python3 tests/torture.py --only '$(ONLY)' $(if $(filter-out 0,$(RESUME)),--resume)

# The tests once more, counting lines; then faults, one at a time.
coverage: test-deps build-coverage/build.ninja
	@cmake --build build-coverage -j $(JOBS) --target tests_all
	@/usr/bin/python3 tests/coverage.py build-coverage --jobs $(JOBS)

faults: test-deps
	@python3 tests/faults/seed.py build-faults --jobs $(JOBS)

bench: bench-deps build/build.ninja
	@cmake --build build -j $(JOBS) --target benchmarks
	@/usr/bin/python3 bench/scales.py build $(BENCH_ARGS)

# Since the commit that bench/base names, unless another is named.
BASE ?= $(shell cat bench/base)
instructions: bench-deps build/build.ninja
	@bench/compare-builds $(BASE)

format: test-deps
	@git ls-files '*.h' '*.cpp' | xargs clang-format-14 -i

clean:
	rm -rf build build-*/
