# Wraps the CMake presets. `make test` is the everyday command; `make ci` is what CI runs.
.PHONY: test ci asan tsan mipsel bench clean

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

# Speed figures (BENCHMARKS.md); not part of `make test` or `make ci`.
bench:
	cmake --preset default
	cmake --build --preset default --target bench

mipsel:
	bash cmake/mipsel-sysroot.sh
	$(call preset,mipsel)

ci: test asan tsan mipsel

clean:
	rm -rf build
