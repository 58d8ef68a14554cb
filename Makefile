# The two commands of the quick start. Both set up what is missing first.
JOBS ?= 2
.PHONY: all setup build test demo clean fuzz bench coverage

all: build

setup:
	@tools/setup

# One configure per build tree (cmake re-runs itself when CMake files change).
define preset_build
	@test -f build/$(1)/build.ninja || cmake --preset $(1) >/dev/null
	cmake --build build/$(1) -j $(JOBS)
endef

build: setup
	$(call preset_build,native)
	$(call preset_build,win64)
	$(call preset_build,win32)
	$(call preset_build,fuzz)

test: build
	@tools/run-tests

demo: build
	@tools/demo

fuzz: setup
	$(call preset_build,fuzz)

bench: setup
	$(call preset_build,bench)

clean:
	rm -rf build

coverage: setup
	@tools/coverage
