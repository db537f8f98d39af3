# The thin front: every target installs what it lacks, builds what it needs and does its work.
#
#   make run [SIGNAL=file] [ARGS="--snr 60"] [OUT=folder]        the filter study of a recording
#   make words [SIGNAL=file] [ARGS="--snr 60 --out words.hex"]   its word length study
#   make tour                                                    first steps with arrays of the host
#   make test                                                    all tests
#   make python                                                  the Python package, in build/python-env
#   make witness [WITNESS_SECONDS=3600] [SEED=random]            compares with a build of a fixed commit
#   make soak [SECONDS=60] [SEED=random]                         random cases beside exact models
#   make hardware [HARDWARE_CASES=200000] [SEED=random]          compares with simulated hardware, word by word
#   make faults [FAULTS_ARGS="--only files"]                     every allocation of every operation fails once
#   make docs                                                    the site of all documents, build/docs/html/index.html
#   make bench, format, tidy, sanitize, threads, fuzz, coverage, install [PREFIX=/usr/local], clean

SIGNAL ?= /usr/share/sounds/alsa/Front_Center.wav
ARGS ?=
OUT ?= build/filter_study
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60
WITNESS_SECONDS ?= 20
HARDWARE_CASES ?= 200000
SECONDS ?= 60
FAULTS_ARGS ?=
SEED ?= 1
JOBS := $(shell nproc)
SOURCES = $(shell git ls-files '*.h' '*.cpp')

asksForHelp = $(filter --help -h,$(ARGS))
define runHelp
make run [SIGNAL=recording] [OUT=folder] [ARGS="options"]

Builds filter_study and type_report, runs filter_study on the recording, which writes to the folder,
and lets type_report describe the filter that was chosen. ARGS are options of filter_study:

endef
define wordsHelp
make words [SIGNAL=recording] [ARGS="options"]

Builds word_length_study and runs it on the recording. ARGS are its options:

endef
export runHelp wordsHelp

.PHONY: run words tour test python witness soak hardware faults bench format format-check tidy sanitize threads fuzz \
        coverage install docs clean

run:
	@tools/install-deps build run
	@tools/build release filter_study type_report
ifneq ($(asksForHelp),)
	@echo "$$runHelp"
	@build/release/examples/filter_study --help
else
	@build/release/examples/filter_study "$(SIGNAL)" --out "$(OUT)" $(ARGS)
	@[ ! -e "$(OUT)/coefficients.h" ] || { echo; build/release/examples/type_report "$(OUT)/coefficients.h"; }
endif

words:
	@tools/install-deps build run
	@tools/build release word_length_study
ifneq ($(asksForHelp),)
	@echo "$$wordsHelp"
	@build/release/examples/word_length_study --help
else
	@build/release/examples/word_length_study "$(SIGNAL)" $(ARGS)
endif

tour:
	@tools/install-deps build run
	@tools/build release first_steps indexing_tour front_tour
	@build/release/examples/first_steps
	@echo
	@build/release/examples/indexing_tour
	@echo
	@build/release/examples/front_tour

test:
	@tools/install-deps build test
	@tools/build dev
	@ctest --test-dir build/dev --output-on-failure --progress -j $(JOBS)

python:
	@tools/install-deps build python
	@[ -e build/package ] || echo "Building the Python package (the first time takes a few minutes) ..."
	@[ -e build/python-env ] || /usr/bin/python3 -m venv --system-site-packages build/python-env
	@build/python-env/bin/pip install --quiet --no-build-isolation --no-index --no-deps .
	@echo "build/python-env/bin/python has the package: import tolvane"

witness:
	@tools/install-deps build test
	@tools/witness $(WITNESS_SECONDS) $(SEED)

soak:
	@tools/install-deps build test
	@tools/build dev soak tolvane_host_parts
	@build/dev/tests/soak/soak --seconds $(SECONDS) --seed $(SEED)

hardware:
	@tools/install-deps build test hardware
	@tools/build dev hardware_vectors
	@tests/hardware/run build/dev/tests/hardware/hardware_vectors build/hardware $(HARDWARE_CASES) $(SEED)

faults:
	@tools/install-deps build test
	@tools/build dev
	@tests/faults/run build/dev $(FAULTS_ARGS)

bench:
	@tools/install-deps build bench
	@tools/build bench
	@for bench in build/bench/benchmarks/*_bench; do $$bench $(ARGS) || exit 1; done
	@echo "The Python package beside numpy: make python, then build/python-env/bin/python benchmarks/python_bench.py"

format:
	@tools/install-deps check
	@clang-format -i $(SOURCES)

format-check:
	@tools/install-deps check
	@clang-format --dry-run --Werror $(SOURCES)

tidy:
	@tools/install-deps build test check bench
	@tools/tidy $(ARGS)

# Clang 14 guesses where a library's thread-local memory lies, from what stands before it, and its leak check has read
# nonsense there. What the loader allocates counts as reachable without the guess.
sanitize fuzz: export ASAN_OPTIONS := intercept_tls_get_addr=0:$(ASAN_OPTIONS)
sanitize:
	@tools/install-deps build test check
	@tools/build sanitize
	@ctest --test-dir build/sanitize --output-on-failure --progress -j $(JOBS)
	@tools/fuzz build/sanitize/fuzz 5

threads: export TSAN_OPTIONS := suppressions=$(CURDIR)/tests/threads/suppressions $(TSAN_OPTIONS)
threads:
	@tools/install-deps build test check
	@tools/build threads threads_test
	@build/threads/tests/threads_test

fuzz:
	@tools/install-deps build test check
	@tools/build sanitize
	@tools/fuzz build/sanitize/fuzz $(FUZZ_SECONDS)

coverage:
	@tools/install-deps build test
	@tools/build coverage
	@ctest --test-dir build/coverage --output-on-failure --progress -j $(JOBS)
	@tools/coverage-report build/coverage

docs:
	@tools/install-deps build test docs
	@tools/build dev host_reference tolvane_python
	@tools/docs build/dev/docs/site/host_reference build/dev/python

install:
	@tools/install-deps build
	@tools/build release tolvane tolvane_front
	@cmake --install build/release --prefix $(PREFIX)

clean:
	rm -rf build
