# Front end of the CMake build. `make demo` and `make test` are the two
# commands a new machine needs; both install missing packages and build first.
# BUILD_DIR lets several builds live side by side (make test BUILD_DIR=build-x).
BUILD_DIR := build
PYTHON := /usr/bin/python3
JOBS := $(shell nproc)
PYTEST := KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(PYTHON) -m pytest -q -p no:cacheprovider
MAKEFLAGS += --no-print-directory

.PHONY: deps build test demo bench clean

deps:
	@scripts/deps.sh

build: deps
	@cmake -S . -B $(BUILD_DIR) -DPython3_EXECUTABLE=$(PYTHON) --log-level=WARNING >/dev/null
	@cmake --build $(BUILD_DIR) -j $(JOBS)

# C++ tests first, then the module on the real platform, then the binding on
# the scripted one (one build per Python process).
test: build
	@cd $(BUILD_DIR) && ctest --output-on-failure --no-tests=ignore
	@$(PYTEST) $(wildcard tests/platform tests/integration)
	@$(PYTEST) tests/binding

demo: build
	@KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(PYTHON) examples/grab.py

bench: build
	@set -e; benches="$$(ls bench/bench_*.py 2>/dev/null || true)"; \
	if [ -z "$$benches" ]; then echo "bench: no benchmarks yet" >&2; exit 1; fi; \
	for b in $$benches; do KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(PYTHON) $$b; done

clean:
	rm -rf $(BUILD_DIR)
