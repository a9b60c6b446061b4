// White points from the chart's grey scale: per light the gains that make the greys neutral.
#include <algorithm>
#include <cmath>

#include "calibrate.h"
#include "chart_reading.h"

namespace calibrate {

bool calibrateWhite(const std::vector<Capture> &captures, const std::vector<double> &kelvins,
                    const WhiteOptions &options, std::vector<WhitePoint> *points,
                    std::string *error) {
  if (captures.empty() || captures.size() != kelvins.size()) {
    *error = "white points need one chart capture per light, each with its colour temperature";
    return false;
  }
  std::vector<WhitePoint> out;
  for (size_t i = 0; i < captures.size(); ++i) {
    if (!(kelvins[i] >= 1000 && kelvins[i] <= 25000)) {
      *error = captures[i].name + ": colour temperature out of 1000..25000 K";
      return false;
    }
    ChartPlace place;
    std::array<PatchSample, 24> patches;
    if (!readChart(captures[i], options.chart, options.shading, options.black, &place, &patches,
                   error))
      return false;
    WhitePoint point;
    point.kelvin = kelvins[i];
    const auto [rg, bg] = greyRatios(patches);
    point.rg = rg;
    point.bg = bg;
    point.gains = {1 / rg, 1, 1, 1 / bg};
    // The greys the gains come from; the two darkest carry too little light to judge by.
    for (int k = colour::kFirstGrey; k < colour::kFirstGrey + 4; ++k) {
      const auto &rgb = patches[k].rgb;
      point.neutralError = std::max({point.neutralError, std::abs(rgb[0] / rgb[1] / rg - 1),
                                     std::abs(rgb[2] / rgb[1] / bg - 1)});
    }
    out.push_back(point);
  }
  std::sort(out.begin(), out.end(),
            [](const WhitePoint &a, const WhitePoint &b) { return a.kelvin < b.kelvin; });
  *points = std::move(out);
  return true;
}

}  // namespace calibrate
