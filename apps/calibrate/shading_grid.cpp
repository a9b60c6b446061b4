// The lens shading grid as the ISP reads it: sector sizes, grid positions and the bilinear
// gain between grid points.
#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>

#include "calibrate.h"
#include "t_database.h"

namespace calibrate {

namespace {

constexpr int kSectors = kGridSide - 1;

// Splits length into count whole parts that add up to it, the larger ones first.
template <size_t N>
void splitEvenly(int length, std::array<uint16_t, N> &parts) {
  const int count = static_cast<int>(N);
  for (int i = 0; i < count; ++i)
    parts[i] = static_cast<uint16_t>(length / count + (i < length % count ? 1 : 0));
}

// Grid positions from sector sizes; sizes that do not add up to length are proportions.
template <size_t N>
std::array<double, N + 1> positionsOf(const std::array<uint16_t, N> &sizes, double length) {
  std::array<double, N + 1> positions{};
  const double total = std::accumulate(sizes.begin(), sizes.end(), 0.0);
  for (size_t i = 0; i < N; ++i) {
    const double size = total > 0 ? sizes[i] / total : 1.0 / N;
    positions[i + 1] = positions[i] + size * length;
  }
  return positions;
}

// The sector holding coordinate and how far across it the coordinate lies (0..1).
std::pair<int, double> placeIn(const std::array<double, kGridSide> &positions, double coordinate) {
  int sector = 0;
  while (sector < kSectors - 1 && coordinate >= positions[sector + 1]) ++sector;
  const double span = positions[sector + 1] - positions[sector];
  const double fraction = span > 0 ? (coordinate - positions[sector]) / span : 0.0;
  return {sector, std::clamp(fraction, 0.0, 1.0)};
}

// Bilinear gain between the four grid points around (row + fy, column + fx).
double gainBetween(const std::array<uint16_t, kGridPoints> &gains, std::pair<int, double> row,
                   std::pair<int, double> column) {
  const auto at = [&](int r, int c) { return gains[r * kGridSide + c] / double(kUnityGain); };
  const auto [r, fy] = row;
  const auto [c, fx] = column;
  const double top = at(r, c) * (1 - fx) + at(r, c + 1) * fx;
  const double bottom = at(r + 1, c) * (1 - fx) + at(r + 1, c + 1) * fx;
  return top * (1 - fy) + bottom * fy;
}

}  // namespace

ShadingGrid equalSectors(int width, int height) {
  ShadingGrid grid;
  for (auto &channel : grid.matrix) channel.fill(kUnityGain);
  splitEvenly(width, grid.xSize);
  splitEvenly(height / 2, grid.ySize);
  return grid;
}

std::array<double, kGridSide> gridColumns(const ShadingGrid &grid, int width) {
  return positionsOf(grid.xSize, width);
}

std::array<double, kGridSide> gridRows(const ShadingGrid &grid, int height) {
  // The upper half's sizes, mirrored for the lower half.
  const auto upper = positionsOf(grid.ySize, height / 2.0);
  std::array<double, kGridSide> rows{};
  const int half = kSectors / 2;
  for (int i = 0; i <= half; ++i) rows[i] = upper[i];
  for (int i = 1; i <= half; ++i) rows[half + i] = height - upper[half - i];
  return rows;
}

double shadingGain(const ShadingGrid &grid, int channel, int width, int height, int x, int y) {
  if (channel < 0 || channel > 3) return 1.0;
  return gainBetween(grid.matrix[channel], placeIn(gridRows(grid, height), y + 0.5),
                     placeIn(gridColumns(grid, width), x + 0.5));
}

void applyShading(const ShadingGrid &grid, imaging::RawFrame *raw) {
  const int width = raw->width, height = raw->height;
  const auto columns = gridColumns(grid, width);
  const auto rows = gridRows(grid, height);
  std::vector<std::pair<int, double>> columnPlaces(width);
  for (int x = 0; x < width; ++x) columnPlaces[x] = placeIn(columns, x + 0.5);
  for (int y = 0; y < height; ++y) {
    const auto row = placeIn(rows, y + 0.5);
    for (int x = 0; x < width; ++x) {
      const int channel = channelAt(*raw, x, y);
      if (channel < 0) continue;
      const double gain = gainBetween(grid.matrix[channel], row, columnPlaces[x]);
      uint16_t &code = raw->data[static_cast<size_t>(y) * width + x];
      const double black = raw->blackLevel[(y & 1) * 2 + (x & 1)];
      const double value = black + (code - black) * gain;
      code = static_cast<uint16_t>(std::clamp(value + 0.5, 0.0, 65535.0));
    }
  }
}

namespace {

constexpr std::array<const char *, 4> kMatrixNames = {"matrix.r", "matrix.gr", "matrix.gb",
                                                      "matrix.b"};

template <typename Values>
void appendNumbers(std::string &out, const Values &values, size_t first, size_t count) {
  for (size_t i = first; i < first + count; ++i) {
    out += i == first ? "" : " ";
    out += std::to_string(values[i]);
  }
  out += '\n';
}

void takeRecord(const TDatabaseLensShadingCorrection_3 &record, ShadingGrid *grid) {
  for (int c = 0; c < 4; ++c)
    std::copy(std::begin(record.matrix[c]), std::end(record.matrix[c]), grid->matrix[c].begin());
  std::copy(std::begin(record.xSize), std::end(record.xSize), grid->xSize.begin());
  std::copy(std::begin(record.ySize), std::end(record.ySize), grid->ySize.begin());
}

// A settings document: read by the database itself, and it must set the grid and the sizes.
bool parseShadingDocument(std::string_view text, ShadingGrid *grid, std::string *error) {
  for (const char *field : {"\"matrix\"", "\"xSize\"", "\"ySize\""}) {
    if (text.find(field) == std::string_view::npos) {
      *error = std::string("the settings document has no LSC_3 ") + field;
      return false;
    }
  }
  TDatabase *database = nullptr;
  if (TDatabase_open(nullptr, &database) != TCOMMON_SUCCESS) {
    *error = "cannot open a settings database";
    return false;
  }
  bool ok = TDatabase_parse(database, std::string(text).c_str()) == TCOMMON_SUCCESS;
  if (!ok) *error = std::string("settings document refused: ") + TDatabase_lastError();
  void *record = nullptr;
  if (ok && TDatabase_query(database, "LSC_3", &record) == TCOMMON_SUCCESS && record != nullptr)
    takeRecord(*static_cast<const TDatabaseLensShadingCorrection_3 *>(record), grid);
  TDatabase_close(&database);
  return ok;
}

}  // namespace

std::string shadingFile(const ShadingGrid &grid, const std::vector<std::string> &header) {
  std::string out;
  for (const std::string &line : header) out += "# " + line + "\n";
  if (!header.empty()) out += '\n';
  for (int c = 0; c < 4; ++c) {
    out += std::string(kMatrixNames[c]) + '\n';
    for (int row = 0; row < kGridSide; ++row)
      appendNumbers(out, grid.matrix[c], static_cast<size_t>(row) * kGridSide, kGridSide);
    out += '\n';
  }
  out += "xSize ";
  appendNumbers(out, grid.xSize, 0, grid.xSize.size());
  out += "ySize ";
  appendNumbers(out, grid.ySize, 0, grid.ySize.size());
  return out;
}

bool parseShadingFile(std::string_view text, ShadingGrid *grid, std::string *error) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first != std::string_view::npos && text[first] == '{')
    return parseShadingDocument(text, grid, error);
  // The parser the ISP's import uses, on a record of our own.
  auto record = std::make_unique<TDatabaseLensShadingCorrection_3>();
  std::memset(record.get(), 0, sizeof(*record));
  const TCommonBuffer file{reinterpret_cast<uint8_t *>(const_cast<char *>(text.data())),
                           text.size(), 0, 1};
  if (TDatabaseLensShadingCorrection_3_parse2(&file, 1, record.get()) != TCOMMON_SUCCESS) {
    *error = std::string("not a lens shading file: ") + TDatabase_lastError();
    return false;
  }
  takeRecord(*record, grid);
  return true;
}

}  // namespace calibrate
