# The two commands of the quick start. Both set up what is missing first.
JOBS ?= 2
PRESETS := native win64 win32

.PHONY: all setup build test demo clean fuzz bench $(PRESETS:%=build-%)

all: build

setup:
	@tools/setup

build: setup $(PRESETS:%=build-%)

build-%:
	@test -f build/$*/build.ninja || cmake --preset $* >/dev/null
	cmake --build build/$* -j $(JOBS)

test: build
	@tools/run-tests

demo: build
	@tools/demo

fuzz: setup build-fuzz
bench: setup build-bench

clean:
	rm -rf build
