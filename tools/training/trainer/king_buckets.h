// King buckets: weight sharing across king squares while training.
//
// The network file keeps 768 piece-square rows for each of the 64 squares of
// the perspective's own king. Few positions reach most of those blocks, so the
// trainer can hold fewer: with N buckets, every king square on files a-d
// belongs to one of N buckets, and a king on files e-h uses the bucket of its
// reflection, with every piece-square reflected as well (a-file to h-file).
// The model is then exactly symmetric left to right, which the game is (the
// records keep no castling rights). The engine numbers its features as ever;
// only the trainer's row of a feature changes, and export writes each bucket
// row into every feature it stands for.
//
// The buckets, seen from the perspective's own side (rank 1 is its back rank,
// where kings spend most of the game, so the map is finest there):
//
//   4 buckets        8 buckets        16 buckets       32 buckets
//   ranks 5-8  3333  ranks 5-8  7777  ranks 7-8  EEFF  every square
//   ranks 3-4  2222  ranks 3-4  6666  ranks 5-6  CCDD  of files a-d
//   rank 2     1111  rank 2     4455  rank 4     AABB  its own bucket
//   rank 1     0000  rank 1     0123  rank 3     8899  (plain left-right
//                                     rank 2     4567   mirroring)
//                                     rank 1     0123
//
// (Files a-d from left to right; buckets 10-15 written A-F.) 64 is the file's own
// layout: every king square its own rows, no reflection.
#pragma once

#include <bit>
#include <cstdint>

#include "nnue_features.h"

constexpr int PIECE_SQUARE_ROWS = NNUE_PIECE_KINDS * NNUE_PIECE_SQUARES;  // rows of one king block
constexpr int FULL_KING_LAYOUT = 64;
static_assert(FEATURE_COUNT == FULL_KING_LAYOUT * PIECE_SQUARE_ROWS, "the file holds one block per king square");

// Bucket of each king square of files a-d, a1 b1 c1 d1 first, then a2 .. d2 and so on,
// for 4, 8, 16 and 32 buckets.
constexpr int8_t KING_BUCKET_MAPS[4][32] = {
    {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3},
    {0, 1, 2, 3, 4, 4, 5, 5, 6, 6, 6, 6, 6, 6, 6, 6, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
    {0,  1,  2,  3,  4,  5,  6,  7,  8,  8,  9,  9,  10, 10, 11, 11,
     12, 12, 13, 13, 12, 12, 13, 13, 14, 14, 15, 15, 14, 14, 15, 15},
    {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
     16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31},
};

constexpr bool isKingBucketCount(int buckets) {
    return buckets == 4 || buckets == 8 || buckets == 16 || buckets == 32 || buckets == FULL_KING_LAYOUT;
}

// Rows of the trainer's own transformer weights (the factor rows come after all 64 blocks' worth).
constexpr int ownTransformerRows(int kingBuckets) { return kingBuckets * PIECE_SQUARE_ROWS; }

// The trainer's row that holds the weights of an engine feature. The feature's
// king and piece squares are already seen from the perspective's side, and
// reflecting left to right keeps them so.
constexpr int transformerRowOf(int kingBuckets, int feature) {
    if (kingBuckets == FULL_KING_LAYOUT) return feature;
    int king = feature / PIECE_SQUARE_ROWS, pieceSquare = feature % PIECE_SQUARE_ROWS;
    if (king & 4) {  // files e-h
        king ^= 7;
        pieceSquare ^= 7;  // the square is the low six bits: this flips its file only
    }
    int bucket = KING_BUCKET_MAPS[std::countr_zero(unsigned(kingBuckets)) - 2][(king >> 3) * 4 + (king & 3)];
    return bucket * PIECE_SQUARE_ROWS + pieceSquare;
}
