// "LSC_3" in the simulated ISP: lifts the corners of the frame, where the lens lets less light
// through, back to the level of the centre, with one gain grid per Bayer channel.
//
// Each channel (R, Gr, Gb, B) has 33 x 33 gains (1024 = 1.0) at the corners of 32 x 32
// sectors. xSize gives the sector widths from left to right; ySize the sector heights of the
// upper half, mirrored for the lower half. When the sizes do not add up to the frame (a
// calibration made at another resolution) they are taken as proportions of it; all zero means
// equal sectors. A site's gain is interpolated bilinearly between the four grid points around
// its centre, and its signal above the black level still in the data is multiplied by it and
// clipped at the white level. Infrared sites of an RGB-IR sensor keep unity gain. Both
// exposures of a two-exposure frame are corrected alike.
#include <algorithm>
#include <numeric>

#include "stages.h"
#include "vector4.h"

namespace tcamera {
namespace {

constexpr int kSide = TDATABASE_LSC_3_GRID_SIDE;  // grid points per side
constexpr int kSectors = kSide - 1;
constexpr int kHalfSectors = kSectors / 2;
constexpr float kUnity = TDATABASE_LSC_3_UNITY_GAIN;

using vector4::Vec;

// Positions of the grid points along one side of the frame, in pixels.
std::array<float, kSide> columnPositions(const uint16_t (&sizes)[kSectors], int width) {
  std::array<float, kSide> positions{};
  const float total = std::accumulate(sizes, sizes + kSectors, 0.0f);
  for (int i = 0; i < kSectors; ++i) {
    const float size = total > 0 ? sizes[i] / total : 1.0f / kSectors;
    positions[i + 1] = positions[i] + size * static_cast<float>(width);
  }
  return positions;
}

std::array<float, kSide> rowPositions(const uint16_t (&sizes)[kHalfSectors], int height) {
  std::array<float, kSide> positions{};
  const float total = std::accumulate(sizes, sizes + kHalfSectors, 0.0f);
  const float half = static_cast<float>(height) / 2;
  for (int i = 0; i < kHalfSectors; ++i) {
    const float size = total > 0 ? sizes[i] / total : 1.0f / kHalfSectors;
    positions[i + 1] = positions[i] + size * half;
  }
  for (int i = 1; i <= kHalfSectors; ++i)
    positions[kHalfSectors + i] = static_cast<float>(height) - positions[kHalfSectors - i];
  return positions;
}

// The sector holding coordinate (a pixel centre) and how far across it the coordinate lies.
struct SectorPlace {
  int sector;
  float fraction;
};

SectorPlace placeIn(const std::array<float, kSide> &positions, float coordinate) {
  int sector = 0;
  while (sector < kSectors - 1 && coordinate >= positions[sector + 1]) ++sector;
  const float span = positions[sector + 1] - positions[sector];
  const float fraction = span > 0 ? (coordinate - positions[sector]) / span : 0.0f;
  return {sector, std::clamp(fraction, 0.0f, 1.0f)};
}

int channelOf(Cfa colour) {
  return colour == Cfa::kInfrared ? -1 : static_cast<int>(colour);
}

void correct(const std::vector<float> &in, const Mosaic &shape,
             const TDatabaseLensShadingCorrection_3 &state, const std::vector<SectorPlace> &columns,
             const std::vector<float> &fractions, const std::vector<SectorPlace> &rows,
             std::vector<float> &out) {
  const float black = shape.blackLevel;
  const float white = shape.whiteLevel;
  parallelRows(shape.height, [&](int first, int last) {
    // Gains of each channel's grid interpolated down to this row; the fifth is unity.
    float rowGains[5][kSide];
    std::fill(rowGains[4], rowGains[4] + kSide, 1.0f);
    Vec base[kSectors], rise[kSectors];
    for (int y = first; y < last; ++y) {
      const SectorPlace place = rows[y];
      for (int c = 0; c < 4; ++c) {
        const uint16_t *upper = &state.matrix[c][place.sector * kSide];
        const uint16_t *lower = upper + kSide;
        for (int i = 0; i < kSide; ++i)
          rowGains[c][i] = (upper[i] + (lower[i] - upper[i]) * place.fraction) / kUnity;
      }
      const float *gainsAt[4];
      for (int x = 0; x < 4; ++x) {
        const int channel = channelOf(shape.colourAt(x, y));
        gainsAt[x] = rowGains[channel < 0 ? 4 : channel];
      }
      // Per sector, the gain at its left edge and its rise across it, in the lanes of four
      // sites that start on the pattern.
      for (int sector = 0; sector < kSectors; ++sector)
        for (int lane = 0; lane < 4; ++lane) {
          base[sector][lane] = gainsAt[lane][sector];
          rise[sector][lane] = gainsAt[lane][sector + 1] - gainsAt[lane][sector];
        }
      const size_t row = static_cast<size_t>(y) * shape.width;
      const float *source = &in[row];
      float *dest = &out[row];
      const auto site = [&](int x) {
        const float *gains = gainsAt[x & 3];
        const SectorPlace column = columns[x];
        const float gain = gains[column.sector] +
                           (gains[column.sector + 1] - gains[column.sector]) * column.fraction;
        return std::min(white, black + (source[x] - black) * gain);
      };
      int x = 0;
      for (; x + 4 <= shape.width; x += 4) {
        const int sector = columns[x].sector;
        if (sector != columns[x + 3].sector) {
          for (int i = 0; i < 4; ++i) dest[x + i] = site(x + i);
          continue;
        }
        const Vec gain = base[sector] + rise[sector] * vector4::load(&fractions[x]);
        const Vec level = vector4::splat(black) + (vector4::load(source + x) - black) * gain;
        vector4::store(dest + x, vector4::min(level, vector4::splat(white)));
      }
      for (; x < shape.width; ++x) dest[x] = site(x);
    }
  });
}

}  // namespace

bool stageLensShadingCorrection_3(const Mosaic &in, const TDatabaseLensShadingCorrection_3 &state,
                                  const FrameContext &context, Mosaic &out) {
  (void)context;
  if (state.state == 0) return false;
  bool flat = true;
  for (const auto &grid : state.matrix)
    flat = flat && std::all_of(std::begin(grid), std::end(grid),
                               [](uint16_t gain) { return gain == TDATABASE_LSC_3_UNITY_GAIN; });
  if (flat) return false;

  const std::array<float, kSide> xNodes = columnPositions(state.xSize, in.width);
  const std::array<float, kSide> yNodes = rowPositions(state.ySize, in.height);
  std::vector<SectorPlace> columns(in.width), rows(in.height);
  std::vector<float> fractions(in.width);  // of the columns, for loads four at a time
  for (int x = 0; x < in.width; ++x) {
    columns[x] = placeIn(xNodes, x + 0.5f);
    fractions[x] = columns[x].fraction;
  }
  for (int y = 0; y < in.height; ++y) rows[y] = placeIn(yNodes, y + 0.5f);

  out = in.sameShape();
  correct(in.data, in, state, columns, fractions, rows, out.data);
  if (!in.shortData.empty())
    correct(in.shortData, in, state, columns, fractions, rows, out.shortData);
  return true;
}

}  // namespace tcamera
