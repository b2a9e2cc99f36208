# Wraps the CMake presets. `make test` is the everyday command; `make ci` is what CI runs.
.PHONY: test ci asan tsan mipsel fuzz clean

define preset
	cmake --preset $(1)
	cmake --build --preset $(1)
	ctest --preset $(1)
endef

test:
	$(call preset,default)

asan:
	$(call preset,asan)

tsan:
	$(call preset,tsan)

mipsel:
	bash cmake/mipsel-sysroot.sh
	$(call preset,mipsel)

# Every fuzz target for a fixed number of runs; `make fuzz FUZZ_SECONDS=600` runs each that long.
fuzz:
	cmake --preset fuzz
	cmake --build --preset fuzz
	sh tests/fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

ci: test asan tsan mipsel fuzz

clean:
	rm -rf build
