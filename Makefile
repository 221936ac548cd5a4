# Thin wrapper over CMake: `make demo` builds and runs the demo, `make test`
# builds and runs every test.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
BUILD_RELEASE ?= build/release
BUILD_TEST ?= build/test
BUILD_SAN ?= build/sanitize
BUILD_TSAN ?= build/tsan

.PHONY: all demo test test-sanitize test-tsan bench compare install clean

all:
	cmake -S . -B $(BUILD_RELEASE) -DCMAKE_BUILD_TYPE=Release -DVORN3D_BUILD_TESTS=OFF
	cmake --build $(BUILD_RELEASE) -j $(JOBS)

demo: all
	$(BUILD_RELEASE)/apps/vorn3d_demo $(ARGS)

# Tests run in a Debug build so that the standard assertions are checked too.
test:
	cmake -S . -B $(BUILD_TEST) -DCMAKE_BUILD_TYPE=Debug -DVORN3D_BUILD_TESTS=ON
	cmake --build $(BUILD_TEST) -j $(JOBS)
	cd $(BUILD_TEST) && ctest --output-on-failure -j $(JOBS)

test-sanitize:
	cmake -S . -B $(BUILD_SAN) -DCMAKE_BUILD_TYPE=Debug -DVORN3D_BUILD_TESTS=ON -DVORN3D_SANITIZE=ON
	cmake --build $(BUILD_SAN) -j $(JOBS)
	cd $(BUILD_SAN) && ctest --output-on-failure -j $(JOBS)

# The tests that run threads, under ThreadSanitizer: several objects at once,
# and the threaded builder. Only they and what they link are built. Any race
# report fails the run.
test-tsan:
	cmake -S . -B $(BUILD_TSAN) -DCMAKE_BUILD_TYPE=Debug -DVORN3D_BUILD_TESTS=ON -DVORN3D_SANITIZE_THREAD=ON \
		-DVORN3D_BUILD_PYTHON=OFF -DVORN3D_BUILD_MPI=OFF -DVORN3D_BUILD_EXAMPLES=OFF
	cmake --build $(BUILD_TSAN) --target test_threads test_parallel -j $(JOBS)
	cd $(BUILD_TSAN)/tests && TSAN_OPTIONS="halt_on_error=1 $(TSAN_OPTIONS)" ./test_threads
	cd $(BUILD_TSAN)/tests && TSAN_OPTIONS="halt_on_error=1 $(TSAN_OPTIONS)" ./test_parallel

bench:
	cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVORN3D_BUILD_TESTS=OFF -DVORN3D_BUILD_BENCH=ON
	cmake --build build/bench -j $(JOBS)

# Vorn3D against CGAL and TetGen on the same point sets (installs the peers'
# Debian packages when missing); writes bench/RESULTS.md. ARGS=--quick checks
# the pipeline on small sets.
compare:
	bash bench/compare.sh $(ARGS)

install: all
	cmake --install $(BUILD_RELEASE) $(if $(PREFIX),--prefix $(PREFIX),)

clean:
	rm -rf build
