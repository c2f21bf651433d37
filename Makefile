# Builds the release engine, with the default network built in, using only a
# C++20 compiler and make, the way engine-testing frameworks build engines:
#
#   make -j EXE=/path/to/quorvane [CXX=clang++]
#
# A plain `make` writes ./quorvane. The sources are every .cpp file under src/,
# as in the CMake build, and the flags are the CMake Release build's default
# (AUTO: SSSE3 and POPCNT for the engine, each network kernel built for its own
# instruction set and chosen when the engine starts), so both builds search the
# same nodes. Object files go to build-make/ (OBJDIR=... to move them).

EXE ?= quorvane
OBJDIR ?= build-make
NET := 220321-307.nnue

SOURCES := $(shell find src -name '*.cpp' | LC_ALL=C sort)
OBJECTS := $(SOURCES:%.cpp=$(OBJDIR)/%.o)
NET_ID := $(OBJDIR)/generated/embedded_network_id.h

ENGINE_FLAGS := -std=c++20 -O3 -DNDEBUG -mssse3 -mpopcnt -Wall -Wextra -pthread \
                '-DQUORVANE_SIMD_NAME=" SSSE3"' -Isrc -MMD -MP

.PHONY: all clean print-sources
all: $(EXE)

$(EXE): $(OBJECTS)
	$(CXX) -pthread -o $@ $(OBJECTS)

$(OBJDIR)/%.o: %.cpp
	@mkdir -p $(dir $@)
	$(CXX) $(ENGINE_FLAGS) $(KERNEL_FLAGS) $(CXXFLAGS) -c $< -o $@

# Each network kernel is compiled for its own instruction set.
$(OBJDIR)/src/eval/nnue_avx2.o: KERNEL_FLAGS := -mavx2 -mpopcnt
$(OBJDIR)/src/eval/nnue_avx512.o: KERNEL_FLAGS := -mavx2 -mpopcnt -mavx512f -mavx512vl -mavx512vnni

# The assembler copies the network file into the executable; the generated
# header names the file's checksum, so a new network rebuilds that object.
$(OBJDIR)/src/embedded_network.o: KERNEL_FLAGS := '-DEMBEDDED_NET_PATH="$(abspath $(NET))"' -I$(OBJDIR)/generated
$(OBJDIR)/src/embedded_network.o: $(NET) $(NET_ID)

$(NET_ID): $(NET)
	@mkdir -p $(dir $@)
	echo "// network $$(cksum < $(NET) | cut -d' ' -f1)" > $@

$(NET):
	@echo "the network file $(NET) is missing: check out the repository with it" >&2
	@exit 1

print-sources:
	@echo $(SOURCES)

clean:
	rm -rf $(OBJDIR) quorvane

-include $(OBJECTS:.o=.d)
