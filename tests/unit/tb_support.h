// Shared set-up for the tablebase tests: board tables, keys and positions.
#pragma once
#include <algorithm>
#include <cctype>
#include <sstream>
#include "tablebase/registry.h"
#include "test_data.h"
#include "test_position.h"

// Every 3- and 4-piece table, kept with the tests; the optional shared folder adds six 5-piece ones.
inline const std::string SYZYGY_DIR = testDataPath("syzygy");
inline std::string sharedSyzygyDir() { return sharedDataPath("syzygy"); }
// Suites of tablebase tests name their fixture after themselves: using TbRoot = TbTest;
struct TbTest : ::testing::Test {
    void SetUp() override {
        initBoardTables();
        ASSERT_TRUE(initTablebases(SYZYGY_DIR));
    }
};
// One line of the reference list: WDL -2..2 from the side to move, DTZ in plies.
struct ExpectedProbe {
    std::string fen;
    int wdl, dtz;
};
inline int wdlOfWord(const std::string& w) {
    const char* words[] = {"Loss", "BlessedLoss", "Draw", "CursedWin", "Win"};
    for (int i = 0; i < 5; ++i)
        if (w == words[i]) return i - 2;
    return -1000;
}

// The reference list beside the tables of `dir`.
inline std::vector<ExpectedProbe> readExpectedProbes(const std::string& dir = SYZYGY_DIR) {
    std::vector<ExpectedProbe> out;
    std::ifstream in(dir + "/expected.txt");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::stringstream fields(line);
        std::string fen, wdl, dtz;
        std::getline(std::getline(std::getline(fields, fen, ';'), wdl, ';'), dtz, ';');
        out.push_back({fen, wdlOfWord(wdl), std::atoi(dtz.c_str())});
    }
    return out;
}

// The pieces of a FEN's placement sorted, without colour: "KKQR" for KQvKR.
inline std::string piecesOf(const std::string& fen) {
    std::string out;
    for (char c : fen.substr(0, fen.find(' ')))
        if (std::isalpha(static_cast<unsigned char>(c))) out += char(std::toupper(static_cast<unsigned char>(c)));
    std::sort(out.begin(), out.end());
    return out;
}
