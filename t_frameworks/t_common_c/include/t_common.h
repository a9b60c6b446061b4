/*
 * Common runtime of the tuning platform: result codes and their texts, the string
 * map, the semaphore, the client message logger, the tracer, base64 and byte buffers.
 *
 * Every function returns a 32-bit result code (0 on success) unless its comment says
 * otherwise. Memory that a function hands to the caller (texts, decoded bytes) is
 * allocated with malloc and released by the caller with free.
 */
#ifndef T_COMMON_H
#define T_COMMON_H

#include <stddef.h>
#include <stdint.h>

#define TCOMMON_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes. 6, 8, 10, 13 and 15 carry the meanings that the shell turns into client
 * messages; the others are failures of the platform libraries themselves. */
enum {
  TCOMMON_SUCCESS = 0,
  TCOMMON_FAILED = 1,              /* an operation failed for a reason of its own */
  TCOMMON_INVALID_ARGUMENT = 2,    /* a required pointer was NULL or an argument made no sense */
  TCOMMON_NO_MEMORY = 3,           /* an allocation failed */
  TCOMMON_PARSE_ERROR = 4,         /* a text is not valid JSON */
  TCOMMON_WRONG_TYPE = 5,          /* a JSON value cannot be converted to the type asked for */
  TCOMMON_OUT_OF_RANGE = 6,        /* an index or value outside its range; map: no such key;
                                      logger: queue empty */
  TCOMMON_IO_ERROR = 7,            /* reading or writing a file failed */
  TCOMMON_NOT_INITIALIZED = 8,     /* driver not initialised, or not streaming */
  TCOMMON_BUSY = 9,                /* a semaphore could not be taken in time */
  TCOMMON_NOT_REGISTERED = 10,     /* category or key never registered */
  TCOMMON_MALFORMED = 11,          /* encoded data (base64) is malformed */
  TCOMMON_NOT_FOUND = 12,          /* a named thing (file, function) does not exist */
  TCOMMON_PERMISSION_DENIED = 13,  /* the client did not grant the access */
  TCOMMON_WRONG_CONFIGURATION = 15 /* a settings or calibration document is invalid */
};

/* A short English text for a result code; "Unknown error" for codes without one.
 * The text is static. */
TCOMMON_API const char *TCommonError_text(uint32_t code);

/* ---- String map: NUL-terminated text keys to opaque pointers ---------------------- */

typedef struct TCommonMap TCommonMap;

TCOMMON_API uint32_t TCommonMap_open(TCommonMap **map);
/* Frees the map (not the values) and sets *map to NULL. */
TCOMMON_API uint32_t TCommonMap_close(TCommonMap **map);
/* Adds a copy of key. A key that is already present: TCOMMON_INVALID_ARGUMENT, map unchanged. */
TCOMMON_API uint32_t TCommonMap_add(TCommonMap *map, const char *key, void *value);
/* Exact, case-sensitive lookup. No such key: TCOMMON_OUT_OF_RANGE (6), *value untouched. */
TCOMMON_API uint32_t TCommonMap_get(const TCommonMap *map, const char *key, void **value);
/* No such key: TCOMMON_OUT_OF_RANGE (6). */
TCOMMON_API uint32_t TCommonMap_remove(TCommonMap *map, const char *key);
TCOMMON_API uint32_t TCommonMap_size(const TCommonMap *map, uint64_t *size);
/* Calls visit for every entry in the order the entries were added. A non-zero result of
 * visit stops the walk and is returned. */
typedef uint32_t (*TCommonMapVisitor)(void *context, const char *key, void *value);
TCOMMON_API uint32_t TCommonMap_forEach(const TCommonMap *map, TCommonMapVisitor visit,
                                        void *context);

/* ---- Semaphore ----------------------------------------------------------------------- */

typedef struct TCommonSemaphore TCommonSemaphore;

/* options must be 0: a semaphore that is available to exactly one holder at a time,
 * available when opened. */
TCOMMON_API uint32_t TCommonSemaphore_open(uint32_t options, TCommonSemaphore **semaphore);
TCOMMON_API uint32_t TCommonSemaphore_close(TCommonSemaphore **semaphore);
/* Blocks until the semaphore is available and takes it. */
TCOMMON_API uint32_t TCommonSemaphore_wait(TCommonSemaphore *semaphore);
/* Takes the semaphore if it becomes available within milliseconds (0: only if it is
 * available now); TCOMMON_BUSY otherwise. */
TCOMMON_API uint32_t TCommonSemaphore_waitFor(TCommonSemaphore *semaphore, uint64_t milliseconds);
/* Makes the semaphore available again. Posting a semaphore that nobody holds returns
 * TCOMMON_FAILED and changes nothing. */
TCOMMON_API uint32_t TCommonSemaphore_post(TCommonSemaphore *semaphore);

/* ---- Message logger: a FIFO of client message texts ---------------------------------- */

typedef struct TCommonLogger TCommonLogger;

TCOMMON_API uint32_t TCommonLogger_open(TCommonLogger **logger);
/* Frees every queued text and the logger; sets *logger to NULL. */
TCOMMON_API uint32_t TCommonLogger_close(TCommonLogger **logger);
/* Queues text, a malloc'd NUL-terminated string. The logger always takes ownership,
 * also when it fails (the text is then freed). */
TCOMMON_API uint32_t TCommonLogger_messageSet(TCommonLogger *logger, char *text);
/* Takes the oldest text out of the queue; the caller frees it. Empty queue:
 * TCOMMON_OUT_OF_RANGE (6) and *text set to NULL. */
TCOMMON_API uint32_t TCommonLogger_messageGet(TCommonLogger *logger, char **text);
TCOMMON_API uint32_t TCommonLogger_size(TCommonLogger *logger, uint64_t *size);

/* ---- Tracer ---------------------------------------------------------------------------
 * One process-wide tracer. Levels used by the tuning shell: 0 for failures that are
 * ignored (a hardware read-back that fell back to the cached record), 1 for the request
 * and response summaries, 3 for failures that are returned. The host selects the
 * highest level printed: a line of level L is printed when L <= that level. A host that
 * selects nothing gets no trace output (highest level -1). Lines go to standard error
 * unless the host installs a sink. */

typedef struct TCommonTracer TCommonTracer;

TCOMMON_API extern TCommonTracer *const TCommonTracerHandle;

/* Receives each printed line, already formatted (it normally ends with a newline). */
typedef void (*TCommonTracerSink)(void *context, uint32_t level, const char *line);

/* sink NULL restores standard error. */
TCOMMON_API uint32_t TCommonTracer_setSink(TCommonTracer *tracer, TCommonTracerSink sink,
                                           void *context);
/* highest < 0 turns tracing off. */
TCOMMON_API uint32_t TCommonTracer_setLevel(TCommonTracer *tracer, int32_t highest);
TCOMMON_API int32_t TCommonTracer_level(const TCommonTracer *tracer);
/* printf-style; lines above the selected level are dropped before any formatting.
 * A line longer than 1023 bytes is cut. */
TCOMMON_API uint32_t TCommonTracer_print(TCommonTracer *tracer, uint32_t level, const char *format,
                                         ...) __attribute__((format(printf, 3, 4)));

/* ---- Base64 (standard alphabet, RFC 4648) --------------------------------------------- */

/* Encodes length bytes into a new NUL-terminated text with '=' padding. data may be
 * NULL when length is 0 (the text is then empty). */
TCOMMON_API uint32_t TCommonBase64_encode(const uint8_t *data, uint64_t length, char **text);
/* Encodes length bytes into out, which holds (length + 2) / 3 * 4 + 1 bytes: the text with
 * '=' padding and a NUL. Returns the length of the text. */
TCOMMON_API uint64_t TCommonBase64_encodeInto(const uint8_t *data, uint64_t length, char *out);
/* Decodes the first length bytes of text (never reads further, and stops at nothing
 * else: a NUL inside the range is malformed). ASCII white space is skipped, the final
 * '=' padding may be left out. Anything else outside the alphabet, padding in the
 * middle, or a lone trailing character: TCOMMON_MALFORMED and *data set to NULL. On
 * success *data holds *decoded bytes followed by one NUL byte that is not counted, so a
 * decoded text can be used as a C string. */
TCOMMON_API uint32_t TCommonBase64_decode(const char *text, uint64_t length, uint8_t **data,
                                          uint64_t *decoded);

/* ---- Byte buffer ----------------------------------------------------------------------- */

typedef struct TCommonBuffer {
  uint8_t *data;     /* malloc'd bytes, or NULL */
  uint64_t length;   /* bytes in use */
  uint64_t capacity; /* bytes allocated at data (0 when unknown) */
  uint8_t isFilled;  /* 1 while the buffer holds data */
} TCommonBuffer;

/* Frees data and zeroes every field. A NULL buffer: TCOMMON_INVALID_ARGUMENT. */
TCOMMON_API uint32_t TCommonBuffer_clear(TCommonBuffer *buffer);
/* Replaces the content with a copy of length bytes (plus a NUL byte that is not
 * counted) and sets isFilled. */
TCOMMON_API uint32_t TCommonBuffer_assign(TCommonBuffer *buffer, const void *data, uint64_t length);

/* ---- Strings ---------------------------------------------------------------------------- */

enum {
  TCOMMON_STRING_IGNORE_CASE = 0, /* ASCII letters compare without regard to case */
  TCOMMON_STRING_EXACT = 1        /* byte for byte */
};
/* 1 when both texts are equal under mode, 0 otherwise (also when either is NULL). */
TCOMMON_API uint8_t TCommonString_equal(const char *left, const char *right, uint32_t mode);

#ifdef __cplusplus
}
#endif

#endif /* T_COMMON_H */
