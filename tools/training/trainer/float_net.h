// The floating-point twin of the engine's network, as the trainer sees it.
//
// All parameters live in one flat array; the transformer weights come first
// (row by row, one per accumulator element), then the factor rows, then the small
// dense part. In the file's own layout a feature's row is the feature; with king
// buckets (king_buckets.h) only the first rows are used, one block per bucket.
// A factor row is shared by all king blocks of one piece-square: its gradient
// pools the positions of every king square, so rare king squares learn from the
// common ones. The engine's file has neither factor rows nor buckets; export
// adds each factor row into the weights it stands beside and writes each bucket
// row into every feature it covers. The two dense
// hidden layers are stored input-major (weight of input i to neuron j at
// i * outputs + j) so that the forward pass can skip inputs that are zero.
//
// Units are chosen so that quantising is a plain multiplication:
//   transformer weights and biases x127 -> int16 (an activation of 1.0 is 127),
//   hidden-layer weights x64 -> int8 (the engine shifts the sums right by 6),
//   hidden-layer and output biases x(127*64) -> int32,
//   output weights x64 -> int8, so the engine's raw output is 127*64 = 8128
//   times the float output.
#pragma once

#include <cstdint>
#include <vector>

#include "huge_pages.h"
#include "king_buckets.h"
#include "nnue_features.h"

constexpr int FT_INPUTS = FEATURE_COUNT;
constexpr int FT_OUTPUTS = NNUE_HIDDEN;
constexpr int FACTOR_ROWS = PIECE_SQUARE_ROWS;  // piece-squares: the row index modulo this
constexpr int FT_ROWS = FT_INPUTS + FACTOR_ROWS;
static_assert(FT_INPUTS % FACTOR_ROWS == 0, "every king-square block covers all piece-squares");
// The shared row that a transformer row is trained beside (in the file's layout
// the row is the feature; a bucket row holds the piece-square already reflected).
constexpr int factorRowOf(int row) { return FT_INPUTS + row % FACTOR_ROWS; }
constexpr int L1_INPUTS = NNUE_INPUTS;
constexpr int L1_OUTPUTS = NNUE_L1;
constexpr int L2_OUTPUTS = NNUE_L2;

constexpr size_t FT_WEIGHTS = 0;
constexpr size_t FT_BIAS = FT_WEIGHTS + size_t(FT_ROWS) * FT_OUTPUTS;
constexpr size_t L1_WEIGHTS = FT_BIAS + FT_OUTPUTS;
constexpr size_t L1_BIAS = L1_WEIGHTS + L1_INPUTS * L1_OUTPUTS;
constexpr size_t L2_WEIGHTS = L1_BIAS + L1_OUTPUTS;
constexpr size_t L2_BIAS = L2_WEIGHTS + L1_OUTPUTS * L2_OUTPUTS;
constexpr size_t OUT_WEIGHTS = L2_BIAS + L2_OUTPUTS;
constexpr size_t OUT_BIAS = OUT_WEIGHTS + L2_OUTPUTS;
constexpr size_t PARAM_COUNT = OUT_BIAS + 1;
// Everything after the transformer weights is small and updated densely.
constexpr size_t DENSE_START = FT_BIAS;
constexpr size_t DENSE_COUNT = PARAM_COUNT - DENSE_START;

constexpr float ACTIVATION_ONE = 127.0f;  // quantised value of an activation of 1.0
constexpr float WEIGHT_ONE = 64.0f;       // quantised value of a hidden or output weight of 1.0
constexpr float RAW_PER_UNIT = ACTIVATION_ONE * WEIGHT_ONE;
// Largest magnitudes the quantised types can hold: int8 weights at x64, and
// transformer weights small enough that bias plus 32 weights stay inside int16.
constexpr float LAYER_WEIGHT_LIMIT = 127.0f / WEIGHT_ONE;
constexpr float FT_WEIGHT_LIMIT = 7.5f;

struct FloatNet {
    LargeFloats params = LargeFloats(PARAM_COUNT);
    bool factorised = false;             // the factor rows take part (they stay zero otherwise)
    int kingBuckets = FULL_KING_LAYOUT;  // own rows in use: ownTransformerRows(kingBuckets)
};

// The weight of a row as the engine will hold it for each feature the row
// stands for: its own plus its factor row's, kept inside the range the file's
// int16 weights allow.
inline float foldedWeight(const float* params, bool factorised, int row, int i) {
    float w = params[FT_WEIGHTS + size_t(row) * FT_OUTPUTS + i];
    if (factorised) w += params[FT_WEIGHTS + size_t(factorRowOf(row)) * FT_OUTPUTS + i];
    return w < -FT_WEIGHT_LIMIT ? -FT_WEIGHT_LIMIT : w > FT_WEIGHT_LIMIT ? FT_WEIGHT_LIMIT : w;
}

// Small random weights; hidden biases in the middle of the 0..1 range so that
// training starts with every neuron in its linear part. Rows beyond the net's
// king buckets are left at zero (the random draws are the same for every
// layout, so a seed gives the same dense part whatever the buckets).
void initRandomNet(FloatNet& net, uint64_t seed);
// Keeps every parameter where the quantised types can represent it.
void clipDense(FloatNet& net);
void clipTransformerRow(FloatNet& net, int row);  // a feature's row or a factor row
// Adds every factor row into the own rows beside it and clears it:
// the same function of the inputs with no factor rows left.
void foldFactors(FloatNet& net);
// Turns a net in the file's layout (factor rows empty) into one with king
// buckets: each bucket row becomes the mean of the feature rows it covers,
// reflected where it reflects them; the rows beyond are cleared.
void shareKingBuckets(FloatNet& net, int kingBuckets);

// One position ready for the network.
struct Sample {
    PositionFeatures features;
    float scale;   // centipawns per raw output unit (the phase-dependent scaling)
    float target;  // blended target in 0..1
};

// Everything the backward pass needs from the forward pass.
struct Activations {
    float acc[2][FT_OUTPUTS];  // transformer sums before clipping, side to move first
    float input[L1_INPUTS];    // clipped to 0..1
    float z1[L1_OUTPUTS], y1[L1_OUTPUTS];
    float z2[L2_OUTPUTS], y2[L2_OUTPUTS];
    float score;  // centipawns, side to move's view
};

// The parameters one pass reads: the transformer weights, and the dense part
// (from the transformer biases on) either of the same net or a rounded copy.
struct NetView {
    const float* transformer;            // the flat parameters; only the transformer weights are read
    const float* dense;                  // DENSE_COUNT values, the parameter at DENSE_START first
    bool roundTransformer = false;       // read the transformer weights rounded to steps of 1/127
    bool factorised = false;             // each feature's weights are its row plus its factor row
    int kingBuckets = FULL_KING_LAYOUT;  // which row holds a feature's weights (transformerRowOf)
};
inline NetView viewOf(const FloatNet& net) {
    return {net.params.data(), net.params.data() + DENSE_START, false, net.factorised, net.kingBuckets};
}

// The dense part rounded to the steps its integer types can take. Training
// reads this copy and applies the gradients to the unrounded values, so the
// net learns weights that still work after quantising.
void roundDenseToGrid(const FloatNet& net, std::vector<float>& out);

float forward(const NetView& net, const Sample& s, Activations& a);
inline float forward(const FloatNet& net, const Sample& s, Activations& a) { return forward(viewOf(net), s, a); }

// Adds d(loss)/d(parameter) for the dense part into denseGrad (indexed from
// DENSE_START) and writes the gradient of each perspective's transformer sums
// into accGrad; the transformer weights of a feature of perspective p receive
// accGrad[p], which the caller adds where it owns the rows.
void backward(const NetView& net, const Sample& s, const Activations& a, float scoreGrad, float* denseGrad,
              float accGrad[2][FT_OUTPUTS]);
inline void backward(const FloatNet& net, const Sample& s, const Activations& a, float scoreGrad, float* denseGrad,
                     float accGrad[2][FT_OUTPUTS]) {
    backward(viewOf(net), s, a, scoreGrad, denseGrad, accGrad);
}

// The loss of one position: squared difference between the predicted win
// probability sigmoid(score / k) and the target; also d(loss)/d(score).
struct LossTerms {
    float loss;
    float scoreGrad;
};
LossTerms positionLoss(float score, float target, float k);

inline float sigmoid(float x) { return 1.0f / (1.0f + __builtin_expf(-x)); }
