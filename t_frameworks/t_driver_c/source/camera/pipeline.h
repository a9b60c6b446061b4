// The pipeline of the simulated camera: the sensor and the stages of the image blocks in
// hardware order, run on the blocks' latched hardware states.
//
// What the sensor does is derived from the hardware state of the input and sensor blocks:
//   - frame size, Bayer order and bit depth come from the selected input path ("IPT"
//     paths[pathIndex]): its rectangle, its bayerPattern, and its format (RAW8 and RAW10 read
//     a 10-bit sensor, RAW12 and wider a 12-bit one, the deepest this sensor delivers);
//   - exposure from frame 0 of "EC_2": integrationTime[0], and analog[0] x digital[0] as the
//     sensor's gain (the sensor's digital gain scales signal and noise alike, as the analog
//     gain does); a path whose stitchingMode is not linear delivers a second, short exposure,
//     integrationTime[0] / integrationTime[1] times shorter (16 times when that is not a
//     ratio above 1);
//   - the lens position from "FC";
//   - RGB-IR: the selected sensor mode ("SS" modes[modeIndex]) of type 1 puts infrared sites
//     into the colour filter array; only then does the RGB-IR stage run, with the settings of
//     "RGBIR_1_1" when that block is enabled and otherwise those of "RGBIR".
//
// Frames are rendered lazily: a tap is rendered when asked for and kept until the hardware
// state or the frame number changes. The picture after white balance (what the measuring
// units see), the temporal noise reducer's output (the next frame's history) and the 8-bit
// output are kept; any other tap only while it is the last one asked for, so that a frame
// holds a few buffers, not one per stage. The buffers themselves stay allocated from frame to
// frame: each stage writes into an image of the pipeline's pool that nothing holds any more.
//
// The temporal noise reducer ("3DNR_4") blends a frame with the previous frame as it left the
// reducer. That history is taken when the frame advances, from the frame rendered with the
// hardware state of that moment, and it stays fixed while the frame is current: the same
// hardware state and frame number give the same picture, bit for bit, whatever was rendered in
// between. A frame that nobody looked at (no tap asked for) is not rendered when the frame
// advances, so that a camera streaming unwatched costs nothing: the next frame then blends
// with the last frame that was looked at, which for the still test chart differs from the
// frame before only in its noise. While the reducer is disabled nothing is kept and the
// history starts again.
#ifndef T_DRIVER_CAMERA_PIPELINE_H
#define T_DRIVER_CAMERA_PIPELINE_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "frame.h"
#include "sensor.h"
#include "t_database.h"

namespace tcamera {

// Where a frame can be looked at: the sensor's output, the output of each stage (in hardware
// order) and the 8-bit output.
enum class Tap : uint8_t {
  kRaw,
  kBlackLevel,
  kDefectPixel,
  kLensShading,
  kGreenEquilibration,
  kDigitalGain,
  kWhiteBalance,
  kCompand,
  kHighDynamicRange,
  kRgbInfrared,
  kNoiseReduction2D,
  kDemosaic,
  kColorCorrection,
  kGamma,
  kWideDynamicRange,
  kColorProcess,
  kColorNoiseReduction,
  kEdgeEnhance,
  kNoiseReduction3D,
  kOutput,
};
constexpr int kTapCount = static_cast<int>(Tap::kOutput) + 1;

// "raw", a block's category ("BLS", "DMSC_3", ...; "RGBIR" and "RGBIR_1_1" both name the RGB-IR
// stage) or "output".
std::optional<Tap> tapNamed(std::string_view name);
// The first name tapNamed accepts for tap.
const char *tapName(Tap tap);
// Taps up to the RGB-IR stage and the 2-D noise reducer carry a mosaic; from the demosaic to
// the temporal noise reducer an RgbImage; the output 8-bit RGB.
constexpr bool isMosaicTap(Tap tap) {
  return tap <= Tap::kNoiseReduction2D;
}

// The latched hardware state of every block that shapes the picture: plain records, compared
// as bytes.
struct HardwareState {
  TDatabaseInput input;
  TDatabaseSensor sensor;
  TDatabaseExposureControl_2 exposure;
  TDatabaseFocusControl focus;
  TDatabaseBlackLevelSubtraction blackLevel;
  TDatabaseDefectPixelClusterCorrection defectPixel;
  TDatabaseLensShadingCorrection_3 lensShading;
  TDatabaseGreenEquilibration greenEquilibration;
  TDatabaseDigitalGain digitalGain;
  TDatabaseWhiteBalance_1_1 whiteBalance;
  TDatabaseCompand_1_1 compand;
  TDatabaseHighDynamicRange_3_2Dol highDynamicRange;
  TDatabaseRgbInfraredRadiation rgbInfrared;
  TDatabaseRgbInfraredRadiation_1_1 rgbInfrared_1_1;
  TDatabase2DNoiseReduction_6 noiseReduction2D;
  TDatabaseDeMosaic_3 demosaic;
  TDatabaseColorCorrectionMatrix colorCorrection;
  TDatabaseGammaCorrection_2 gamma;
  TDatabaseWideDynamicRange_5_2_1 wideDynamicRange;
  TDatabaseColorProcess_1_2 colorProcess;
  TDatabaseColorNoiseReduction_2_2 colorNoiseReduction;
  TDatabaseEdgeEnhance_3 edgeEnhance;
  TDatabase3DNoiseReduction_4 noiseReduction3D;
};

// Each record of HardwareState with its category, for gathering the state.
struct StateRecord {
  const char *category;
  size_t offset;  // in HardwareState
};
const std::array<StateRecord, 23> &stateRecords();

// The built-in defaults of every block, in a state zero-filled first (padding included, so
// that states compare as bytes).
const HardwareState &defaultHardwareState();

// What the sensor is asked for under state (see the top of this file).
SensorSettings sensorSettingsOf(const HardwareState &state);

// The output picture: 8-bit sRGB, interleaved R, G, B.
struct OutputImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> data;
};

// A frame handed to the camera in place of the chart (TDriverFrame_inject): a raw mosaic,
// delivered as it is (its own size, pattern and levels, no noise added), or a picture, which
// the sensor photographs at its size with its own pattern, exposure and fresh noise.
struct InjectedFrame {
  std::shared_ptr<const Mosaic> mosaic;
  std::shared_ptr<const InjectedPicture> picture;
};

// A stage's time in the last render, for the benchmark.
struct StageTiming {
  Tap tap;
  double seconds;
};

class Pipeline {
 public:
  Pipeline();
  ~Pipeline();
  Pipeline(const Pipeline &) = delete;
  Pipeline &operator=(const Pipeline &) = delete;

  // Adopts the hardware state for the current frame; cached taps are dropped only when it
  // differs from the state they were rendered with.
  void setState(const HardwareState &state);
  const HardwareState &state() const { return *state_; }

  // The frame delivered instead of the chart while on: live, every frame; otherwise the
  // frame current when it was handed over or switched on, then the chart again from the next
  // frame. A null frame: the chart.
  void setInjection(std::shared_ptr<const InjectedFrame> frame, bool on, bool live);
  // The current frame comes from the injected frame.
  bool deliversInjected() const {
    return injected_ != nullptr && injectOn_ && (injectLive_ || showOnce_);
  }

  uint64_t frameNumber() const { return frameNumber_; }
  // The next frame: the temporal history moves on (see above) and the frame number grows.
  void advance();

  // The current frame at tap, rendered if it is not kept. Mosaic taps only for
  // mosaicAt, RGB taps only for rgbAt; the references hold until the next non-const call.
  const Mosaic &mosaicAt(Tap tap);
  const RgbImage &rgbAt(Tap tap);
  const OutputImage &output();

  // Per-stage times of the last render from the sensor to the output (stages not run then
  // read 0), for the benchmark. The sensor counts as kRaw, the 8-bit conversion as kOutput.
  std::array<double, kTapCount> lastTimes() const { return times_; }
  // Drops every kept tap, so that the next request renders from the sensor (benchmark).
  void dropFrame();

 private:
  struct Kept {
    std::shared_ptr<const Mosaic> mosaic;
    std::shared_ptr<const RgbImage> rgb;
  };
  // An image of the pool that nothing else holds, for a stage to write (added when all are
  // held). Stages write into the same few images frame after frame, which stay allocated.
  template <typename Image>
  static std::shared_ptr<Image> spare(std::vector<std::shared_ptr<Image>> &pool);
  void render(Tap target);
  bool keeps(Tap tap) const;
  bool isTemporalActive() const;
  FrameContext context() const;

  std::unique_ptr<HardwareState> state_;
  uint64_t frameNumber_ = 0;
  std::array<Kept, kTapCount> kept_;
  std::shared_ptr<const OutputImage> output_;
  std::vector<std::shared_ptr<Mosaic>> mosaics_;  // every image a stage wrote lately
  std::vector<std::shared_ptr<RgbImage>> rgbs_;
  std::vector<std::shared_ptr<OutputImage>> outputs_;
  std::optional<Tap> requested_;  // the last tap asked for, kept while it is the last
  TemporalHistory history_;       // the previous frame as it left the temporal stage
  bool looked_ = false;           // a tap of the current frame has been rendered
  std::array<double, kTapCount> times_{};
  std::shared_ptr<const InjectedFrame> injected_;
  bool injectOn_ = false;
  bool injectLive_ = false;
  bool showOnce_ = false;  // the injected frame is still due once
};

// Writes the 8-bit sRGB picture of image: an encoded image is clamped and quantised; a linear
// one (gamma stage bypassed) is encoded with the standard sRGB curve first, so that the
// output stays viewable.
void toOutput(const RgbImage &image, OutputImage &output);

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_PIPELINE_H
