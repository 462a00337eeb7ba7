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
APT_PACKAGES := g++ make pkg-config libhdf5-dev hdf5-tools clang-14 libclang-rt-14-dev
PY_PACKAGES := numpy h5py pytest cmake ninja scikit-build-core
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo
RUN_PY := PYTHONPATH=$(abspath $(BUILD))/binding:$(abspath python) $(abspath $(PYTHON))

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

.PHONY: demo test build deps venv asan wheel clean fuzz fuzz-build fuzz-smoke

demo: build
	$(BUILD)/examples/scene_roundtrip demo.h5
	$(RUN_PY) -m oxm demo.h5

test: build
	$(CMAKE) -E env CTEST_OUTPUT_ON_FAILURE=1 $(VENV)/bin/ctest --test-dir $(BUILD)
	$(RUN_PY) -m pytest -q tests
	@if [ "$(FUZZ_SMOKE)" = yes ]; then $(MAKE) --no-print-directory fuzz-smoke; fi

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
	$(MAKE) test BUILD=build-asan FUZZ_SMOKE=no CMAKE_FLAGS="-DCMAKE_BUILD_TYPE=Debug -DSCNAPI_SANITIZE=ON" \
	  RUN_PY="ASAN_OPTIONS=detect_leaks=0 LD_PRELOAD=$$(g++ -print-file-name=libasan.so) PYTHONPATH=$(abspath build-asan)/binding:$(abspath python) $(abspath $(PYTHON))"

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

# The installable package (library, _oxm module, oxm package and command).
wheel: venv
	$(VENV)/bin/pip wheel --no-deps -w dist .

clean:
	rm -rf $(BUILD) build-asan $(FUZZ_BUILD) dist demo.h5
