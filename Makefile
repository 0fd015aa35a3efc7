# Front end of the CMake build. `make demo` and `make test` are the two
# commands a new machine needs; both install missing packages and build first.
BUILD_DIR := build
PYTHON := /usr/bin/python3
JOBS := $(shell nproc)
MAKEFLAGS += --no-print-directory

.PHONY: deps build test demo bench clean

deps:
	@scripts/deps.sh

build: deps
	@cmake -S . -B $(BUILD_DIR) -DPython3_EXECUTABLE=$(PYTHON) --log-level=WARNING >/dev/null
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@cd $(BUILD_DIR) && ctest --output-on-failure --no-tests=ignore
	@$(PYTHON) -m pytest -q -p no:cacheprovider tests/integration
	@$(PYTHON) -m pytest -q -p no:cacheprovider tests/binding

demo: build
	@$(PYTHON) examples/demo.py

bench: build
	@echo "bench: no benchmarks yet: they come with the camera and image platforms" >&2; exit 1

clean:
	rm -rf $(BUILD_DIR)
