# Two commands: `make run` (build, then dump the shipped sample) and `make test` (build, run every test).
BUILD ?= build
BUILD_TYPE ?= Release
CMAKE_FLAGS ?=
JOBS ?= $(shell nproc)
SETUP_OPTIONS ?=
SANITIZE_BUILD ?= build-sanitize
SANITIZE_FLAGS ?=
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_FLAGS = -DCMAKE_CXX_COMPILER=clang++ -DREFCNTR_FUZZ=ON

.PHONY: run test build setup sanitize fuzz sanitize-fuzz memcheck coverage bench clean

run: build
	$(BUILD)/tools/refcntr dump $(BUILD)/samples/grayscale-presentation-state.dcm

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

build: setup
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS) >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

# What refcntr costs on presentation states of 10 to 10,000 annotations against DCMTK, each
# measurement in a fresh process, BENCH_ROUNDS rounds (5) alternating the two sides.
BENCH_ROUNDS ?= 5
bench: build
	$(BUILD)/bench/road_benchmark --rounds $(BENCH_ROUNDS)

# The whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize:
	LSAN_OPTIONS=suppressions=$(CURDIR)/scripts/dcmtk-leaks.lsan $(MAKE) test BUILD=$(SANITIZE_BUILD) BUILD_TYPE=Debug CMAKE_FLAGS="-DREFCNTR_SANITIZE=ON -DREFCNTR_BUILD_BENCHMARKS=OFF $(SANITIZE_FLAGS)"

# Every libFuzzer target for FUZZ_SECONDS seconds, built with clang (sanitizers on) in FUZZ_BUILD.
fuzz:
	$(MAKE) build BUILD=$(FUZZ_BUILD) BUILD_TYPE=Debug SETUP_OPTIONS=fuzz \
	  CMAKE_FLAGS="-DREFCNTR_SANITIZE=ON -DREFCNTR_BUILD_BENCHMARKS=OFF $(FUZZ_FLAGS)"
	fuzz/run-fuzzers $(FUZZ_BUILD) $(FUZZ_SECONDS)

# `make sanitize` and `make fuzz` from one clang build: the sanitized tests, then the fuzzers.
sanitize-fuzz:
	$(MAKE) sanitize SANITIZE_BUILD=$(FUZZ_BUILD) SETUP_OPTIONS=fuzz SANITIZE_FLAGS="$(FUZZ_FLAGS)"
	$(MAKE) fuzz

# Line and branch coverage of the tests, for the hand-written code and the generated containers
# apart (scripts/coverage), from a Debug build with gcov's counters in COVERAGE_BUILD.
COVERAGE_BUILD ?= build-coverage
coverage:
	$(MAKE) build BUILD=$(COVERAGE_BUILD) BUILD_TYPE=Debug SETUP_OPTIONS=coverage \
	  CMAKE_FLAGS="-DREFCNTR_COVERAGE=ON -DREFCNTR_BUILD_BENCHMARKS=OFF"
	find $(COVERAGE_BUILD) -name '*.gcda' -delete
	ctest --test-dir $(COVERAGE_BUILD) -j $(JOBS) >/dev/null || ctest --test-dir $(COVERAGE_BUILD) --rerun-failed --output-on-failure
	scripts/coverage $(COVERAGE_BUILD)

# The in-process test programs under valgrind (scripts/memcheck says which): any memory error
# or leak fails.
memcheck:
	$(MAKE) build SETUP_OPTIONS=memcheck
	scripts/memcheck $(BUILD)

# API documentation of the public headers, generated ones included, in $(BUILD)/docs/html.
.PHONY: docs
docs:
	scripts/setup docs
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS) >/dev/null
	cmake --build $(BUILD) --target refcntr_generated
	mkdir -p $(BUILD)/docs
	REFCNTR_SOURCE=$(CURDIR) REFCNTR_BUILD=$(abspath $(BUILD)) doxygen docs/Doxyfile
	@echo "API documentation: $(BUILD)/docs/html/index.html (Doxygen's warnings: $(BUILD)/docs/warnings.log)"

setup:
	scripts/setup $(SETUP_OPTIONS)

clean:
	rm -rf build build-sanitize build-fuzz build-coverage
