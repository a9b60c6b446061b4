// "AFM_3": the focus measurement unit, which belongs to the focus control block "FC": pushing
// the block latches the unit's settings too, and reading the block back reads the unit's
// settings and measures. The unit filters the luminance of the samples (after white balance)
// of three windows side by side, the left, centre and right thirds of hwRoi, line by line:
// two FIR band filters and two cascades of IIR sections, each response cored and weighed by a
// gain that depends on the sample's level; the sharper the picture, the larger the sums.
#include <cmath>

#include "driver_blocks.h"
#include "measure.h"

namespace {

using namespace tcamera;

constexpr int kFocusWindows = TDATABASE_AUTO_FOCUS_MEASUREMENT_3_WINDOWS;
constexpr double kIirLimit = 65535;  // the IIR sections saturate here

double finiteOrZero(double value) {
  return std::isfinite(value) ? value : 0;
}

// Saturates like the hardware's fixed-point arithmetic; a result that is not a number
// (from coefficients that are not numbers) reads 0.
double saturate(double value) {
  return std::isnan(value) ? 0 : std::clamp(value, -kIirLimit, kIirLimit);
}

double levelGain(const TDatabaseAutoFocusMeasurement_3Curve &curve, int level) {
  const uint8_t *x = curve.x;
  if (level >= x[0] && level < x[1]) return finiteOrZero(curve.y[0]);
  if (level >= x[1] && level < x[2]) return finiteOrZero(curve.y[1]);
  if (level >= x[2] && level <= x[3]) return finiteOrZero(curve.y[2]);
  return 0;
}

// One filter's sum over a window: each response's magnitude less the coring level, weighed
// by the level-dependent gain at that sample.
struct FilterSum {
  const TDatabaseAutoFocusMeasurement_3Curve &curve;
  double coring;
  double sum = 0;
  void add(double response, int level) {
    sum += levelGain(curve, level) * std::max(0.0, std::abs(response) - coring);
  }
};

// Three cascaded IIR sections run along one line.
class IirCascade {
 public:
  explicit IirCascade(const float (&coefficients)[3][4]) {
    for (int s = 0; s < 3; ++s)
      for (int k = 0; k < 4; ++k) sections_[s].c[k] = coefficients[s][k];
  }
  // The response to the next sample; the first sample of a line sets the steady state.
  double next(double input, bool isFirst) {
    double value = input;
    for (Section &section : sections_) {
      const double *c = section.c;
      if (isFirst) {
        section.x1 = section.x2 = value;
        section.y1 = std::abs(c[3]) < 1 ? saturate((c[0] + c[1] + c[2]) * value / (1 - c[3])) : 0;
      }
      const double output =
          saturate(c[0] * value + c[1] * section.x1 + c[2] * section.x2 + c[3] * section.y1);
      section.x2 = section.x1;
      section.x1 = value;
      section.y1 = output;
      value = output;
    }
    return value;
  }

 private:
  struct Section {
    double c[4] = {};  // b0, b1, b2, a1
    double x1 = 0, x2 = 0, y1 = 0;
  };
  Section sections_[3];
};

// A weighted pair of sums as the unit reports it: shifted right, saturated to 32 bits.
uint32_t reported(double highPass, float highWeight, double lowPass, float lowWeight,
                  uint8_t shift) {
  const double value = highPass * double(highWeight) + lowPass * double(lowWeight);
  if (!(value > 0) || shift >= 32) return 0;
  return static_cast<uint32_t>(std::min(value, double(UINT32_MAX))) >> shift;
}

void measureWindow(const TDatabaseAutoFocusMeasurement_3 &unit, const Samples &samples,
                   const Window &window, int index,
                   TDatabaseAutoFocusMeasurement_3Statistics &statistics) {
  const TDatabaseAutoFocusMeasurement_3Coring &coring = unit.coring;
  FilterSum firHigh{unit.ldg.firHighPass, double(coring.firHighPass[index])};
  FilterSum firLow{unit.ldg.firLowPass, double(coring.firLowPass[index])};
  FilterSum iirHigh{unit.ldg.iirHighPass, double(coring.iirHighPass[index])};
  FilterSum iirLow{unit.ldg.iirLowPass, double(coring.iirLowPass[index])};
  const double gamma = std::isfinite(unit.gamma) && unit.gamma > 0 ? unit.gamma : 1;

  double total = 0;
  uint32_t count = 0;
  uint32_t highlights = 0;
  const int n = window.columns.size();
  std::vector<double> line(n);  // the line's luminance after gamma
  std::vector<int> levels(n);   // and before, in 8 bits
  for (int row = window.rows.first; row < window.rows.end; ++row) {
    for (int i = 0; i < n; ++i) {
      const double luma = luminance(samples.at(window.columns.first + i, row));
      levels[i] = std::min(255, static_cast<int>(luma / 4));
      line[i] = gamma == 1 ? luma : kFullScale * std::pow(luma / kFullScale, gamma);
      total += luma;
      ++count;
      highlights += levels[i] > unit.histThreshold ? 1 : 0;
    }
    for (int i = 1; i + 1 < n; ++i)
      firHigh.add((2 * line[i] - line[i - 1] - line[i + 1]) / 4, levels[i]);
    for (int i = 2; i + 2 < n; ++i)
      firLow.add((2 * line[i] - line[i - 2] - line[i + 2]) / 4, levels[i]);
    IirCascade high(unit.iir.highPassCoeff);
    IirCascade low(unit.iir.lowPassCoeff);
    for (int i = 0; i < n; ++i) {
      iirHigh.add(high.next(line[i], i == 0), levels[i]);
      iirLow.add(low.next(line[i], i == 0), levels[i]);
    }
  }
  statistics.fir[index] = reported(firHigh.sum, unit.fir.highPassWeight, firLow.sum,
                                   unit.fir.lowPassWeight, unit.fir.dataShift);
  statistics.iir[index] = reported(iirHigh.sum, unit.iir.highPassWeight, iirLow.sum,
                                   unit.iir.lowPassWeight, unit.iir.dataShift);
  statistics.luma[index] = count != 0 ? total / count : 0;
  statistics.highlights[index] = highlights;
}

}  // namespace

namespace tcamera {

void measureFocusOf(TDatabaseAutoFocusMeasurement_3 &unit, const Samples &samples) {
  // hwRoi: x, y, width, height; the windows are its left, centre and right thirds.
  const int64_t x = unit.hwRoi[0];
  const int64_t width = unit.hwRoi[2];
  const Span rows = spanOf(unit.hwRoi[1], unit.hwRoi[3], samples.rows);
  for (int index = 0; index < kFocusWindows; ++index) {
    const int64_t left = x + width * index / kFocusWindows;
    const int64_t right = x + width * (index + 1) / kFocusWindows;
    const Window window{spanOf(left, right - left, samples.columns), rows};
    measureWindow(unit, samples, window, index, unit.statistics);
  }
}

}  // namespace tcamera

namespace {

uint32_t measureFocus(TDriver *driver, const char *, void *) {
  void *record = nullptr;
  if (const uint32_t code = readUnit(*driver, "AFM_3", &record); code != TCOMMON_SUCCESS)
    return code;
  auto &unit = *static_cast<TDatabaseAutoFocusMeasurement_3 *>(record);
  unit.statistics = {};
  if (unit.isEnable == 0) return TCOMMON_SUCCESS;
  return measureFrame(*driver, Source::kProcessed, "AFM_3", unit,
                      [&unit](const Samples &samples) { measureFocusOf(unit, samples); });
}

constexpr tdriver::Block kFocusBlock{"FC", "TDriverFocusControl_process",
                                     "TDriverFocusControl_statistics", measureFocus};
const tdriver::BlockRegistration kFocusRegistration{kFocusBlock};

}  // namespace

extern "C" TDRIVER_API uint32_t TDriverFocusControl_process(TDriver *driver, uint8_t flag) {
  return transferWithUnit(driver, kFocusBlock, kFocusBlock.process, "AFM_3", flag);
}

extern "C" TDRIVER_API uint32_t TDriverFocusControl_statistics(TDriver *driver, uint8_t flag) {
  return transferWithUnit(driver, kFocusBlock, kFocusBlock.statistics, "AFM_3", flag);
}
