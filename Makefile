# Wraps the CMake presets. `make test` is the everyday command; `make ci` is what CI runs.
.PHONY: test ci asan tsan mipsel bench fuzz clean deps demo

define preset
	cmake --preset $(1)
	cmake --build --preset $(1)
	ctest --preset $(1)
endef

# Installs the Debian packages that are missing (scripts/install-deps.sh).
deps:
	bash scripts/install-deps.sh

test: deps
	$(call preset,default)

# pdud on a simulated MCU, until Ctrl-C (or DEMO_SECONDS).
demo: deps
	cmake --preset default
	cmake --build --preset default --target pdud pdu-mcu-sim pdu-nvram
	bash scripts/demo.sh build/default

asan:
	$(call preset,asan)

tsan:
	$(call preset,tsan)

# Speed figures (BENCHMARKS.md); not part of `make test` or `make ci`.
bench:
	cmake --preset default
	cmake --build --preset default --target bench

mipsel:
	bash scripts/install-deps.sh --cross
	bash cmake/mipsel-sysroot.sh
	$(call preset,mipsel)

# Every fuzz target for a fixed number of runs; `make fuzz FUZZ_SECONDS=600` runs each that long.
fuzz:
	cmake --preset fuzz
	cmake --build --preset fuzz
	sh tests/fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

ci: test fuzz asan tsan mipsel

clean:
	rm -rf build
