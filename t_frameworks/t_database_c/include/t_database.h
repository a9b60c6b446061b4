/*
 * Calibration database: one parameter record per ISP block and per automatic control,
 * addressed by category name ("DG", "AE_4", "RPT", ...).
 *
 * Settings document. TDatabase_serialize writes, and TDatabase_parse and TDatabase_open
 * read, one JSON object with a member per category; each category is an object with a
 * member per record field, named as the field. Nested groups are nested objects, arrays
 * are arrays (2-D and 3-D as nested arrays), tables of rows are arrays of objects, texts
 * are strings. Measured statistics and transient file buffers are not part of it.
 *
 * A text field (char[N]) holds up to N bytes: a text shorter than N is NUL-terminated
 * (the rest of the field zero-filled), a text of exactly N bytes fills the field with no
 * terminating NUL, so readers bound it by the field size. A text may not contain a NUL.
 *
 * Parsing is strict and all-or-nothing: an unknown category or field, a category or a
 * field named twice in the same object, a value of the wrong type, an integer outside its
 * field's range, an array of the wrong length or a text longer than its field is refused with
 * TCOMMON_WRONG_CONFIGURATION (15), the database is left exactly as it was, and TDatabase_lastError
 * names the place
 * ("DG.gain: expected 4 elements, found 3"). A document may leave out categories and
 * fields: those keep the values they had before the parse.
 *
 * Records are plain C structs (t_database_records.h); TDatabase_query hands out a
 * pointer into the database, which stays valid until TDatabase_close. The database does
 * no locking: a host that shares one database between threads serialises the calls.
 */
#ifndef T_DATABASE_H
#define T_DATABASE_H

#include <stddef.h>
#include <stdint.h>

#include "t_common.h"
#include "t_database_records.h"
#include "t_json.h"

#define TDATABASE_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TDatabase TDatabase;

/* path NULL: the built-in defaults. Otherwise the settings document in that file, applied
 * over the defaults. On failure *database is NULL and TDatabase_lastError says why:
 * TCOMMON_IO_ERROR for a file that cannot be read, TCOMMON_WRONG_CONFIGURATION for an
 * invalid document. The content after a successful open is what TDatabase_reset
 * restores. */
TDATABASE_API uint32_t TDatabase_open(const char *path, TDatabase **database);
TDATABASE_API uint32_t TDatabase_close(TDatabase **database);

/* The record of a category. Unknown category: TCOMMON_NOT_REGISTERED (10). */
TDATABASE_API uint32_t TDatabase_query(TDatabase *database, const char *category, void **record);

/* Writes the whole database as a settings document into buffer: any old content is
 * freed, data gets the NUL-terminated text, length its length without the NUL,
 * isFilled 1. */
TDATABASE_API uint32_t TDatabase_serialize(TDatabase *database, TCommonBuffer *buffer);
/* Applies a NUL-terminated settings document (see above). */
TDATABASE_API uint32_t TDatabase_parse(TDatabase *database, const char *text);
/* isReset non-zero: every record gets back the content the database was opened with
 * (transient buffers and measured statistics are left alone). 0 does nothing. */
TDATABASE_API uint32_t TDatabase_reset(TDatabase *database, uint8_t isReset);
/* Writes the settings document to path atomically: a temporary file beside it is
 * written and flushed to disk, then renamed over path, so path always holds either the
 * old or the new document. */
TDATABASE_API uint32_t TDatabase_save(TDatabase *database, const char *path);

/* Text of the last failure of a TDatabase function in the calling thread ("" when the
 * last call succeeded). Valid until the next TDatabase call in this thread. */
TDATABASE_API const char *TDatabase_lastError(void);

/* ---- Calibration files ------------------------------------------------------------------
 * The measured colour matrix and lens shading of a sensor module, as text. Each line names
 * one field and gives its numbers after the name, separated by blanks:
 *
 *   # colour correction: rows give the output R, G, B
 *   ccMatrix  1.62 -0.45 -0.17   -0.28 1.51 -0.23   -0.05 -0.52 1.57
 *   ccOffset  0 0 0
 *
 * '#' starts a comment that runs to the end of the line; blank lines are ignored; lines
 * end with LF or CR LF. A line that begins with a number continues the field named last,
 * so a grid may take one line per grid row. The files are read in order as one text (each
 * file ends its last line), and every field must be given exactly once with exactly its
 * count of numbers.
 *
 *   "CCM"    ccMatrix   9 numbers, row-major       ccOffset  3 numbers (R, G, B)
 *   "LSC_3"  matrix.r, matrix.gr, matrix.gb, matrix.b   1089 integers each: the 33 x 33
 *            gain grid of that Bayer channel, row-major from the top-left (1024 = gain 1.0)
 *            xSize  32 integers            ySize  16 integers
 *
 * CCM numbers are decimal floating point (a leading '+' is allowed) and must be finite and
 * within float range; LSC_3 numbers are decimal integers from 0 to 65535.
 *
 * The parsers read all fileCount buffers of files (their data and length). They return 0
 * with those fields of record replaced (all others untouched), or
 * TCOMMON_WRONG_CONFIGURATION (15) for an unknown or repeated field name, a count of
 * numbers other than the field's, a text that is not a number of the field's kind, a
 * number out of range, or a missing field (also when there are no files); record is then
 * unchanged and TDatabase_lastError names the file, line and problem ("file 1, line 2:
 * ccOffset has 2 numbers, expected 3"). TCOMMON_INVALID_ARGUMENT: record NULL, or files
 * NULL with a non-zero fileCount. */
TDATABASE_API uint32_t TDatabaseColorCorrectionMatrix_parse2(
    const TCommonBuffer *files, uint64_t fileCount, TDatabaseColorCorrectionMatrix *record);
TDATABASE_API uint32_t TDatabaseLensShadingCorrection_3_parse2(
    const TCommonBuffer *files, uint64_t fileCount, TDatabaseLensShadingCorrection_3 *record);

/* ---- Measurements ---------------------------------------------------------------------------
 * The measured statistics of a measuring block's record (filled by the driver's read-back of
 * the block) written into value, which becomes an object. record is the block's record,
 * value the place to write (an absent value becomes real). NULL: TCOMMON_INVALID_ARGUMENT.
 *   "HTG"    {"bins": [16 counts]}
 *   "HTG_2"  {"bins": [32 counts]}
 *   "AES_2"  {"mean": [5 rows of 5], "luma": mean, "aboveRatio": share, "count": samples}
 *   "AFM_3"  {"fir": [3], "iir": [3], "luma": [3], "highlights": [3]}, per window left,
 *            centre, right
 * See the record headers for the units. */
TDATABASE_API uint32_t TDatabaseHistogram_statistics(const void *record, TJsonValue *value);
TDATABASE_API uint32_t TDatabaseHistogram_2_statistics(const void *record, TJsonValue *value);
TDATABASE_API uint32_t TDatabaseAutoExposureStatistics_2_statistics(const void *record,
                                                                    TJsonValue *value);
TDATABASE_API uint32_t TDatabaseAutoFocusMeasurement_3_statistics(const void *record,
                                                                  TJsonValue *value);

/* ---- Record layout, for the driver and for tools --------------------------------------- */

/* Size in bytes of a category's record. Unknown category: TCOMMON_NOT_REGISTERED. */
TDATABASE_API uint32_t TDatabase_recordSize(const char *category, uint64_t *size);
/* Copies the settings fields of a category's record from source to destination (both
 * records of that category); transient buffers and measured statistics are not copied.
 * This is how the driver latches a record into simulated hardware and back. */
TDATABASE_API uint32_t TDatabase_copyRecord(const char *category, void *destination,
                                            const void *source);
/* Calls visit for every category, in the order of the settings document. A non-zero
 * result of visit stops the walk and is returned. */
typedef uint32_t (*TDatabaseCategoryVisitor)(void *context, const char *category);
TDATABASE_API uint32_t TDatabase_forEachCategory(TDatabaseCategoryVisitor visit, void *context);

#ifdef __cplusplus
}
#endif

#endif /* T_DATABASE_H */
