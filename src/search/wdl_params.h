// The win/draw/loss model of the info lines, fitted to 1445024 self-play positions by
//   build/wdl_fit fit tools/training/wdl/histogram.txt --header src/search/wdl_params.h
// (tools/training/wdl/README.md). Written by that command; fit again rather than edit.
#pragma once

constexpr int WDL_COEFFICIENTS = 4;
constexpr int WDL_MATERIAL_MIN = 10, WDL_MATERIAL_MAX = 78, WDL_MATERIAL_SCALE = 58;
// Centre and width of the curve as polynomials in material / WDL_MATERIAL_SCALE, highest power first.
constexpr double WDL_CENTRE[WDL_COEFFICIENTS] = {-333.449, 997.904, -1038.06, 450.211};
constexpr double WDL_WIDTH[WDL_COEFFICIENTS] = {-51.9341, 78.5844, 24.4216, 111.859};
