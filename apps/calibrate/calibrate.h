// Calibration of a sensor module from raw captures: the black level from dark frames, the
// lens shading from a flat field, the colour correction matrix from a 24-patch colour chart
// and the white-balance gains per light from the chart's grey patches. The results are
// written as the calibration files that "CCM" and "LSC_3" import and as settings fragments
// (settings documents that name only what the calibration sets).
//
// The captures are raw Bayer frames (imaging::RawFrame): our own DNG, any camera raw file
// LibRaw reads, or frames taken from the simulated camera. Nothing here knows the simulated
// camera; its frames are calibrated like any other camera's.
//
// Every function that can fail returns false with *error set to one line for the user, and
// then leaves its result untouched.
#ifndef TSHELL_CALIBRATE_H
#define TSHELL_CALIBRATE_H

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "colour_chart.h"
#include "imaging.h"

namespace calibrate {

// The four Bayer channels in the order of the ISP's per-channel tables.
enum Channel : int { kR = 0, kGr = 1, kGb = 2, kB = 3 };
constexpr std::array<const char *, 4> kChannelNames = {"R", "Gr", "Gb", "B"};

// ---- Captures (capture.cpp) ------------------------------------------------------------------

// One raw capture and the name it is reported by (its file name, or "twin frame 3").
struct Capture {
  std::string name;
  imaging::RawFrame raw;
};

// Reads a camera raw file (DNG included). A picture that is not raw (JPEG, PNG, a rendered
// TIFF) or data that is no picture at all is refused with a message that says so.
bool loadCapture(std::string_view data, std::string name, Capture *capture, std::string *error);

// Bit depth of a capture: the smallest of 8..16 whose range holds its white level.
int bitDepthOf(const imaging::RawFrame &raw);

// The Bayer channel (kR .. kB) of site (x, y); -1 for a site of no Bayer channel (infrared).
int channelAt(const imaging::RawFrame &raw, int x, int y);

// ---- Lens shading grid (shading_grid.cpp) ----------------------------------------------------

constexpr int kGridSide = 33;  // grid points per side: corners of 32 x 32 sectors
constexpr int kGridPoints = kGridSide * kGridSide;
constexpr int kUnityGain = 1024;

// The gain grid of "LSC_3": per channel 33 x 33 gains (1024 = 1.0) at the corners of the
// sectors, row by row from the top-left; xSize the 32 sector widths left to right, ySize the
// 16 sector heights of the upper half, mirrored below. Sizes that do not add up to the frame
// are taken as proportions of it; all zero means equal sectors.
struct ShadingGrid {
  std::array<std::array<uint16_t, kGridPoints>, 4> matrix{};
  std::array<uint16_t, 32> xSize{};
  std::array<uint16_t, 16> ySize{};
};

// Equal sectors for a frame: widths and heights in whole pixels that add up to it.
ShadingGrid equalSectors(int width, int height);
// The positions (pixels) of the 33 grid columns and rows for a frame.
std::array<double, kGridSide> gridColumns(const ShadingGrid &grid, int width);
std::array<double, kGridSide> gridRows(const ShadingGrid &grid, int height);
// The gain (1.0 = unity) the ISP applies at the centre of site (x, y) of channel c, as it
// interpolates the grid: bilinear between the four grid points around the site.
double shadingGain(const ShadingGrid &grid, int channel, int width, int height, int x, int y);
// A capture with the grid applied to its signal above black, as the ISP's lens shading
// stage would (no clipping: calibration wants the light, not the display).
void applyShading(const ShadingGrid &grid, imaging::RawFrame *raw);

// The calibration file "LSC_3" imports: matrix.r, matrix.gr, matrix.gb, matrix.b, xSize,
// ySize. header: comment lines put before the data (without '#').
std::string shadingFile(const ShadingGrid &grid, const std::vector<std::string> &header);
// Reads such a file (or a fragment of a settings document with "LSC_3" matrix, xSize, ySize).
bool parseShadingFile(std::string_view text, ShadingGrid *grid, std::string *error);

// ---- Black level (black.cpp) -----------------------------------------------------------------

struct ChannelLevel {
  double level = 0;  // mean code of the channel's sites (defects left out), raw codes
  double noise = 0;  // temporal + fixed-pattern standard deviation, codes
};
// The black level at one sensor gain: the dark frames taken at that gain, averaged.
struct BlackPoint {
  double gain = 1;
  int frames = 0;
  std::array<ChannelLevel, 4> channel{};
};
struct BlackResult {
  int bitDepth = 0;                // of the captures
  std::vector<BlackPoint> points;  // ascending gain
};
// gains: the sensor gain of each capture (empty: all at gain 1). Captures at the same gain
// are averaged. Refused: a capture that is not dark (a lit frame, the lens cap off).
bool calibrateBlack(const std::vector<Capture> &captures, const std::vector<double> &gains,
                    BlackResult *result, std::string *error);

// ---- Lens shading (shading.cpp) --------------------------------------------------------------

struct ShadingOptions {
  std::optional<ShadingGrid> sectors;  // sector sizes to keep (the record's); else equal sectors
  std::optional<std::array<double, 4>> black;  // black level per channel; else the capture's
};
struct ShadingResult {
  ShadingGrid grid;
  // Per channel: brightness of the corners over the centre, in the capture and as the grid
  // corrects it (1 = flat).
  std::array<double, 4> cornerToCentreBefore{}, cornerToCentreAfter{};
  // Per channel at the centre of the frame: the level above black of the averaged captures and
  // the standard deviation of one capture's sites (raw codes).
  std::array<double, 4> centreLevel{}, centreNoise{};
};
// One or more flat-field captures of the same size (averaged). Refused: a capture that is not
// a flat field (too dark, clipped, or structured).
bool calibrateShading(const std::vector<Capture> &flats, const ShadingOptions &options,
                      ShadingResult *result, std::string *error);

// ---- Colour chart (chart.cpp) ----------------------------------------------------------------

using Lab = colour::Lab;
// Published D50 L*a*b* of the 24-patch colour chart, row by row from dark skin to black, and
// the patches' names.
const std::array<Lab, 24> &chartReference();
const std::array<const char *, 24> &chartPatchNames();

// Where the chart lies in a capture: the centres of the top-left patch (dark skin) and of the
// bottom-right patch (black), in pixels of the capture.
struct ChartPlace {
  double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

// Finds the chart in a capture (black level per channel subtracted first): the 6 x 4 grid of
// uniform patches whose bottom row is the grey scale, white on the left. Refused when no such
// grid is found.
bool findChart(const imaging::RawFrame &raw, const std::array<double, 4> &black, ChartPlace *place,
               std::string *error);

// One patch as the camera saw it: mean R, G, B above black (greens averaged) over the middle of
// the patch, the noise of G there, and the share of its sites at the white level.
struct PatchSample {
  std::array<double, 3> rgb{};
  double noise = 0;
  double clipped = 0;
};
bool measureChart(const imaging::RawFrame &raw, const std::array<double, 4> &black,
                  const ChartPlace &place, std::array<PatchSample, 24> *patches,
                  std::string *error);

// ---- Colour correction matrix (colour.cpp) ---------------------------------------------------

// How a chart capture is read, for the colour matrix and the white points.
struct ChartOptions {
  std::optional<ChartPlace> chart;             // else the chart is found
  std::optional<ShadingGrid> shading;          // applied before measuring, as the ISP would
  std::optional<std::array<double, 4>> black;  // else the capture's black level
};
struct ColourOptions : ChartOptions {
  // The matrix the "before" figures are measured with (the one in use); identity if unset.
  std::array<double, 9> currentMatrix{1, 0, 0, 0, 1, 0, 0, 0, 1};
};
struct PatchFit {
  std::array<double, 3> camera{};  // white-balanced camera RGB, exposure-normalised, linear
  Lab reference, before, after;    // chart reference; measured with the current and new matrix
  double deltaEBefore = 0, deltaEAfter = 0;  // CIEDE2000
};
struct ColourResult {
  ChartPlace chart;                 // where the patches were read
  std::array<double, 4> wbGains{};  // R, Gr, Gb, B gains making the greys neutral
  std::array<double, 9> matrix{};   // rows sum to 1
  std::array<double, 3> offset{};   // 12-bit codes
  std::array<PatchFit, 24> patches{};
  double meanBefore = 0, maxBefore = 0, meanAfter = 0, maxAfter = 0;
};
// Refused: no chart found, a chart that is over-exposed (a patch clipped) or too dark.
bool calibrateColour(const Capture &chart, const ColourOptions &options, ColourResult *result,
                     std::string *error);
// The calibration file "CCM" imports: ccMatrix and ccOffset.
std::string colourFile(const ColourResult &result, const std::vector<std::string> &header);

// ---- White points (white.cpp) ----------------------------------------------------------------

struct WhitePoint {
  double kelvin = 0;
  std::array<double, 4> gains{};  // R, Gr, Gb, B white-balance gains (greens 1)
  double rg = 0, bg = 0;          // R/G and B/G of a grey in the capture
  double neutralError = 0;        // largest R/G or B/G departure of a grey patch after the gains
};
using WhiteOptions = ChartOptions;
// One chart capture per light, kelvins[i] the colour temperature of captures[i].
bool calibrateWhite(const std::vector<Capture> &captures, const std::vector<double> &kelvins,
                    const WhiteOptions &options, std::vector<WhitePoint> *points,
                    std::string *error);

// ---- Settings fragments (fragments.cpp) ------------------------------------------------------

// Settings documents (JSON) that set what a calibration measured, for "ST" "setting" or
// tshell --database: BLS data (and the ABLS table when several gains were measured), LSC_3
// matrix and sizes, CCM matrix and offsets, WB_1_1 gains of the white point nearest to
// applyKelvin.
std::string blackFragment(const BlackResult &result);
std::string shadingFragment(const ShadingResult &result);
std::string colourFragment(const ColourResult &result);
std::string whiteFragment(const std::vector<WhitePoint> &points, double applyKelvin);

}  // namespace calibrate

#endif  // TSHELL_CALIBRATE_H
