# Two commands: `make run` (build, then dump the shipped sample) and `make test` (build, run every test).
BUILD ?= build
BUILD_TYPE ?= Release
CMAKE_FLAGS ?=
JOBS ?= $(shell nproc)

.PHONY: run test build setup sanitize clean

run: build
	$(BUILD)/tools/refcntr dump $(BUILD)/samples/grayscale-presentation-state.dcm

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

build: setup
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS) >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

# The whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize:
	$(MAKE) test BUILD=build-sanitize BUILD_TYPE=Debug CMAKE_FLAGS="-DREFCNTR_SANITIZE=ON -DREFCNTR_BUILD_BENCHMARKS=OFF"

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
	scripts/setup

clean:
	rm -rf build build-sanitize
