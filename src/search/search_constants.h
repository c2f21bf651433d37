// The alpha-beta and quiescence searches' pruning margins, depth limits,
// extension and reduction terms and history figures, in the order a node
// meets them. Depths are in plies, margins and scores in centipawns. A tuning
// run changes them here; the bench node count shows that a change took.
#pragma once

// The transposition table's depth field holds at most this.
constexpr int MAX_STORED_DEPTH = 127;

// Reverse futility: below this depth, a pruning value this far above beta per
// ply of depth returns at once.
constexpr int REVERSE_FUTILITY_DEPTH = 7;
constexpr int REVERSE_FUTILITY_MARGIN = 65;

// Razoring below this depth; null move and ProbCut from it on.
constexpr int RAZOR_DEPTH = 4;
// Razor margins by depth 1..3: [0] when the evaluation is not improving, [1] when it is.
constexpr int RAZOR_MARGINS[2][RAZOR_DEPTH] = {{0, 90, 140, 200}, {0, 120, 190, 240}};

// Null move: depth − depth / NULL_MOVE_DEPTH_DIVISOR − NULL_MOVE_REDUCTION, and
// one ply less for every NULL_MOVE_EVAL_STEP of the value above beta, up to
// NULL_MOVE_MAX_EVAL_REDUCTION.
constexpr int NULL_MOVE_REDUCTION = 3;
constexpr int NULL_MOVE_DEPTH_DIVISOR = 4;
constexpr int NULL_MOVE_EVAL_STEP = 90;
constexpr int NULL_MOVE_MAX_EVAL_REDUCTION = 3;
// From this depth a null-move cut-off is verified by a search of at most
// NULL_VERIFICATION_MAX_DEPTH without the null move.
constexpr int NULL_VERIFICATION_DEPTH = 10;
constexpr int NULL_VERIFICATION_MAX_DEPTH = 3;

// ProbCut: captures that beat beta + PROBCUT_MARGIN at PROBCUT_REDUCTION plies
// less cut the node; the entry stored for them is one ply deeper than that search.
constexpr int PROBCUT_DEPTH = 5;
constexpr int PROBCUT_MARGIN = 110;
constexpr int PROBCUT_REDUCTION = 4;
constexpr int PROBCUT_MAX_MOVES = 11;

// Internal iterative reduction of PV nodes without a stored move, above this depth.
constexpr int IIR_DEPTH = 7;
constexpr int IIR_REDUCTION = 2;

// Move-loop pruning. Losing captures up to this depth whose exchange loses
// more than the margin per ply are skipped.
constexpr int BAD_CAPTURE_PRUNE_DEPTH = 6;
constexpr int BAD_CAPTURE_SEE_MARGIN = 110;
// Below this depth a quiet move with every history entry negative is skipped.
constexpr int HISTORY_PRUNE_DEPTH = 4;

// Singular extension: from SINGULAR_DEPTH, with a stored entry at most
// SINGULAR_ENTRY_DEPTH_MARGIN shallower than the node. The bound lies
// depth × NUMERATOR / DENOMINATOR below the stored score. The test tries at
// most SINGULAR_MAX_ALTERNATIVES moves (losing captures aside) and at most
// SINGULAR_MAX_LOSING_CAPTURES of those.
constexpr int SINGULAR_DEPTH = 7;
constexpr int SINGULAR_ENTRY_DEPTH_MARGIN = 3;
constexpr int SINGULAR_MARGIN_NUMERATOR = 5;
constexpr int SINGULAR_MARGIN_DENOMINATOR = 4;
constexpr int SINGULAR_MAX_ALTERNATIVES = 4;
constexpr int SINGULAR_MAX_LOSING_CAPTURES = 3;

// A quiet move among the first QUIET_EXTENSION_MOVES whose two continuation
// entries both exceed QUIET_EXTENSION_HISTORY is extended.
constexpr int QUIET_EXTENSION_MOVES = 4;
constexpr int QUIET_EXTENSION_HISTORY = 4096;

// Late-move reductions, above LMR_DEPTH. One ply more once LMR_EXTENDED_QUIETS
// quiet moves were extended; the history sum less LMR_HISTORY_OFFSET, over
// LMR_HISTORY_DIVISOR, within [LMR_HISTORY_MIN, LMR_HISTORY_MAX], is taken off.
constexpr int LMR_DEPTH = 2;
constexpr int LMR_EXTENDED_QUIETS = 4;
constexpr int LMR_HISTORY_OFFSET = 5120;
constexpr int LMR_HISTORY_DIVISOR = 9216;
constexpr int LMR_HISTORY_MIN = -2;
constexpr int LMR_HISTORY_MAX = 1;

// History on a quiet cut-off: bonus HISTORY_BONUS × min(depth², HISTORY_BONUS_CAP),
// entries moving toward ±HISTORY_GRAVITY. Cut-offs from HISTORY_DEPTH_LIMIT on
// leave the tables alone.
constexpr int HISTORY_BONUS = 32;
constexpr int HISTORY_BONUS_CAP = 324;
constexpr int HISTORY_GRAVITY = 8192;
constexpr int HISTORY_DEPTH_LIMIT = 19;
// Quiet moves remembered at a node for the penalty.
constexpr int MAX_PENALISED_QUIETS = 64;

// Quiescence depths (0 at the horizon, falling below it): quiet checks are
// generated above QS_CHECKS_DEPTH, captures that lose material are skipped
// from QS_SEE_DEPTH up, and checks below QS_CHECK_HORIZON are no longer answered.
constexpr int QS_CHECKS_DEPTH = -5;
constexpr int QS_SEE_DEPTH = -4;
constexpr int QS_CHECK_HORIZON = -13;
