// The categories of the database, in the order of the settings document.
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

namespace {

const RecordType *const kRecordTypes[] = {
    &kReportRecord,
};

}  // namespace

std::span<const RecordType *const> recordTypes() {
  return kRecordTypes;
}

}  // namespace tdatabase
