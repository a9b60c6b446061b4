// The statistics serialisers of the measuring blocks: each writes its record's measured
// statistics, described by a field table of their own, as one JSON object.
#ifndef T_DATABASE_STATISTICS_H
#define T_DATABASE_STATISTICS_H

#include "fields.h"
#include "t_common.h"

namespace tdatabase {

// Makes value an object holding every field of layout read from statistics.
inline uint32_t writeStatistics(const Layout &layout, const void *statistics, TJsonValue *value) {
  if (statistics == nullptr || value == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (const uint32_t code = TJsonValue_create(TJSON_TYPE_OBJECT, &value); code != TCOMMON_SUCCESS)
    return code;
  return writeFields(layout, statistics, value);
}

}  // namespace tdatabase

#endif  // T_DATABASE_STATISTICS_H
