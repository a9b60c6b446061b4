// The categories of the database, in the order of the settings document: the report
// first, then the others in byte order of their names.
//
// Adding a record: declare its struct in include/t_database_records/<name>.h (and include
// that from t_database_records.h), write source/record_<name>.cpp with its defaults and
// field table ending in
//   extern const RecordType kFooRecord = {"FOO", kLayout, &kDefaults};
// (see record_report.cpp), list the file in CMakeLists.txt, and add one declaration and
// one entry below. Serialising, parsing, copying, reset and query then work for it.
#include "fields.h"

namespace tdatabase {

extern const RecordType kReportRecord;
extern const RecordType k2DNoiseReduction6Record;                 // 2DNR_6
extern const RecordType k3AInterface2Record;                      // 3AI_2
extern const RecordType k3DNoiseReduction4Record;                 // 3DNR_4
extern const RecordType kAuto2DNoiseReduction6Record;             // A2DNR_6
extern const RecordType kAuto3DNoiseReduction4Record;             // A3DNR_4
extern const RecordType kAutoBlackLevelSubtractionRecord;         // ABLS
extern const RecordType kAutoColorNoiseReduction22Record;         // ACNR_2_2
extern const RecordType kAutoColorProcess12Record;                // ACP_1_2
extern const RecordType kAutoDeMosaic3Record;                     // ADMSC_3
extern const RecordType kAutoDefectPixelClusterCorrectionRecord;  // ADPCC
extern const RecordType kAutoEdgeEnhance3Record;                  // AEE_3
extern const RecordType kAutoExposureStatistics2Record;           // AES_2
extern const RecordType kAutoExposure4Record;                     // AE_4
extern const RecordType kAutoFocusMeasurement3Record;             // AFM_3
extern const RecordType kAutoFocus4Record;                        // AF_4
extern const RecordType kAutoGammaCorrection2Record;              // AGC_2
extern const RecordType kAutoLensShadingCorrection3Record;        // ALSC_3
extern const RecordType kAutoWhiteBalance4Record;                 // AWB_4
extern const RecordType kAutoWideDynamicRange521Record;           // AWDR_5_2_1
extern const RecordType kBlackLevelSubtractionRecord;             // BLS
extern const RecordType kColorCorrectionMatrixRecord;             // CCM
extern const RecordType kColorNoiseReduction22Record;             // CNR_2_2
extern const RecordType kCompand11Record;                         // CPD_1_1
extern const RecordType kColorProcess12Record;                    // CP_1_2
extern const RecordType kDigitalGainRecord;                       // DG
extern const RecordType kDeMosaic3Record;                         // DMSC_3
extern const RecordType kDefectPixelClusterCorrectionRecord;      // DPCC
extern const RecordType kDeviceRecord;                            // DVC
extern const RecordType kExposureControl2Record;                  // EC_2
extern const RecordType kEdgeEnhance3Record;                      // EE_3
extern const RecordType kFocusControlRecord;                      // FC
extern const RecordType kGammaCorrection2Record;                  // GC_2
extern const RecordType kGreenEquilibrationRecord;                // GE
extern const RecordType kHighDynamicRange32DolRecord;             // HDR_3_2DOL
extern const RecordType kHistogramRecord;                         // HTG
extern const RecordType kHistogram2Record;                        // HTG_2
extern const RecordType kInputRecord;                             // IPT
extern const RecordType kIspRecord;                               // ISP
extern const RecordType kLensShadingCorrection3Record;            // LSC_3
extern const RecordType kMiscRecord;                              // MISC
extern const RecordType kOutputRecord;                            // OPT
extern const RecordType kRgbInfraredRadiationRecord;              // RGBIR
extern const RecordType kRgbInfraredRadiation11Record;            // RGBIR_1_1
extern const RecordType kRegisterRecord;                          // RGT
extern const RecordType kSensorRecord;                            // SS
extern const RecordType kSettingRecord;                           // ST
extern const RecordType kTileRecord;                              // TL
extern const RecordType kTransmitRecord;                          // TM
extern const RecordType kWhiteBalance11Record;                    // WB_1_1
extern const RecordType kWideDynamicRange521Record;               // WDR_5_2_1

namespace {

const RecordType *const kRecordTypes[] = {
    &kReportRecord,
    &k2DNoiseReduction6Record,
    &k3AInterface2Record,
    &k3DNoiseReduction4Record,
    &kAuto2DNoiseReduction6Record,
    &kAuto3DNoiseReduction4Record,
    &kAutoBlackLevelSubtractionRecord,
    &kAutoColorNoiseReduction22Record,
    &kAutoColorProcess12Record,
    &kAutoDeMosaic3Record,
    &kAutoDefectPixelClusterCorrectionRecord,
    &kAutoEdgeEnhance3Record,
    &kAutoExposureStatistics2Record,
    &kAutoExposure4Record,
    &kAutoFocusMeasurement3Record,
    &kAutoFocus4Record,
    &kAutoGammaCorrection2Record,
    &kAutoLensShadingCorrection3Record,
    &kAutoWhiteBalance4Record,
    &kAutoWideDynamicRange521Record,
    &kBlackLevelSubtractionRecord,
    &kColorCorrectionMatrixRecord,
    &kColorNoiseReduction22Record,
    &kCompand11Record,
    &kColorProcess12Record,
    &kDigitalGainRecord,
    &kDeMosaic3Record,
    &kDefectPixelClusterCorrectionRecord,
    &kDeviceRecord,
    &kExposureControl2Record,
    &kEdgeEnhance3Record,
    &kFocusControlRecord,
    &kGammaCorrection2Record,
    &kGreenEquilibrationRecord,
    &kHighDynamicRange32DolRecord,
    &kHistogramRecord,
    &kHistogram2Record,
    &kInputRecord,
    &kIspRecord,
    &kLensShadingCorrection3Record,
    &kMiscRecord,
    &kOutputRecord,
    &kRgbInfraredRadiationRecord,
    &kRgbInfraredRadiation11Record,
    &kRegisterRecord,
    &kSensorRecord,
    &kSettingRecord,
    &kTileRecord,
    &kTransmitRecord,
    &kWhiteBalance11Record,
    &kWideDynamicRange521Record,
};

}  // namespace

std::span<const RecordType *const> recordTypes() {
  return kRecordTypes;
}

}  // namespace tdatabase
