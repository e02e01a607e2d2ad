# Two entry points for a fresh Debian machine (run as root): `make demo` and `make test`.
BUILD      ?= build
TEST_BUILD ?= build-test
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
PACKAGES   := cmake g++ make libfftw3-dev libgtest-dev gemmi-dev tao-pegtl-dev libstb-dev libsymspg-dev lammps
QUORIX     := $(BUILD)/quorix.x
DEMO       := $(BUILD)/demo

.PHONY: all deps build demo test bench clean

all: build

deps:
	@missing=""; \
	for p in $(PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing:$$missing"; \
	  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $$missing; \
	fi

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	@rm -rf $(DEMO) && mkdir -p $(DEMO) && cp examples/*.cif $(DEMO)/
	$(QUORIX) --gen-cube $(DEMO)/LiFePO4.cif Li 1
	@echo "Demo: the Li+ site-energy landscape of LiFePO4 (0.1 A grid) is in $(DEMO)/LiFePO4.cif.cube"

test: deps
	cmake -S . -B $(TEST_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORIX_SANITIZE=ON -DQUORIX_BENCH=OFF
	cmake --build $(TEST_BUILD) -j $(JOBS)
	cd $(TEST_BUILD) && ctest --output-on-failure -j $(JOBS)

bench: build
	@for b in $(BUILD)/bench_*; do echo "== $$b"; $$b; done

clean:
	rm -rf $(BUILD) $(TEST_BUILD)
