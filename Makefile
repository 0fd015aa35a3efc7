# Front end of the CMake build. `make demo` and `make test` are the two
# commands a new machine needs; both install missing packages and build first.
# BUILD_DIR lets several builds live side by side (make test BUILD_DIR=build-x).
BUILD_DIR := build
PYTHON := /usr/bin/python3
JOBS := $(shell nproc)
PYTEST := KYR_BUILD_DIR=$(abspath $(BUILD_DIR)) $(PYTHON) -m pytest -q -p no:cacheprovider
MAKEFLAGS += --no-print-directory

.PHONY: deps build test test-asan test-bullseye test-arm64 fuzz demo bench clean

deps:
	@scripts/deps.sh

build: deps
	@cmake -S . -B $(BUILD_DIR) -DPython3_EXECUTABLE=$(PYTHON) --log-level=WARNING >/dev/null
	@cmake --build $(BUILD_DIR) -j $(JOBS)

# C++ tests first, then the module on the real platform, then the binding on
# the scripted one (one build per Python process), then pip installing the
# checkout into a venv (its CMake build kept in $(BUILD_DIR)/pip), then every
# code block of the guides in docs/ and the examples against the simulated
# camera, then the same again with the sanitizers, and the fuzzer, then the
# Debian 11 build, then the arm64 build under qemu-user.
# $(call stage,name,command): runs the command and prints how long it took.
stage = start=$$(date +%s); $(2); status=$$?; echo "stage $(1): $$(($$(date +%s) - start)) s"; exit $$status

test: build
	@$(call stage,ctest,cd $(BUILD_DIR) && ctest --output-on-failure --no-tests=ignore)
	@$(call stage,integration,$(PYTEST) $(wildcard tests/platform tests/integration))
	@$(call stage,binding,$(PYTEST) tests/binding)
	@$(call stage,install,$(PYTEST) tests/install)
	@$(call stage,docs,$(PYTEST) tests/docs)
	@$(call stage,sanitizers,$(MAKE) test-asan)
	@$(call stage,debian 11,$(MAKE) test-bullseye)
	@$(call stage,arm64,$(MAKE) test-arm64)

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

# aarch64: the module and every platform library (real and scripted) cross-built
# with Debian's cross toolchain against an arm64 Debian 12 root, and run under
# qemu-user with the root as its library prefix: the camera GoogleTests, the
# binding tests, the image library tests (aarch64 takes the portable pixel
# code) and the integration suite, GUI and display included. The root is made
# once per machine outside the work tree (scripts/roots/arm64.sh) and remade
# when its package list changes. The simulated camera is the host's, as the
# emulator cannot start an arm64 program. Left to the host run: mypy's check of
# the examples and the simulated camera's own tests (no arm64 code in either),
# and the message-event test, which needs 200 frames/s without a lost frame, a
# pace the emulated receiver does not keep. Each stage prints its time.
ARM64_ROOT := /var/cache/kyr-roots/bookworm-arm64
ARM64_DIR := build-arm64
ARM64 := KYR_ARM64_ROOT=$(ARM64_ROOT) KYR_BUILD_DIR=$(abspath $(ARM64_DIR)) \
	KYR_SIM_CAMERA=$(abspath $(BUILD_DIR))/bin/kyr-sim-camera
ARM64_PYTEST := $(ARM64) scripts/roots/arm64-python -m pytest -q -p no:cacheprovider

test-arm64: build
	@$(call stage,arm64 root,scripts/roots/arm64.sh $(ARM64_ROOT))
	@$(call stage,arm64 build,cmake -S . -B $(ARM64_DIR) -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake \
		-DKYR_ARM64_ROOT=$(ARM64_ROOT) -DPython3_EXECUTABLE=$(PYTHON) --log-level=WARNING >/dev/null && \
		cmake --build $(ARM64_DIR) -j $(JOBS))
	@$(call stage,arm64 ctest,cd $(ARM64_DIR) && $(ARM64) ctest --output-on-failure --no-tests=ignore)
	@$(call stage,arm64 binding,$(ARM64_PYTEST) tests/binding \
		--deselect tests/binding/test_type_stubs.py::test_examples_type_check)
	@$(call stage,arm64 image,$(ARM64_PYTEST) tests/platform)
	@$(call stage,arm64 integration,$(ARM64_PYTEST) tests/integration \
		--ignore tests/integration/test_sim_camera_gvcp.py --ignore tests/integration/test_camera_message_events.py)

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
	rm -rf $(BUILD_DIR) $(ASAN_DIR) build-bullseye $(ARM64_DIR)
