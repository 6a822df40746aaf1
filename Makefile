# The two commands that set everything up on a fresh Debian 12 machine:
#   make demo   installs the dependencies, builds, and runs the vantor demo
#   make test   installs the dependencies, builds, and runs the test suite
PRESET ?= default
JOBS ?= $(shell nproc)

.PHONY: deps configure build demo test test-asan test-tsan test-threads bench fuzz docs docs-check format clean

deps:
	bash scripts/install-deps.sh

configure: deps
	cmake --preset $(PRESET)

build: configure
	cmake --build --preset $(PRESET) -j $(JOBS)

demo: build
	./build/$(PRESET)/tools/vantor/vantor demo

test: build
	ctest --preset $(PRESET)

test-asan:
	$(MAKE) test PRESET=asan

test-tsan:
	$(MAKE) test PRESET=tsan

# The thread-heavy suites (platform runtime, concurrency, sockets,
# JSON-RPC, XML queries, interapplication commands) under ThreadSanitizer:
# what CI runs, without a third full build.
THREAD_SUITES = platform_tests concurrency_tests socket_tests jsonrpc_tests xml_tests interapp_tests
test-threads: deps
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS) --target $(THREAD_SUITES)
	for suite in $(THREAD_SUITES); do \
	  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/tests/tsan.supp ./build/tsan/$$suite || exit 1; \
	done

bench: deps
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	bash bench/run_all.sh build/bench

fuzz: deps
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)

# The API reference from the public headers, in build/docs/html; Doxygen's
# warnings go to build/docs/warnings.txt, and docs-check fails on any that
# docs/doxygen-allowed-warnings.txt does not allow.
docs: deps
	mkdir -p build/docs
	doxygen docs/Doxyfile
	@echo "API reference: build/docs/html/index.html;" \
	  "$$(sort -u build/docs/warnings.txt | wc -l) warning(s) in build/docs/warnings.txt"

docs-check: docs
	bash scripts/check-docs.sh

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build

# Debian packages of the build (libvantorcore<soname>, libvantorcore-dev,
# vantor) in build/$(PRESET)/packages; scripts/check-packages.sh tries them.
.PHONY: package
package: build
	cd build/$(PRESET) && cpack
