# The two set-up commands (`make run`, `make test`) install what is missing, build and run.
BUILD        ?= build
ASAN_BUILD   ?= build-asan
GENERATOR    := -G Ninja
JOBS         ?= $(shell nproc)
CTEST_FLAGS  := --output-on-failure -j $(JOBS)

.PHONY: all deps build build-asan run app test test-release test-sanitizers bench crash-trials package fuzz format clean

all: build

deps:
	./scripts/install-deps

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Release

$(ASAN_BUILD)/build.ninja:
	cmake -S . -B $(ASAN_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug -DDOVREL_SANITIZE=ON \
	    -DDOVREL_BUILD_BENCHMARKS=OFF -DDOVREL_SHARED_LIBRARY=OFF

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

build-asan: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)

# The main job: the command-line application on its embedded default store.
run: build
	./$(BUILD)/bin/dovrel $(ARGS)

# The desktop application on the user's own store.
app: build
	./$(BUILD)/bin/dovrel-app $(ARGS)

test: test-release test-sanitizers

test-release: build
	cd $(BUILD) && ctest $(CTEST_FLAGS)

test-sanitizers: build-asan
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	    LSAN_OPTIONS=suppressions=$(CURDIR)/tests/support/leak-suppressions.txt \
	    ctest $(CTEST_FLAGS) -L 'unit|multiprocess|gui'

bench: build
	@for program in $(BUILD)/bin/bench_*; do echo "== $$program"; $$program; done

# Every fuzz target under libFuzzer for FUZZ_SECONDS each, in a clang build of its own.
FUZZ_BUILD   ?= build-fuzz
FUZZ_SECONDS ?= 60
fuzz:
	./scripts/install-deps fuzz
	CC=clang-16 CXX=clang++-16 cmake -S . -B $(FUZZ_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DDOVREL_FUZZ=ON -DDOVREL_BUILD_BENCHMARKS=OFF -DDOVREL_SHARED_LIBRARY=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target dovrel_fuzz_targets
	./tests/fuzz/run-fuzzers $(FUZZ_BUILD) $(FUZZ_SECONDS)

# The Debian package, in the build folder.
package: build
	cd $(BUILD) && cpack -G DEB

# A thousand writers killed at random moments (make test runs fifty).
crash-trials: build
	./$(BUILD)/bin/dovrel_crash_trials --trials 1000

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
