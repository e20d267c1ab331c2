# One word for each habit. Everything is done by CMake and by the scripts; nothing is decided here.
JOBS ?= $(shell getconf _NPROCESSORS_ONLN)
PREFIX ?= /usr/local

.PHONY: build run test bench lint format asan tsan macos install dist package fuzz clean

build:
	scripts/setup run
	test -f build/release/build.ninja || cmake --preset release -DKESTREL_TESTS=OFF
	cmake --build build/release --parallel $(JOBS)

run:
	scripts/run

test:
	scripts/test

# The same tests with the address and undefined-behaviour sanitizers, and the concurrent ones with the thread sanitizer.
asan:
	scripts/test asan
tsan:
	scripts/test tsan

# Benchmarks, and kestrel side by side with du and others; SIZE=100000 for a quick look.
SIZE ?= 1000000
bench:
	scripts/setup test
	cmake --preset release -DKESTREL_TESTS=ON
	cmake --build build/release --parallel $(JOBS)
	build/release/bin/kestrel-bench
	benchmarks/compare --files $(SIZE)
	benchmarks/compare_search --files $(SIZE)
	benchmarks/compare_history --files $(SIZE)
	benchmarks/day --files $(SIZE)

lint:
	scripts/lint
format:
	git ls-files -z '*.cpp' '*.hpp' | xargs -0 clang-format-16 -i

# Builds the fuzz harnesses and gives each SECONDS_EACH seconds on top of its corpus.
SECONDS_EACH ?= 60
fuzz:
	scripts/fuzz $(SECONDS_EACH)

# Compiles and links for macOS, from here.
macos:
	scripts/setup test
	scripts/check-macos

install: build
	cmake --install build/release --prefix "$(PREFIX)"

# The source archive in build/dist, and Debian packages from it in build/packages.
dist:
	scripts/make-dist
package:
	scripts/package

clean:
	rm -rf build
