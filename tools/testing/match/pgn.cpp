#include "pgn.h"

#include <cstdio>

namespace matchtool {

namespace {

std::string tag(const std::string& name, const std::string& value) { return "[" + name + " \"" + value + "\"]\n"; }

std::string comment(const MoveRecord& m) {
    char text[64];
    if (!m.score.found) std::snprintf(text, sizeof text, "{%.3fs}", m.seconds);
    else if (m.score.mate)
        std::snprintf(text, sizeof text, "{%sM%d/%d %.3fs}", m.score.value < 0 ? "-" : "+",
                      m.score.value < 0 ? -m.score.value : m.score.value, m.score.depth, m.seconds);
    else std::snprintf(text, sizeof text, "{%+.2f/%d %.3fs}", m.score.value / 100.0, m.score.depth, m.seconds);
    return text;
}

}  // namespace

std::string pgnRecord(const PgnHeader& h, const GameResult& g) {
    std::string out = tag("Event", h.event) + tag("Round", std::to_string(h.round)) + tag("White", h.white)
                      + tag("Black", h.black) + tag("Result", g.result) + tag("SetUp", "1") + tag("FEN", g.startFen)
                      + tag("TimeControl", h.timeControl) + tag("Termination", g.reason) + "\n";
    std::string line;
    for (const auto& m : g.moves) {
        std::string item = m.move + " " + comment(m);
        if (line.size() + item.size() > 100) out += line + "\n", line.clear();
        line += (line.empty() ? "" : " ") + item;
    }
    out += line + (line.empty() ? "" : " ") + g.result + "\n\n";
    return out;
}

}  // namespace matchtool
