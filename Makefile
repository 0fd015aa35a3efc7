# Front end of the CMake build. `make demo` and `make test` are the two
# commands a new machine needs; both install missing packages and build first.
# BUILD_DIR lets several builds live side by side (make test BUILD_DIR=build-x).
BUILD_DIR := build
PYTHON := /usr/bin/python3
JOBS := $(shell nproc)
PYTEST := KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(PYTHON) -m pytest -q -p no:cacheprovider
MAKEFLAGS += --no-print-directory

.PHONY: deps build test test-asan test-bullseye fuzz demo bench clean

deps:
	@scripts/deps.sh

build: deps
	@cmake -S . -B $(BUILD_DIR) -DPython3_EXECUTABLE=$(PYTHON) --log-level=WARNING >/dev/null
	@cmake --build $(BUILD_DIR) -j $(JOBS)

# C++ tests first, then the module on the real platform, then the binding on
# the scripted one (one build per Python process), then pip installing the
# checkout into a venv (its CMake build kept in $(BUILD_DIR)/pip), then every
# code block of the guides in docs/ and the examples against the simulated
# camera, then the same again with the sanitizers, and the fuzzer.
test: build
	@cd $(BUILD_DIR) && ctest --output-on-failure --no-tests=ignore
	@$(PYTEST) $(wildcard tests/platform tests/integration)
	@$(PYTEST) tests/binding
	@$(PYTEST) tests/install
	@$(PYTEST) tests/docs
	@$(MAKE) test-asan
	@$(MAKE) test-bullseye

# The sanitizer suite: everything built with AddressSanitizer and
# UndefinedBehaviorSanitizer into its own directory; any report is fatal.
# Python itself is not instrumented, so the runtimes are preloaded; CPython's
# own allocations are not leak-checked.
ASAN_DIR := build-asan
SANITIZED := KYR_SANITIZED=1 KYR_BUILD_DIR=$(abspath $(ASAN_DIR)) \
	LD_PRELOAD="$$(gcc -print-file-name=libasan.so) $$(gcc -print-file-name=libubsan.so)" \
	ASAN_OPTIONS=detect_leaks=0:abort_on_error=1:allocator_may_return_null=1 \
	UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
# Calls per fuzzer run, on the scripted platform and against the simulated
# camera; FUZZ_SEED replays a run.
FUZZ_CALLS := 50000
FUZZ_REAL_CALLS := 5000
FUZZ := $(PYTHON) tests/fuzz/fuzz_module.py $(if $(FUZZ_SEED),--seed $(FUZZ_SEED))

test-asan: deps
	@cmake -S . -B $(ASAN_DIR) -DKYR_SANITIZE=ON -DPython3_EXECUTABLE=$(PYTHON) --log-level=WARNING >/dev/null
	@cmake --build $(ASAN_DIR) -j $(JOBS)
	@cd $(ASAN_DIR) && ctest --output-on-failure --no-tests=ignore
	@$(SANITIZED) $(PYTHON) -m pytest -q -p no:cacheprovider $(wildcard tests/platform tests/integration)
	@$(SANITIZED) $(PYTHON) -m pytest -q -p no:cacheprovider tests/binding
	@$(SANITIZED) $(FUZZ) --target scripted --calls $(FUZZ_CALLS)
	@$(SANITIZED) $(FUZZ) --target real --calls $(FUZZ_REAL_CALLS)

# The module built in a Debian 11 root (Python 3.9, glibc 2.31, its Aravis
# 0.8 and FFmpeg, no Qt 6) and its binding tests run there with its python3.
# The root is made once per machine in /var/cache/kyr-roots (needs root and
# the Debian mirror); the build goes to build-bullseye/.
test-bullseye: deps
	@scripts/roots/bullseye.sh . $(JOBS)

# The fuzzer alone on the plain build, for long runs: make fuzz FUZZ_CALLS=200000
fuzz: build
	@KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(FUZZ) --target scripted --calls $(FUZZ_CALLS)
	@KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(FUZZ) --target real --calls $(FUZZ_REAL_CALLS)

# The demo and the benchmarks discover cameras: as root they run in a network
# namespace of their own with only loopback (scripts/private_network.sh).
demo: build
	@scripts/private_network.sh demo env KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(PYTHON) examples/grab.py

bench: build
	@set -e; benches="$$(ls bench/bench_*.py 2>/dev/null || true)"; \
	if [ -z "$$benches" ]; then echo "bench: no benchmarks yet" >&2; exit 1; fi; \
	scripts/private_network.sh bench env KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) \
		sh -c 'set -e; for b in "$$@"; do $(PYTHON) "$$b"; done' sh $$benches

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) build-bullseye
