#include "curve_svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace {

constexpr double WIDTH = 720, HEIGHT = 440;
constexpr double LEFT = 80, RIGHT = 20, TOP = 40, BOTTOM = 60;

std::string number(double v, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, v);
    return text;
}

}  // namespace

std::string curveSvg(const std::vector<EpochStats>& history) {
    double lo = 1e300, hi = -1e300;
    for (const EpochStats& e : history) {
        lo = std::min({lo, e.trainLoss, e.validationLoss});
        hi = std::max({hi, e.trainLoss, e.validationLoss});
    }
    if (history.empty()) lo = 0, hi = 1;
    if (hi - lo < 1e-12) lo -= 1e-6, hi += 1e-6;
    double pad = (hi - lo) * 0.05;
    lo = std::max(0.0, lo - pad);
    hi += pad;
    int firstEpoch = history.empty() ? 1 : history.front().epoch;
    int lastEpoch = history.empty() ? 1 : history.back().epoch;
    double span = std::max(1, lastEpoch - firstEpoch);
    double plotW = WIDTH - LEFT - RIGHT, plotH = HEIGHT - TOP - BOTTOM;
    auto x = [&](int epoch) { return LEFT + (epoch - firstEpoch) / span * plotW; };
    auto y = [&](double loss) { return TOP + (hi - loss) / (hi - lo) * plotH; };

    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << WIDTH << "\" height=\"" << HEIGHT
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"" << WIDTH / 2
        << "\" y=\"22\" text-anchor=\"middle\" font-size=\"15\">Training loss per epoch</text>\n";
    // Grid and axis labels.
    int decimals = std::max(0, int(std::ceil(-std::log10(hi - lo))) + 2);
    for (int i = 0; i <= 5; ++i) {
        double loss = lo + (hi - lo) * i / 5;
        double py = y(loss);
        svg << "<line x1=\"" << LEFT << "\" y1=\"" << py << "\" x2=\"" << WIDTH - RIGHT << "\" y2=\"" << py
            << "\" stroke=\"#ddd\"/>\n<text x=\"" << LEFT - 6 << "\" y=\"" << py + 4 << "\" text-anchor=\"end\">"
            << number(loss, decimals) << "</text>\n";
    }
    int step = std::max(1, (lastEpoch - firstEpoch) / 10);
    for (int e = firstEpoch; e <= lastEpoch; e += step)
        svg << "<text x=\"" << x(e) << "\" y=\"" << HEIGHT - BOTTOM + 18 << "\" text-anchor=\"middle\">" << e
            << "</text>\n";
    svg << "<rect x=\"" << LEFT << "\" y=\"" << TOP << "\" width=\"" << plotW << "\" height=\"" << plotH
        << "\" fill=\"none\" stroke=\"black\"/>\n"
        << "<text x=\"" << LEFT + plotW / 2 << "\" y=\"" << HEIGHT - 20 << "\" text-anchor=\"middle\">epoch</text>\n"
        << "<text x=\"18\" y=\"" << TOP + plotH / 2 << "\" text-anchor=\"middle\" transform=\"rotate(-90 18 "
        << TOP + plotH / 2 << ")\">mean squared error</text>\n";

    auto curve = [&](const char* colour, auto value) {
        svg << "<polyline fill=\"none\" stroke=\"" << colour << "\" stroke-width=\"2\" points=\"";
        for (const EpochStats& e : history) svg << x(e.epoch) << "," << y(value(e)) << " ";
        svg << "\"/>\n";
        for (const EpochStats& e : history)
            svg << "<circle cx=\"" << x(e.epoch) << "\" cy=\"" << y(value(e)) << "\" r=\"3\" fill=\"" << colour
                << "\"/>\n";
    };
    curve("#1f77b4", [](const EpochStats& e) { return e.trainLoss; });
    curve("#d62728", [](const EpochStats& e) { return e.validationLoss; });

    // The learning rate on a scale of its own (0 to its largest value), right axis.
    double topRate = 0;
    for (const EpochStats& e : history) topRate = std::max(topRate, e.learningRate);
    if (topRate > 0) {
        auto yRate = [&](double rate) { return TOP + (1.0 - rate / topRate) * plotH; };
        svg << "<polyline fill=\"none\" stroke=\"#2ca02c\" stroke-width=\"1.5\" stroke-dasharray=\"5,3\" points=\"";
        for (const EpochStats& e : history) svg << x(e.epoch) << "," << yRate(e.learningRate) << " ";
        svg << "\"/>\n";
        for (int i = 0; i <= 5; i += 5)
            svg << "<text x=\"" << WIDTH - RIGHT - 4 << "\" y=\"" << yRate(topRate * i / 5) - 4
                << "\" text-anchor=\"end\" fill=\"#2ca02c\">lr " << std::scientific << std::setprecision(1)
                << topRate * i / 5 << std::defaultfloat << "</text>\n";
    }
    double legendX = WIDTH - RIGHT - 170;
    svg << "<rect x=\"" << legendX << "\" y=\"" << TOP + 8
        << "\" width=\"160\" height=\"62\" fill=\"white\" stroke=\"#999\"/>\n"
        << "<line x1=\"" << legendX + 8 << "\" y1=\"" << TOP + 22 << "\" x2=\"" << legendX + 32 << "\" y2=\""
        << TOP + 22 << "\" stroke=\"#1f77b4\" stroke-width=\"2\"/><text x=\"" << legendX + 38 << "\" y=\"" << TOP + 26
        << "\">training</text>\n"
        << "<line x1=\"" << legendX + 8 << "\" y1=\"" << TOP + 40 << "\" x2=\"" << legendX + 32 << "\" y2=\""
        << TOP + 40 << "\" stroke=\"#d62728\" stroke-width=\"2\"/><text x=\"" << legendX + 38 << "\" y=\"" << TOP + 44
        << "\">validation</text>\n"
        << "<line x1=\"" << legendX + 8 << "\" y1=\"" << TOP + 58 << "\" x2=\"" << legendX + 32 << "\" y2=\""
        << TOP + 58 << "\" stroke=\"#2ca02c\" stroke-dasharray=\"5,3\"/><text x=\"" << legendX + 38 << "\" y=\""
        << TOP + 62 << "\">learning rate</text>\n"
        << "</svg>\n";
    return svg.str();
}

bool writeCurveSvg(const std::string& path, const std::vector<EpochStats>& history) {
    std::ofstream out(path);
    out << curveSvg(history);
    return bool(out);
}
