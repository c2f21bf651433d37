// Late-move reductions: how many plies a quiet move loses by the depth left
// and its number in the move list.
#pragma once

#include <cstdint>

extern uint8_t lmrTable[128][256];  // [depth][move number]

// Fills the table; safe to call more than once (later calls do nothing). The
// engine and the tools that search call it beside initAttackTables.
void initReductions();
