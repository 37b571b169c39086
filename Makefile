# make test   configure, build and run every test (the CI command)
# make demo   build the library, the stand-in host and rpl-toc, compile a small design with Yosys and
#             nextpnr, and show rpl-toc at work on the report it imports of it
BUILD      ?= build
JOBS       ?= 2
CMAKE_ARGS ?=
WERROR     ?= ON

.PHONY: all build test demo bench test-asan test-valgrind kill-loop fuzz deps clean

all: build

build:
	./scripts/install-deps.sh test
	cmake -S . -B $(BUILD) -DRPL_WERROR=$(WERROR) $(CMAKE_ARGS)
	cmake --build $(BUILD) -j$(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

# Only what the demo runs (the tests take far longer to build): about 6 CPU-minutes, see the README.
# The demo compiles examples/flow with Yosys and nextpnr-ice40 (the flow set) and imports it.
demo:
	./scripts/install-deps.sh build flow
	cmake -S . -B $(BUILD) -DRPL_WERROR=$(WERROR) $(CMAKE_ARGS)
	cmake --build $(BUILD) -j$(JOBS) --target rpl-toc
	./scripts/demo.sh $(BUILD)/tools/rpl-toc

bench:
	./scripts/install-deps.sh test bench
	cmake -S . -B $(BUILD)-bench -DCMAKE_BUILD_TYPE=Release -DRPL_BUILD_BENCH=ON -DRPL_BUILD_TESTS=OFF $(CMAKE_ARGS)
	cmake --build $(BUILD)-bench -j$(JOBS)
	./scripts/bench.sh $(BUILD)-bench

test-asan:
	./scripts/install-deps.sh test
	cmake -S . -B $(BUILD)-asan -DCMAKE_BUILD_TYPE=Debug -DRPL_WERROR=$(WERROR) -DRPL_SANITIZE=address,undefined $(CMAKE_ARGS)
	cmake --build $(BUILD)-asan -j$(JOBS)
	cd $(BUILD)-asan && ASAN_OPTIONS=detect_leaks=1:halt_on_error=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j$(JOBS)

test-valgrind: build
	./scripts/install-deps.sh valgrind
	./scripts/valgrind.sh $(BUILD)

# The kill loop of the fault-injection tests at length (KILL_LOOP_SECONDS, default 120).
kill-loop: build
	./scripts/kill_loop.sh $(BUILD) $(KILL_LOOP_SECONDS)

fuzz:
	./scripts/install-deps.sh fuzz
	CXX=clang++ cmake -S . -B $(BUILD)-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRPL_BUILD_FUZZ=ON -DRPL_BUILD_TESTS=OFF -DRPL_SANITIZE=address,undefined $(CMAKE_ARGS)
	cmake --build $(BUILD)-fuzz -j$(JOBS)
	./scripts/fuzz.sh $(BUILD)-fuzz $(FUZZ_SECONDS)

deps:
	./scripts/install-deps.sh test bench fuzz valgrind

clean:
	rm -rf $(BUILD) $(BUILD)-bench $(BUILD)-asan $(BUILD)-fuzz
