// "ADMSC_3": demosaic settings per gain point and three sharpening curves.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_demosaic_3.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoDeMosaic_3;
using Curve = TDatabaseAutoDeMosaic_3SharpenCurve;

// A curve whose thresholds rise and whose ratios fall from entry to entry: entry 0 sharpens
// hardest, entry 19 least. Curves 1 and 2 change half as fast, one and two steps further
// along.
constexpr Curve makeCurveEntry(uint32_t entry) {
  return Curve{
      .layerT1 = static_cast<uint16_t>(16 + entry * 4),
      .layerT2Shift = 2,
      .layer0T3 = static_cast<uint16_t>(64 + entry * 8),
      .layerT4Shift = 3,
      .layerR1 = static_cast<uint16_t>(256 - entry * 8),
      .layerR2 = static_cast<uint16_t>(192 - entry * 6),
      .layerR3 = static_cast<uint16_t>(128 - entry * 4),
  };
}

// Direction-aware interpolation throughout; depurple and sharpening back off as the gain
// grows, denoising gets stronger.
constexpr Record makeDefaults() {
  Record defaults{};
  defaults.autoLevel = kGainPoints;
  fillGainPoints(defaults);
  for (uint32_t g = 0; g < kGainPoints; ++g) {
    for (uint32_t d = 0; d < 4; ++d) defaults.interpDirStrength[g][d] = 16;
    defaults.interpLargeStr[g][0] = 8;
    defaults.interpLargeStr[g][1] = 16;
    defaults.declineEn[g] = g >= kGainPoints / 2;
    defaults.highlightTh[g][0] = 3584;
    defaults.highlightTh[g][1] = 4000;
    defaults.dmscDepurpleEnable[g] = 1;
    defaults.dmscDepurpleThr[g] = ramp<uint8_t>(g, 32, 96);
    defaults.dmscDepurpleSatShrink[g] = 8;
    for (uint32_t r = 0; r < 8; ++r)
      defaults.dmscDepurpleCbCrRange[g][r] = static_cast<uint8_t>(r % 2 ? 160 : 96);
    defaults.denoiseStrength[g] = ramp<uint8_t>(g, 0, 128);
    defaults.dmscSharpenEnable[g] = 1;
    for (uint32_t l = 0; l < 6; ++l) {
      defaults.dmscSharpenFactor[g][l] = ramp<uint16_t>(g, 256, 64);
      defaults.dmscSharpenClip[g][l] = static_cast<uint16_t>(128 + l * 32);
    }
  }
  for (uint32_t entry = 0; entry < 20; ++entry) {
    defaults.sharpenCurve0[entry] = makeCurveEntry(entry);
    defaults.sharpenCurve1[entry] = makeCurveEntry(entry / 2 + 1);
    defaults.sharpenCurve2[entry] = makeCurveEntry(entry / 2 + 2);
  }
  defaults.sharpenCurve0Index = 0;
  defaults.sharpenCurve1Index = 0;
  defaults.sharpenCurve2Index = 0;
  return defaults;
}

constexpr Record kDefaults = makeDefaults();

const Field kCurveFields[] = {
    field("layerT1", &Curve::layerT1),   field("layerT2Shift", &Curve::layerT2Shift),
    field("layer0T3", &Curve::layer0T3), field("layerT4Shift", &Curve::layerT4Shift),
    field("layerR1", &Curve::layerR1),   field("layerR2", &Curve::layerR2),
    field("layerR3", &Curve::layerR3),
};

const Layout kCurveLayout = layoutOf<Curve>(kCurveFields);

const Field kFields[] = {
    field("autoLevel", &Record::autoLevel),
    field("gains", &Record::gains),
    field("interpDirStrength", &Record::interpDirStrength),
    field("interpLargeStr", &Record::interpLargeStr),
    boolean("declineEn", &Record::declineEn),
    field("highlightTh", &Record::highlightTh),
    boolean("dmscDepurpleEnable", &Record::dmscDepurpleEnable),
    field("dmscDepurpleThr", &Record::dmscDepurpleThr),
    field("dmscDepurpleSatShrink", &Record::dmscDepurpleSatShrink),
    field("dmscDepurpleCbCrRange", &Record::dmscDepurpleCbCrRange),
    field("denoiseStrength", &Record::denoiseStrength),
    boolean("dmscSharpenEnable", &Record::dmscSharpenEnable),
    field("dmscSharpenFactor", &Record::dmscSharpenFactor),
    field("dmscSharpenClip", &Record::dmscSharpenClip),
    table("sharpenCurve0", &Record::sharpenCurve0, kCurveLayout),
    table("sharpenCurve1", &Record::sharpenCurve1, kCurveLayout),
    table("sharpenCurve2", &Record::sharpenCurve2, kCurveLayout),
    field("sharpenCurve0Index", &Record::sharpenCurve0Index),
    field("sharpenCurve1Index", &Record::sharpenCurve1Index),
    field("sharpenCurve2Index", &Record::sharpenCurve2Index),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoDeMosaic3Record = {"ADMSC_3", kLayout, &kDefaults};

}  // namespace tdatabase
