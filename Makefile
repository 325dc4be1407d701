# Brightquill Desktop. `make run` starts the program (an offline demo against the office
# simulator by default); `make test` runs every test. Both install what is missing first.
BUILD       ?= build
ASAN_BUILD  ?= build-asan
BENCH_BUILD ?= build-bench
PACKAGE_BUILD ?= build-package
FUZZ_BUILD  ?= build-fuzz
FUZZ_SECONDS ?= 180
JOBS        ?= $(shell nproc)
PREFIX      ?= /usr/local
CMAKE_ARGS  ?=

.PHONY: all deps configure build program test asan fuzz run order bench install package screenshots format clean

all: build

deps:
	@scripts/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)

configure: deps $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# The program and the simulator only: what the demo and a command-line order need.
program: configure
	cmake --build $(BUILD) -j $(JOBS) --target brightquill bq_simulator_app

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) --timeout 300

# The tests again, built with AddressSanitizer + UndefinedBehaviorSanitizer. GCC builds it:
# clang 14 with libstdc++ 12 cannot compile qpdf's headers in C++20.
asan: deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug \
	    -DBQ_SANITIZE=ON -DBQ_BENCH=OFF $(CMAKE_ARGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=0 ctest --output-on-failure -j $(JOBS) --timeout 600

# Every fuzz target for a share of FUZZ_SECONDS, built with clang's libFuzzer, ASan and UBSan.
fuzz: deps
	CXX=clang++-16 cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DBQ_FUZZ=ON -DBQ_TESTS=OFF -DBQ_BENCH=OFF $(CMAKE_ARGS)
	cmake --build $(FUZZ_BUILD) -j $(JOBS)
	scripts/fuzz.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

run: program
	@scripts/demo.sh $(BUILD)

# A command-line order against the simulator: make order LIST="EP1000001,US5123456" [REF=X]
order: program
	@scripts/order.sh $(BUILD) "$(LIST)" "$(REF)"

bench: deps
	cmake -S . -B $(BENCH_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DBQ_TESTS=OFF $(CMAKE_ARGS)
	cmake --build $(BENCH_BUILD) -j $(JOBS)
	@for b in bench/*.sh; do [ -x "$$b" ] && "$$b" $(BENCH_BUILD) || exit 1; done

install: program
	cmake --build $(BUILD) -j $(JOBS) --target manpage
	cmake --install $(BUILD) --prefix $(PREFIX)

# A Debian package of the program and the simulator, its dependencies computed.
package: deps
	cmake -S . -B $(PACKAGE_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release -DBQ_TESTS=OFF \
	    -DBQ_BENCH=OFF -DCMAKE_INSTALL_PREFIX=/usr $(CMAKE_ARGS)
	cmake --build $(PACKAGE_BUILD) -j $(JOBS)
	cd $(PACKAGE_BUILD) && cpack -G DEB

# The README's pictures of every window, grabbed from the running program under Xvfb.
screenshots: program
	@scripts/screenshots.sh $(BUILD)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(PACKAGE_BUILD) $(FUZZ_BUILD) demo demo-orders
