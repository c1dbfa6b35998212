# Thin doors to the presets and scripts; each installs what it needs first.
INSPECTION ?= native
MODULE = $(if $(filter native,$(INSPECTION)),python,python-$(INSPECTION))
NEEDS = build
STUDIO ?= PYTHONPATH=build/python:studio /usr/bin/python3 -m velmora_studio

.DEFAULT_GOAL := build
.PHONY: run console test test-windows build bench deb format lint sanitize clean

# Builds everything and runs the small Studio, with STUDIO_OPTIONS such as --no-token.
run: NEEDS = run
run: build
	$(STUDIO) $(STUDIO_OPTIONS)

# Takes a round through the manager in the terminal, without a browser.
console: build
	PYTHONPATH=build/python:studio /usr/bin/python3 -m console

# Builds and runs all tests.
test:
	tools/test

# The C++ tests on Windows, as Wine plays it.
test-windows:
	tools/test-windows

# Leaves the importable module in build/python; INSPECTION=psutil or none: in build/python-<it>.
build:
	$(if $(filter native psutil none,$(INSPECTION)),,$(error INSPECTION is native, psutil or none))
	tools/setup $(NEEDS)
	cmake --preset release
	cmake --build --preset release --target module-$(INSPECTION) utility-manager
	ln -sfn release/$(MODULE) build/$(MODULE)

# Leaves the Debian packages in build/deb.
deb:
	tools/deb

bench:
	tools/bench

format:
	tools/format

lint:
	tools/format --check
	tools/check-layout
	tools/lint

# The tests under the address, undefined-behaviour and thread sanitizers, and the Clang build.
sanitize:
	tools/sanitize

clean:
	rm -rf build
