// Settings documents: the whole set of records as one JSON text, a member per category.
#ifndef T_DATABASE_SETTINGS_H
#define T_DATABASE_SETTINGS_H

#include <cstdint>
#include <span>
#include <string>

#include "fields.h"
#include "t_json.h"

namespace tdatabase {

// Prints the records (records[i] of types[i]) as one compact settings document with
// writer; *text and *length stay valid until writer's next use. Returns the JSON
// library's code on failure (out of memory).
uint32_t writeSettings(std::span<const RecordType *const> types, const void *const *records,
                       TJsonWriter *writer, const char **text, uint64_t *length);

// Applies the settings document between begin and end onto records (records[i] of
// types[i]). Each category of the document is parsed onto scratch[i], a copy of
// records[i] made on first use; only when the whole document is valid are the fields
// copied into records, so on any failure records are exactly as they were. Refusals
// (invalid JSON, not an object, unknown category, a category or field named twice, any
// refused value) return TCOMMON_WRONG_CONFIGURATION with the reason in error. May throw
// std::bad_alloc.
uint32_t parseSettings(std::span<const RecordType *const> types, void *const *records,
                       void *const *scratch, const char *begin, const char *end,
                       std::string &error);

}  // namespace tdatabase

#endif  // T_DATABASE_SETTINGS_H
