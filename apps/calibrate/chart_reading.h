// Reading a chart capture as the colour and white-point calibrations share it.
#ifndef TSHELL_CALIBRATE_CHART_READING_H
#define TSHELL_CALIBRATE_CHART_READING_H

#include "calibrate.h"

namespace calibrate {

// The capture's black level per channel (R, Gr, Gb, B).
std::array<double, 4> blackOf(const imaging::RawFrame &raw);

// The chart of a capture read as the ISP would see it: black subtracted, the shading grid
// applied when given, the chart found (unless its place is given) and its patches measured.
// Refused: no chart, a patch clipped (named, with the advice to shorten the exposure), or a
// white patch too dark to measure colours on.
bool readChart(const Capture &capture, const std::optional<ChartPlace> &chart,
               const std::optional<ShadingGrid> &shading,
               const std::optional<std::array<double, 4>> &black, ChartPlace *place,
               std::array<PatchSample, 24> *patches, std::string *error);

// R/G and B/G of the grey scale's four brightest patches together (the darker two carry too
// little light and most of the flare).
std::array<double, 2> greyRatios(const std::array<PatchSample, 24> &patches);

}  // namespace calibrate

#endif  // TSHELL_CALIBRATE_CHART_READING_H
