# make demo   set everything up, write a scene file from C and read it back
# make test   set everything up, run the C tests and the Python tests
#
# Set-up installs only what is missing: Debian packages with apt-get (when
# run as root), a .venv with the Python tools, then an incremental build.

SHELL := /bin/bash
VENV ?= .venv
BUILD ?= build
PYTHON := $(VENV)/bin/python
CMAKE := $(VENV)/bin/cmake
APT_PACKAGES := g++ make pkg-config libhdf5-dev hdf5-tools libdeflate-dev
PY_PACKAGES := numpy h5py pytest cmake ninja scikit-build-core
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo
RUN_PY := PYTHONPATH=$(abspath $(BUILD))/binding:$(abspath python) $(abspath $(PYTHON))

.PHONY: demo test build deps venv asan wheel clean

demo: build
	$(BUILD)/examples/scene_roundtrip demo.h5
	$(RUN_PY) -m oxm demo.h5

test: build
	$(CMAKE) -E env CTEST_OUTPUT_ON_FAILURE=1 $(VENV)/bin/ctest --test-dir $(BUILD)
	$(RUN_PY) -m pytest -q tests

# Debian packages, installed when missing; Python's headers and venv module
# too when the interpreter lacks them.
deps:
	@missing=$$(for p in $(APT_PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || echo $$p; done); \
	python3 -c 'import sysconfig, os, sys, venv; sys.exit(not os.path.exists(os.path.join(sysconfig.get_paths()["include"], "Python.h")))' 2>/dev/null \
	  || missing="$$missing python3-dev python3-venv"; \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then \
	    echo "installing:$$missing"; \
	    apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $$missing >/dev/null; \
	  else echo "missing Debian packages:$$missing (install them, or run as root)"; exit 1; fi; \
	fi

venv: $(VENV)/.ready
$(VENV)/.ready: | deps
	python3 -m venv $(VENV)
	$(VENV)/bin/pip install -q --upgrade pip
	$(VENV)/bin/pip install -q $(PY_PACKAGES)
	touch $@

$(BUILD)/build.ninja: CMakeLists.txt $(VENV)/.ready
	$(CMAKE) -S . -B $(BUILD) -G Ninja -DCMAKE_MAKE_PROGRAM=$(abspath $(VENV))/bin/ninja \
	  -DSCNAPI_BUILD_PYTHON=ON -DPython3_EXECUTABLE=$(abspath $(PYTHON)) $(CMAKE_FLAGS)

build: deps $(BUILD)/build.ninja
	$(CMAKE) --build $(BUILD)

# The whole suite under AddressSanitizer and UBSan.
asan:
	$(MAKE) test BUILD=build-asan CMAKE_FLAGS="-DCMAKE_BUILD_TYPE=Debug -DSCNAPI_SANITIZE=ON" \
	  RUN_PY="ASAN_OPTIONS=detect_leaks=0 LD_PRELOAD=$$(g++ -print-file-name=libasan.so) PYTHONPATH=$(abspath build-asan)/binding:$(abspath python) $(abspath $(PYTHON))"

# The installable package (library, _oxm module, oxm package and command).
wheel: venv
	$(VENV)/bin/pip wheel --no-deps -w dist .

clean:
	rm -rf $(BUILD) build-asan dist demo.h5
