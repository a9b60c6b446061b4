/*
 * JSON values, reader and writer of the tuning platform.
 *
 * A TJsonValue is a node of a JSON tree. A tree has one root, made by TJsonReader_parse,
 * TJsonValue_create (with *value NULL) or TJsonValue_clone, and released with
 * TJsonValue_delete. Handles to nodes inside a tree stay valid until that node is
 * removed or replaced, also while siblings are added or removed.
 *
 * Absent values. Looking up a member that an object does not have (TJsonValue_member,
 * TJsonPath) does not fail: it yields an *absent* member, which reads as empty and which
 * the writer leaves out. The first assignment to it makes it a real member, in place and
 * at the end of the object; if its container is itself absent or null, the container
 * becomes an object (or array) and appears in its own parent, and so on upwards. So a
 * request item without "value" can still be answered with "value": {"current": ...}, and
 * an item whose "value" is {} gets a "current". Looking up the same name again yields the
 * same node.
 *
 * Emptiness (TJsonValue_isEmpty): a NULL handle, an absent value, null, "", [] and an
 * object without (non-absent) members are empty: a request item whose "value" is any of
 * these is a read, and an empty "permission" text grants everything. false and 0 are
 * values a client wrote on purpose and are not empty.
 *
 * Numbers keep their kind: signed 64-bit integers, unsigned 64-bit integers above
 * INT64_MAX, and doubles; integers are exact in both directions. Conversions:
 *   asBoolean  booleans; numbers (non-zero is 1)
 *   asInteger  integers (an unsigned above INT64_MAX gives its two's complement bit
 *              pattern, so truncating it to an unsigned field is exact); doubles truncated
 *              toward zero and saturated to the int64 range; booleans as 0 or 1
 *   asUnsigned as asInteger, reinterpreted as unsigned 64 bits (negative integers wrap);
 *              doubles truncated and saturated to the uint64 range
 *   asFloat    every number; booleans as 0 or 1
 *   asString   strings only
 * Anything else (null, absent, strings for numbers, containers) is TCOMMON_WRONG_TYPE and
 * leaves the output untouched.
 *
 * Every function returns a result code of t_common.h unless its comment says otherwise.
 */
#ifndef T_JSON_H
#define T_JSON_H

#include <stddef.h>
#include <stdint.h>

#define TJSON_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TJsonValue TJsonValue;
typedef struct TJsonReader TJsonReader;
typedef struct TJsonWriter TJsonWriter;

enum {
  TJSON_TYPE_ABSENT = 0, /* looked up but never assigned; not printed */
  TJSON_TYPE_NULL = 1,
  TJSON_TYPE_BOOLEAN = 2,
  TJSON_TYPE_INTEGER = 3,  /* signed 64-bit */
  TJSON_TYPE_UNSIGNED = 4, /* unsigned 64-bit above INT64_MAX */
  TJSON_TYPE_FLOAT = 5,    /* double */
  TJSON_TYPE_STRING = 6,
  TJSON_TYPE_ARRAY = 7,
  TJSON_TYPE_OBJECT = 8
};

/* Deepest nesting of arrays and objects that the reader accepts. */
#define TJSON_MAX_DEPTH 256

/* ---- Reader -------------------------------------------------------------------------
 * A reader works on its own copy of each text (strings are decoded in place); it keeps that
 * buffer for the next call while it is at most 256 KiB, and frees a larger one at once. */

TJSON_API uint32_t TJsonReader_open(TJsonReader **reader);
TJSON_API uint32_t TJsonReader_close(TJsonReader **reader);
/* Parses the text between begin and end (end excluded; the text need not be
 * NUL-terminated) into a new tree. Strict JSON (RFC 8259), valid UTF-8, one value with
 * only white space around it, nesting up to TJSON_MAX_DEPTH. On failure:
 * TCOMMON_PARSE_ERROR, *value NULL, and TJsonReader_error describes the problem. */
TJSON_API uint32_t TJsonReader_parse(TJsonReader *reader, const char *begin, const char *end,
                                     TJsonValue **value);
/* Checks the text as TJsonReader_parse would (same checks, same errors). A host checks a
 * text before it hands it on to be parsed: a successful check keeps the tree that the
 * parse will need, with a copy of the text, and the next TJsonReader_parse on the same
 * thread, by any reader, of exactly the same bytes takes that tree instead of reading the
 * text again. A parse of other bytes frees what was kept; each thread keeps at most one
 * tree. */
TJSON_API uint32_t TJsonReader_check(TJsonReader *reader, const char *begin, const char *end);
/* Reads the text as TJsonReader_parse does (same checks, same errors), but hands each
 * piece to events, in document order, instead of building a tree: containers as start and
 * end, member names as key, every other value as scalar, in a node owned by the reader that
 * is valid during the call only. A failure after some pieces were delivered returns as for
 * parse; the events cannot stop the walk. Every event must be set. */
typedef struct TJsonEvents {
  void (*startObject)(void *context);
  void (*endObject)(void *context);
  void (*startArray)(void *context);
  void (*endArray)(void *context);
  /* name is NUL-terminated; length counts its bytes (it may hold a NUL of its own). */
  void (*key)(void *context, const char *name, uint64_t length);
  void (*scalar)(void *context, TJsonValue *value);
} TJsonEvents;
TJSON_API uint32_t TJsonReader_walk(TJsonReader *reader, const char *begin, const char *end,
                                    const TJsonEvents *events, void *context);
/* As TJsonReader_walk, but numbers go straight to these events where they are set, without
 * a node: integers that fit int64 (TJSON_TYPE_INTEGER) to integer, doubles
 * (TJSON_TYPE_FLOAT) to real. An event left NULL, unsigned integers above INT64_MAX and
 * every other scalar arrive through events->scalar as for walk. numbers NULL: walk.
 * integers, when set with both others: consecutive integer elements of one array may
 * arrive together, in document order, as count values (at least one), instead of one by
 * one through integer; nothing else happens between them. */
typedef struct TJsonNumberEvents {
  void (*integer)(void *context, int64_t value);
  void (*real)(void *context, double value);
  void (*integers)(void *context, const int64_t *values, uint64_t count);
} TJsonNumberEvents;
TJSON_API uint32_t TJsonReader_walkNumbers(TJsonReader *reader, const char *begin, const char *end,
                                           const TJsonEvents *events,
                                           const TJsonNumberEvents *numbers, void *context);
/* The last parse or check failure of this reader: byte offset from begin and a short
 * English text (static storage, or owned by the reader until its next call). After a
 * success: offset 0 and "No error". */
TJSON_API uint32_t TJsonReader_error(const TJsonReader *reader, uint64_t *offset,
                                     const char **text);

/* ---- Writer ------------------------------------------------------------------------- */

enum {
  TJSON_WRITER_NULL_FOR_ABSENT = 2, /* an absent or NULL root prints as null, not as "" */
  TJSON_WRITER_SHORTEST_FLOAT = 4   /* doubles in the shortest text that reads back to the
                                       same double (the nearest such text); otherwise 17
                                       significant digits */
};

typedef struct TJsonWriterConfiguration {
  uint32_t flags;  /* TJSON_WRITER_* bits */
  uint32_t indent; /* 0: compact, one line; n: pretty-printed with n spaces a level */
  uint64_t reserved[2];
} TJsonWriterConfiguration;

/* configuration NULL: flags TJSON_WRITER_NULL_FOR_ABSENT | TJSON_WRITER_SHORTEST_FLOAT,
 * compact. */
TJSON_API uint32_t TJsonWriter_open(const TJsonWriterConfiguration *configuration,
                                    TJsonWriter **writer);
TJSON_API uint32_t TJsonWriter_close(TJsonWriter **writer);
/* Prints value into the writer's buffer. *text stays valid until the next stringify or
 * close of this writer. Absent members are left out; integers print as integers, doubles
 * always with a fraction or exponent ("1.0"), non-finite doubles as null, and bytes of a
 * string that are not valid UTF-8 as U+FFFD: printing never fails on content. */
TJSON_API uint32_t TJsonWriter_stringify(TJsonWriter *writer, const TJsonValue *value,
                                         const char **text);
/* Length in bytes of the text of the last stringify (or of the last streamed document). */
TJSON_API uint32_t TJsonWriter_length(const TJsonWriter *writer, uint64_t *length);

/* Streaming: prints a document piece by piece, in document order, without building a
 * tree, in the same format as TJsonWriter_stringify (numbers, strings and layout alike).
 * TJsonWriter_begin clears the buffer; a member is TJsonWriter_key followed by its value;
 * TJsonWriter_end hands out the text (valid as for stringify) once the root value is
 * complete. A piece out of place (a value where a key is due, a second root, closing the
 * wrong container, anything before begin or after end) is TCOMMON_INVALID_ARGUMENT and
 * prints nothing; a failed allocation (TCOMMON_NO_MEMORY) ends the document. */
TJSON_API uint32_t TJsonWriter_begin(TJsonWriter *writer);
TJSON_API uint32_t TJsonWriter_startObject(TJsonWriter *writer);
TJSON_API uint32_t TJsonWriter_endObject(TJsonWriter *writer);
TJSON_API uint32_t TJsonWriter_startArray(TJsonWriter *writer);
TJSON_API uint32_t TJsonWriter_endArray(TJsonWriter *writer);
TJSON_API uint32_t TJsonWriter_key(TJsonWriter *writer, const char *name, uint64_t length);
TJSON_API uint32_t TJsonWriter_null(TJsonWriter *writer);
TJSON_API uint32_t TJsonWriter_boolean(TJsonWriter *writer, uint8_t boolean);
TJSON_API uint32_t TJsonWriter_integer(TJsonWriter *writer, int64_t integer);
TJSON_API uint32_t TJsonWriter_unsigned(TJsonWriter *writer, uint64_t integer);
TJSON_API uint32_t TJsonWriter_float(TJsonWriter *writer, double number);
TJSON_API uint32_t TJsonWriter_string(TJsonWriter *writer, const char *text, uint64_t length);
/* value and everything below it as the next piece, printed as TJsonWriter_stringify prints
 * it in that place (absent members left out); NULL or an absent value prints as null. A
 * host may free the value as soon as the call returns. */
TJSON_API uint32_t TJsonWriter_value(TJsonWriter *writer, const TJsonValue *value);
/* count numbers as elements of the open array (not inside an array:
 * TCOMMON_INVALID_ARGUMENT); the same text as one TJsonWriter_integer or _float each, at a
 * fraction of the calls. */
TJSON_API uint32_t TJsonWriter_integers(TJsonWriter *writer, const int64_t *values, uint64_t count);
TJSON_API uint32_t TJsonWriter_floats(TJsonWriter *writer, const double *values, uint64_t count);
/* A table of numbers as the next value: nested arrays shape[0] x shape[1] x ... (dimensions
 * of them, at least one) of the values in row-major order, the last dimension innermost;
 * the same text as TJsonWriter_startArray, _integers or _floats per row and _endArray. */
TJSON_API uint32_t TJsonWriter_integerTable(TJsonWriter *writer, const int64_t *values,
                                            const uint32_t *shape, uint32_t dimensions);
TJSON_API uint32_t TJsonWriter_floatTable(TJsonWriter *writer, const double *values,
                                          const uint32_t *shape, uint32_t dimensions);
TJSON_API uint32_t TJsonWriter_end(TJsonWriter *writer, const char **text);

/* ---- Values: life cycle and shape ----------------------------------------------------- */

/* *value NULL: makes a new root of the given type (TJSON_TYPE_ARRAY and _OBJECT empty,
 * NULL null, BOOLEAN false, numbers 0, STRING ""). *value non-NULL: resets that value in
 * place to an empty value of the type (its children are freed; an absent value becomes
 * real). */
TJSON_API uint32_t TJsonValue_create(uint32_t type, TJsonValue **value);
/* Deep copy as a new root. */
TJSON_API uint32_t TJsonValue_clone(const TJsonValue *value, TJsonValue **copy);
/* Frees a root with its tree; a value inside a tree is first removed from its parent.
 * NULL is accepted and does nothing. */
TJSON_API uint32_t TJsonValue_delete(TJsonValue *value);
TJSON_API uint32_t TJsonValue_type(const TJsonValue *value, uint32_t *type);
/* 1 when empty (see above), 0 otherwise. */
TJSON_API uint8_t TJsonValue_isEmpty(const TJsonValue *value);
/* Arrays: elements; objects: members (absent ones not counted); strings: bytes; other
 * values 0. */
TJSON_API uint32_t TJsonValue_size(const TJsonValue *value, uint64_t *size);

/* ---- Values: navigation ------------------------------------------------------------------ */

/* The member called name; an absent member when there is none (see above). An absent
 * or null value is treated as an empty object, and so is "" or [] (which first becomes
 * null). Other non-objects: TCOMMON_WRONG_TYPE. */
TJSON_API uint32_t TJsonValue_member(TJsonValue *object, const char *name, TJsonValue **member);
/* Follows a path of member names separated by '.' from value; a segment of decimal
 * digits addresses an array element when the value there is an array. Each step works
 * as TJsonValue_member (or TJsonValue_item for indexes into arrays). */
TJSON_API uint32_t TJsonPath(TJsonValue *value, const char *path, TJsonValue **out);
/* Element index of an array, making it when missing: the array grows with null
 * elements up to index. An absent or null value becomes an array first. Other
 * non-arrays: TCOMMON_WRONG_TYPE. */
TJSON_API uint32_t TJsonValue_item(TJsonValue *array, uint64_t index, TJsonValue **item);
/* Calls visit for every member of an object, in order (absent members skipped). A
 * non-zero result of visit stops the walk and is returned. Not an object:
 * TCOMMON_WRONG_TYPE. */
typedef uint32_t (*TJsonMemberVisitor)(void *context, const char *name, TJsonValue *member);
TJSON_API uint32_t TJsonValue_forEachMember(TJsonValue *object, TJsonMemberVisitor visit,
                                            void *context);
/* Removes and frees the member called name (every member of that name). No such
 * member is not an error. Not an object (absent and null count as empty objects):
 * TCOMMON_WRONG_TYPE. */
TJSON_API uint32_t TJsonValue_removeMemberFromObject(TJsonValue *object, const char *name);

/* ---- Values: reading ------------------------------------------------------------------------ */

TJSON_API uint32_t TJsonValue_asBoolean(const TJsonValue *value, uint8_t *out);
TJSON_API uint32_t TJsonValue_asInteger(const TJsonValue *value, int64_t *out);
TJSON_API uint32_t TJsonValue_asUnsigned(const TJsonValue *value, uint64_t *out);
TJSON_API uint32_t TJsonValue_asFloat(const TJsonValue *value, double *out);
/* The string's text, NUL-terminated, owned by the value. */
TJSON_API uint32_t TJsonValue_asString(const TJsonValue *value, const char **text);
/* Element index of an array, converted as above. index >= size: TCOMMON_OUT_OF_RANGE;
 * not an array: TCOMMON_WRONG_TYPE. */
TJSON_API uint32_t TJsonValue_itemAsBoolean(const TJsonValue *array, uint64_t index, uint8_t *out);
TJSON_API uint32_t TJsonValue_itemAsInteger(const TJsonValue *array, uint64_t index, int64_t *out);
TJSON_API uint32_t TJsonValue_itemAsUnsigned(const TJsonValue *array, uint64_t index,
                                             uint64_t *out);
TJSON_API uint32_t TJsonValue_itemAsFloat(const TJsonValue *array, uint64_t index, double *out);
TJSON_API uint32_t TJsonValue_itemAsString(const TJsonValue *array, uint64_t index,
                                           const char **text);

/* Runs of elements in one call, for tables of numbers: elements first to first + count - 1
 * of an array (those it has), each converted as TJsonValue_asInteger or _asFloat would,
 * into values[0] to values[count - 1]. An element that does not convert leaves its entry
 * as it was. Not an array: TCOMMON_WRONG_TYPE. */
TJSON_API uint32_t TJsonValue_itemsAsIntegers(const TJsonValue *array, uint64_t first,
                                              int64_t *values, uint64_t count);
TJSON_API uint32_t TJsonValue_itemsAsFloats(const TJsonValue *array, uint64_t first, double *values,
                                            uint64_t count);
/* As TJsonValue_itemsAsIntegers, but the first element that does not convert ends the run:
 * its code (TCOMMON_WRONG_TYPE) is returned and it and the entries after it are left as
 * they were. *converted is the number of entries filled, on success and on failure. */
TJSON_API uint32_t TJsonValue_itemsAsIntegersStrict(const TJsonValue *array, uint64_t first,
                                                    int64_t *values, uint64_t count,
                                                    uint64_t *converted);

/* ---- Values: writing -------------------------------------------------------------------------
 * An assignment replaces the value in place with a value of the new type (a container's
 * children are freed) and makes an absent value real. */

TJSON_API uint32_t TJsonValue_assignAsNull(TJsonValue *value);
TJSON_API uint32_t TJsonValue_assignAsBoolean(TJsonValue *value, uint8_t boolean);
TJSON_API uint32_t TJsonValue_assignAsInteger(TJsonValue *value, int64_t integer);
TJSON_API uint32_t TJsonValue_assignAsUnsigned(TJsonValue *value, uint64_t integer);
/* Stored as a double; printed as a float even when it is integral. */
TJSON_API uint32_t TJsonValue_assignAsFloat(TJsonValue *value, double number);
/* Copies the NUL-terminated text. */
TJSON_API uint32_t TJsonValue_assignAsString(TJsonValue *value, const char *text);
/* Copies length bytes (a NUL among them ends the text as asString sees it). */
TJSON_API uint32_t TJsonValue_assignAsStringLength(TJsonValue *value, const char *text,
                                                   uint64_t length);
/* Makes value a string of length bytes and hands out where they go: the caller writes them
 * at *text (followed by a NUL the value already holds) before anything else changes the
 * value. Saves a copy of long texts built in place (encoded files). */
TJSON_API uint32_t TJsonValue_assignAsStringSpace(TJsonValue *value, uint64_t length, char **text);

/* Elements first to first + count - 1 of an array become these numbers, as TJsonValue_item
 * and an assignment each would make them: the array grows with null up to there, and an
 * absent or null value becomes an array (other non-arrays: TCOMMON_WRONG_TYPE). */
TJSON_API uint32_t TJsonValue_assignItemsAsIntegers(TJsonValue *array, uint64_t first,
                                                    const int64_t *values, uint64_t count);
TJSON_API uint32_t TJsonValue_assignItemsAsFloats(TJsonValue *array, uint64_t first,
                                                  const double *values, uint64_t count);

/* Appends to an array (an absent or null value becomes an array first; other
 * non-arrays: TCOMMON_WRONG_TYPE). TJsonValue_addValueToArray takes a root made by
 * create, clone or parse and moves it into the array: the handle then designates the
 * element. element NULL appends null. */
TJSON_API uint32_t TJsonValue_addValueToArray(TJsonValue *array, TJsonValue *element);
TJSON_API uint32_t TJsonValue_addBooleanToArray(TJsonValue *array, uint8_t boolean);
TJSON_API uint32_t TJsonValue_addIntegerToArray(TJsonValue *array, int64_t integer);
TJSON_API uint32_t TJsonValue_addUnsignedToArray(TJsonValue *array, uint64_t integer);
TJSON_API uint32_t TJsonValue_addFloatToArray(TJsonValue *array, double number);
TJSON_API uint32_t TJsonValue_addStringToArray(TJsonValue *array, const char *text);
/* Moves a root into object under name, at the end (an existing member of that name is
 * replaced in its place). An absent or null object becomes an object first. */
TJSON_API uint32_t TJsonValue_addValueToObject(TJsonValue *object, const char *name,
                                               TJsonValue *member);

/* ---- Utility ----------------------------------------------------------------------------- */

/* Makes a one-line preview of the text between text and end for logs: runs of white
 * space (line breaks included) become one space, control bytes become '?', and a text
 * longer than limit characters is cut to limit - 3 characters followed by "...". The
 * preview is written NUL-terminated into buffer; it is cut further to fit capacity - 1
 * bytes. capacity 0 or a NULL argument: TCOMMON_INVALID_ARGUMENT. */
TJSON_API uint32_t TJsonUtility_shortenForDisplay(const char *text, const char *end, uint64_t limit,
                                                  char *buffer, uint64_t capacity);

#ifdef __cplusplus
}
#endif

#endif /* T_JSON_H */
