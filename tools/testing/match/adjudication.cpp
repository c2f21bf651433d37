#include "adjudication.h"

#include <cstdlib>
#include <sstream>

namespace matchtool {

ReportedScore infoScore(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> w;
    for (std::string word; in >> word;) w.push_back(word);
    ReportedScore s;
    if (w.empty() || w[0] != "info") return s;
    int depth = 0;
    for (size_t i = 1; i < w.size(); ++i) {
        if (w[i] == "string") break;
        if (w[i] == "depth" && i + 1 < w.size()) depth = std::atoi(w[i + 1].c_str());
        if (w[i] != "score" || i + 2 >= w.size()) continue;
        const std::string& kind = w[i + 1];
        if (kind != "cp" && kind != "mate") continue;
        char* end = nullptr;
        long v = std::strtol(w[i + 2].c_str(), &end, 10);
        if (end == w[i + 2].c_str() || *end) continue;
        s.found = true;
        s.mate = kind == "mate";
        s.value = int(v);
        s.bound = i + 3 < w.size() && (w[i + 3] == "lowerbound" || w[i + 3] == "upperbound");
    }
    s.depth = depth;
    return s;
}

ReportedScore lastExactScore(const std::vector<std::string>& lines) {
    ReportedScore last;
    for (const auto& line : lines) {
        ReportedScore s = infoScore(line);
        if (s.found && !s.bound) last = s;
    }
    return last;
}

int centipawns(const ReportedScore& s) {
    if (!s.mate) return s.value;
    // "mate 0" and "mate -0" both mean the mover is mated.
    return s.value > 0 ? MATE_CENTIPAWNS : -MATE_CENTIPAWNS;
}

Verdict adjudicate(const std::vector<PlyScore>& history, const AdjudicationRules& rules) {
    Verdict v;
    size_t n = history.size();
    if (n >= size_t(rules.maxPlies)) v = {0.5, "move limit"};
    if (n < size_t(rules.plies)) return v;
    bool win = true, loss = true, draw = true;
    for (size_t i = n - size_t(rules.plies); i < n; ++i) {
        const PlyScore& p = history[i];
        win &= p.scored && p.white >= rules.winCentipawns;
        loss &= p.scored && p.white <= -rules.winCentipawns;
        draw &= p.scored && std::abs(p.white) <= rules.drawCentipawns;
    }
    if (win) v = {1, "adjudicated"};
    else if (loss) v = {0, "adjudicated"};
    else if (draw && n >= size_t(rules.drawFromPly)) v = {0.5, "adjudicated draw"};
    return v;
}

}  // namespace matchtool
