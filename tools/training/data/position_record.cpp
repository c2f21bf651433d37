#include "position_record.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "board/attacks.h"
#include "board/zobrist.h"

namespace {

bool setError(std::string* error, const std::string& why) {
    if (error) *error = why;
    return false;
}

std::string trim(const std::string& s) {
    size_t a = s.find_first_not_of(" \t\r\n");
    if (a == std::string::npos) return "";
    size_t b = s.find_last_not_of(" \t\r\n");
    return s.substr(a, b - a + 1);
}

// 0, 1 or 2 for a white loss, draw or win; -1 when the text is not a result.
int whiteResult(const std::string& text) {
    if (text == "1-0") return 2;
    if (text == "0-1") return 0;
    if (text == "1/2-1/2" || text == "1/2") return 1;
    char* end = nullptr;
    double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end) return -1;
    if (v == 1.0) return 2;
    if (v == 0.5) return 1;
    if (v == 0.0) return 0;
    return -1;
}

// A position is about 200 KB: one per thread, reused.
Position& scratchPosition() {
    thread_local std::unique_ptr<Position> position;
    thread_local std::vector<Move> moves;
    if (!position) {
        position = std::make_unique<Position>();
        moves.resize(MOVE_STACK);
        position->plyStates[0].moveStart = moves.data();
    }
    return *position;
}

}  // namespace

void initRecordTables() {
    initAttackTables();
    initZobrist();
}

bool recordFromPosition(const Position& p, int score, GameResult result, TrainingRecord& r) {
    if (!packPlacement(p.board, r)) return false;
    r.score = int16_t(std::clamp(score, -32767, 32767));
    r.sideToMove = p.sideToMove;
    r.result = result;
    return true;
}

bool recordFromFen(const std::string& fen, int score, GameResult result, TrainingRecord& r, std::string* error) {
    Position& p = scratchPosition();
    if (!setFen(p, fen, error)) return false;
    if (!recordFromPosition(p, score, result, r)) return setError(error, "more than 32 pieces");
    return true;
}

bool recordFromTextLine(const std::string& line, const TextLineOptions& options, TrainingRecord& r,
                        std::string* error) {
    size_t first = line.find(';');
    size_t second = first == std::string::npos ? first : line.find(';', first + 1);
    if (second == std::string::npos) return setError(error, "expected FEN;score;result");
    std::string fen = trim(line.substr(0, first));
    std::string scoreText = trim(line.substr(first + 1, second - first - 1));
    std::string resultText = trim(line.substr(second + 1));
    char* end = nullptr;
    long score = std::strtol(scoreText.c_str(), &end, 10);
    if (scoreText.empty() || *end) return setError(error, "the score '" + scoreText + "' is not a whole number");
    int result = whiteResult(resultText);
    if (result < 0) return setError(error, "the result '" + resultText + "' is not 1-0, 0-1, 1/2-1/2, 1, 0.5 or 0");
    std::string why;
    if (!recordFromFen(fen, 0, RESULT_DRAW, r, &why)) return setError(error, "bad FEN: " + why);
    bool blackToMove = r.sideToMove == BLACK;
    if (options.scoreFromWhite && blackToMove) score = -score;
    if (options.resultFromWhite) result = moverResult(GameResult(result), r.sideToMove);
    r.score = int16_t(std::clamp(score, -32767L, 32767L));
    r.result = uint8_t(result);
    return true;
}

std::string recordFen(const TrainingRecord& r) {
    uint8_t board[64];
    unpackPlacement(r, board);
    return placementFen(board) + (r.sideToMove == WHITE ? " w - - 0 1" : " b - - 0 1");
}

std::string tuningLine(const std::string& fen, GameResult whiteResult) {
    const char* result = whiteResult == RESULT_WIN ? "1-0" : whiteResult == RESULT_LOSS ? "0-1" : "1/2-1/2";
    return fen + " c9 \"" + result + "\";";
}

std::string tuningLine(const TrainingRecord& r) {
    return tuningLine(recordFen(r), moverResult(GameResult(r.result), r.sideToMove));
}
