// The training curve as a stand-alone SVG picture.
#pragma once

#include <string>
#include <vector>

#include "training.h"

std::string curveSvg(const std::vector<EpochStats>& history);
bool writeCurveSvg(const std::string& path, const std::vector<EpochStats>& history);
