// "AEE_3": edge enhancement per gain point, one table row per sensor mode.
#include "auto_gain_points.h"
#include "fields.h"
#include "t_database_records/auto_edge_enhance_3.h"

namespace tdatabase {
namespace {

using Record = TDatabaseAutoEdgeEnhance_3;
using Row = TDatabaseAutoEdgeEnhance_3Row;

// Sharpening that backs off as the gain grows, gentler on skin; identity curves for chroma
// adjustment and dynamic contrast (65 points over the 10-bit range). Skin tones as Cb, Cr
// and luma bounds around the usual skin cluster.
constexpr Row makeRow() {
  Row row{};
  row.autoLevel = kGainPoints;
  for (uint32_t g = 0; g < kGainPoints; ++g) {
    row.anchor1[g] = rampFloat(g, 0.25f, 0.5f);
    row.anchor2[g] = rampFloat(g, 0.75f, 0.9f);
    row.caEnable[g] = 1;
    for (uint32_t p = 0; p < 65; ++p) {
      const auto level = static_cast<uint16_t>(p * 16 > 1023 ? 1023 : p * 16);
      row.caCurve[g][p] = level;
      row.dciCurve[g][p] = level;
    }
    row.dciEnable[g] = 0;
    row.depfCompLumaDiff[g] = 64;
    row.depfDetectLumaDiff[g] = 128;
    row.depfDetectLumaTh[g] = 512;
    row.depfFixStr[g] = 8;
    for (uint32_t l = 0; l < 4; ++l) {
      row.depfLimit[g][l] = static_cast<uint16_t>(64 << l);
      row.hfMergeCurve[g][l] = static_cast<uint16_t>(256 * (l + 1) - 1);
      row.hfMergeCurveSkin[g][l] = static_cast<uint16_t>(192 * (l + 1));
    }
    row.depfSatStr[g] = 8;
    row.depurpleEn[g] = 1;
    row.detailLvl[g] = ramp<uint8_t>(g, 8, 2);
    row.detailPreEnhanceStr[g] = ramp<uint16_t>(g, 256, 64);
    row.edgeNrLvl[g] = ramp<uint8_t>(g, 0, 8);
    row.eeEnable[g] = 1;
    row.eeSrcStrength[g] = ramp<uint16_t>(g, 256, 96);
    row.eeSrcStrengthSkin[g] = ramp<uint16_t>(g, 160, 64);
    row.eeStrength[g] = ramp<uint8_t>(g, 128, 32);
    for (uint32_t d = 0; d < 2; ++d) {
      row.gradTh[g][d] = ramp<uint16_t>(g, 16, 96);
      row.gradThSkin[g][d] = ramp<uint16_t>(g, 32, 128);
      row.sharpGain[g][d] = ramp<uint16_t>(g, d ? 192 : 256, 64);
      row.sharpGainSkin[g][d] = ramp<uint16_t>(g, d ? 128 : 160, 48);
      row.sharpLimit[g][d] = 256;
      row.sharpLimitSkin[g][d] = 128;
    }
    row.sharpCurveLvl[g] = 4;
    row.sharpGainUv[g] = ramp<uint8_t>(g, 32, 8);
    row.sharpSkinCurveLvl[g] = 2;
    row.skinDetectStr[g] = 16;
    row.skinProcEn[g] = 1;
    const int16_t skin[6] = {-48, -8, 8, 48, 64, 940};
    for (uint32_t b = 0; b < 6; ++b) row.skinThreshold[g][b] = skin[b];
  }
  return row;
}

constexpr Record kDefaults = tuningTable<Record>(makeRow());

const Field kRowFields[] = {
    field("anchor1", &Row::anchor1),
    field("anchor2", &Row::anchor2),
    field("autoLevel", &Row::autoLevel),
    field("caEnable", &Row::caEnable),
    field("caCurve", &Row::caCurve),
    field("dciCurve", &Row::dciCurve),
    boolean("dciEnable", &Row::dciEnable),
    field("depfCompLumaDiff", &Row::depfCompLumaDiff),
    field("depfDetectLumaDiff", &Row::depfDetectLumaDiff),
    field("depfDetectLumaTh", &Row::depfDetectLumaTh),
    field("depfFixStr", &Row::depfFixStr),
    field("depfLimit", &Row::depfLimit),
    field("depfSatStr", &Row::depfSatStr),
    field("depurpleEn", &Row::depurpleEn),
    field("detailLvl", &Row::detailLvl),
    field("detailPreEnhanceStr", &Row::detailPreEnhanceStr),
    field("edgeNrLvl", &Row::edgeNrLvl),
    field("eeEnable", &Row::eeEnable),
    field("eeSrcStrength", &Row::eeSrcStrength),
    field("eeSrcStrengthSkin", &Row::eeSrcStrengthSkin),
    field("eeStrength", &Row::eeStrength),
    field("gradTh", &Row::gradTh),
    field("gradThSkin", &Row::gradThSkin),
    field("hfMergeCurve", &Row::hfMergeCurve),
    field("hfMergeCurveSkin", &Row::hfMergeCurveSkin),
    field("sharpCurveLvl", &Row::sharpCurveLvl),
    field("sharpGain", &Row::sharpGain),
    field("sharpGainSkin", &Row::sharpGainSkin),
    field("sharpGainUv", &Row::sharpGainUv),
    field("sharpLimit", &Row::sharpLimit),
    field("sharpLimitSkin", &Row::sharpLimitSkin),
    field("sharpSkinCurveLvl", &Row::sharpSkinCurveLvl),
    field("skinDetectStr", &Row::skinDetectStr),
    field("skinProcEn", &Row::skinProcEn),
    field("skinThreshold", &Row::skinThreshold),
};

const Layout kRowLayout = layoutOf<Row>(kRowFields);

const Field kFields[] = {
    boolean("enable", &Record::enable),
    table("rows", &Record::rows, kRowLayout),
    boolean("interpolate", &Record::interpolate),
    field("tableIndex", &Record::tableIndex),
};

const Layout kLayout = layoutOf<Record>(kFields);

}  // namespace

extern const RecordType kAutoEdgeEnhance3Record = {"AEE_3", kLayout, &kDefaults};

}  // namespace tdatabase
