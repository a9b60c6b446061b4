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
extern const RecordType k3AInterface2Record;           // 3AI_2
extern const RecordType kBlackLevelSubtractionRecord;  // BLS
extern const RecordType kColorNoiseReduction22Record;  // CNR_2_2
extern const RecordType kCompand11Record;              // CPD_1_1
extern const RecordType kColorProcess12Record;         // CP_1_2
extern const RecordType kDigitalGainRecord;            // DG
extern const RecordType kDeviceRecord;                 // DVC
extern const RecordType kExposureControl2Record;       // EC_2
extern const RecordType kFocusControlRecord;           // FC
extern const RecordType kGammaCorrection2Record;       // GC_2
extern const RecordType kGreenEquilibrationRecord;     // GE
extern const RecordType kIspRecord;                    // ISP
extern const RecordType kMiscRecord;                   // MISC
extern const RecordType kRegisterRecord;               // RGT
extern const RecordType kWhiteBalance11Record;         // WB_1_1

namespace {

const RecordType *const kRecordTypes[] = {
    &kReportRecord,
    &k3AInterface2Record,
    &kBlackLevelSubtractionRecord,
    &kColorNoiseReduction22Record,
    &kCompand11Record,
    &kColorProcess12Record,
    &kDigitalGainRecord,
    &kDeviceRecord,
    &kExposureControl2Record,
    &kFocusControlRecord,
    &kGammaCorrection2Record,
    &kGreenEquilibrationRecord,
    &kIspRecord,
    &kMiscRecord,
    &kRegisterRecord,
    &kWhiteBalance11Record,
};

}  // namespace

std::span<const RecordType *const> recordTypes() {
  return kRecordTypes;
}

}  // namespace tdatabase
