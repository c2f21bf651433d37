// The arithmetic of the network, in interchangeable versions: portable scalar
// code (the reference), SSSE3, AVX2 and AVX-512 VNNI. All give bit-identical
// results; each lives in its own file compiled for its instruction set, so one
// binary can hold them all and the tests can compare them.
#pragma once

#include <cstdint>

struct NnueKernel {
    const char* name;
    // out = base + the weights of every added feature - those of every removed
    // one, element by element in wrapping 16-bit arithmetic (NNUE_HIDDEN elements).
    void (*updateAccumulator)(int16_t* out, const int16_t* base, const int* added, int addedCount, const int* removed,
                              int removedCount);
    // Clips both accumulator halves (side to move first) and runs the three
    // small layers: the raw output of the network. The vector versions read
    // the chunked first-layer weights, so prepareNetwork() must have run since
    // the weights last changed.
    int32_t (*propagate)(const int16_t* mover, const int16_t* other);
};

extern const NnueKernel scalarKernel;
extern const NnueKernel ssse3Kernel;
extern const NnueKernel avx2Kernel;
extern const NnueKernel avx512Kernel;

// The version the engine uses, chosen once when the program starts: the widest
// one the processor can execute, unless the build fixes one. Reading it is one
// load, so the evaluation pays nothing per call for the choice.
extern const NnueKernel* activeKernel;
inline const NnueKernel& engineKernel() { return *activeKernel; }

// Whether the processor running us can execute a kernel.
bool kernelSupported(const NnueKernel& k);

// The widest kernel the processor running us can execute.
const NnueKernel& widestSupportedKernel();
