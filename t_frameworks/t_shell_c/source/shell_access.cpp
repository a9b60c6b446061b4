// Moving one field of a block's record between the record and a request item, and keeping
// the record and the hardware block in step while doing so.
#include "shell_access.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using tshell::accessElements;
using tshell::accessField;
using tshell::BoolCell;
using tshell::FloatCell;
using tshell::IntegerCell;

namespace {

// Size of the buffer that the "data:<mime>;base64," header of a file is formatted into;
// a longer header is cut.
constexpr size_t kDataUriHeaderCapacity = 40;

uint32_t callHook(TShellHook hook, TShell *shell, void *record, ShellSite site) {
  const uint32_t code = hook(shell, record);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

// Releases the file buffers of a record.
void releaseFiles(uint64_t *count, TCommonBuffer **buffers) {
  if (*buffers != nullptr) {
    for (uint64_t i = 0; i < *count; ++i) TCommonBuffer_clear(&(*buffers)[i]);
    free(*buffers);
    *buffers = nullptr;
  }
  *count = 0;
}

// Decodes one file element: a data URI, or bare base64 text.
uint32_t decodeFile(const char *text, TCommonBuffer *buffer) {
  const char *comma = strchr(text, ',');
  const char *payload = comma != nullptr ? comma + 1 : text;
  uint8_t *data = nullptr;
  uint64_t length = 0;
  const uint32_t code = TCommonBase64_decode(payload, strlen(payload), &data, &length);
  if (code != TCOMMON_SUCCESS) return code;
  buffer->data = data;
  buffer->length = length;
  buffer->isFilled = 1;
  return TCOMMON_SUCCESS;
}

uint32_t writeFiles(TJsonValue *current, uint64_t *count, TCommonBuffer **buffers) {
  releaseFiles(count, buffers);
  uint64_t size = 0;
  uint32_t type = TJSON_TYPE_NULL;
  TJsonValue_type(current, &type);
  if (type == TJSON_TYPE_ARRAY) TJsonValue_size(current, &size);
  if (size == 0) return TCOMMON_SUCCESS;
  *buffers = static_cast<TCommonBuffer *>(calloc(size, sizeof(TCommonBuffer)));
  if (*buffers == nullptr) return TCOMMON_NO_MEMORY;
  *count = size;
  for (uint64_t i = 0; i < size; ++i) {
    const char *text = nullptr;
    uint32_t code = TJsonValue_itemAsString(current, i, &text);
    if (code == TCOMMON_SUCCESS) code = decodeFile(text, &(*buffers)[i]);
    if (code != TCOMMON_SUCCESS) return code;
  }
  return TCOMMON_SUCCESS;
}

// The file as a data URI, encoded straight into the value's text.
uint32_t readFile(TJsonValue *slot, const TCommonBuffer &buffer, const char *mime) {
  char header[kDataUriHeaderCapacity] = {};
  snprintf(header, kDataUriHeaderCapacity - 1, "data:%s;base64,", mime != nullptr ? mime : "");
  const size_t headerLength = strlen(header);
  if (buffer.data == nullptr && buffer.length != 0) return TCOMMON_INVALID_ARGUMENT;
  const uint64_t encodedLength = (buffer.length + 2) / 3 * 4;
  char *uri = nullptr;
  const uint32_t code = TJsonValue_assignAsStringSpace(slot, headerLength + encodedLength, &uri);
  if (code != TCOMMON_SUCCESS) return code;
  memcpy(uri, header, headerLength);
  TCommonBase64_encodeInto(buffer.data, buffer.length, uri + headerLength);
  return TCOMMON_SUCCESS;
}

uint32_t readFiles(TJsonValue *current, uint64_t count, const TCommonBuffer *buffers,
                   const char *mime) {
  uint32_t code = TJsonValue_create(TJSON_TYPE_ARRAY, &current);
  if (buffers == nullptr) return code;
  for (uint64_t i = 0; code == TCOMMON_SUCCESS && i < count; ++i) {
    TJsonValue *slot = nullptr;
    code = TJsonValue_item(current, i, &slot);
    if (code == TCOMMON_SUCCESS) code = readFile(slot, buffers[i], mime);
  }
  return code;
}

}  // namespace

// ---- Hooks --------------------------------------------------------------------------------

uint32_t shellReadBack(TShell *shell, ShellDriverFunction readBack, ShellSite site) {
  if (!shell->readFlag) return TCOMMON_SUCCESS;
  const uint32_t code = readBack(shell->driver, 1);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

uint32_t shellPush(TShell *shell, ShellDriverFunction push, ShellSite site) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  const uint32_t code = push(shell->driver, 0);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

uint32_t shellFinishImport(TShell *shell, void *record, uint32_t parsed, uint64_t *count,
                           TCommonBuffer **files, TShellHook push, ShellSite site) {
  for (uint64_t i = 0; i < *count; ++i) {
    const uint32_t cleared = TCommonBuffer_clear(&(*files)[i]);
    if (cleared != TCOMMON_SUCCESS) {
      shellTrace(kTraceError, site, cleared);
      return cleared;
    }
  }
  free(*files);  // the files accessor allocates the array with calloc
  *files = nullptr;
  *count = 0;
  const uint32_t code = parsed != TCOMMON_SUCCESS ? parsed : push(shell, record);
  if (code != TCOMMON_SUCCESS) shellTrace(kTraceError, site, code);
  return code;
}

extern "C" TSHELL_API uint32_t TShellAccess_before(TShell *shell, void *record, TShellHook hook) {
  if (shell == nullptr) return TCOMMON_INVALID_ARGUMENT;
  if (hook == nullptr || hook == shell->lastBefore) return TCOMMON_SUCCESS;
  const uint32_t code = hook(shell, record);
  if (code == TCOMMON_SUCCESS) {
    shell->lastBefore = hook;
    return TCOMMON_SUCCESS;
  }
  if (code == TCOMMON_NOT_INITIALIZED) {
    const uint32_t queued =
        shellMessage(shell, "Streaming needed, or data will come from cache not hardware");
    if (queued != TCOMMON_SUCCESS) {
      SHELL_TRACE(queued);
      return queued;
    }
  }
  // The record is served from the database as it stands.
  shellTrace(kTraceIgnored, SHELL_SITE, code);
  return TCOMMON_SUCCESS;
}

extern "C" TSHELL_API uint32_t TShellAccess_after(TShell *shell, void *record, TShellHook hook) {
  if (shell == nullptr) return TCOMMON_INVALID_ARGUMENT;
  const bool isLast = shell->commandIndex >= shell->commandCount;
  if (hook == nullptr) {
    if (!isLast || shell->pendingAfter == nullptr) return TCOMMON_SUCCESS;
    return callHook(shell->pendingAfter, shell, shell->pendingRecord, SHELL_SITE);
  }
  if (shell->pendingAfter != nullptr && shell->pendingAfter != hook) {
    const uint32_t code = callHook(shell->pendingAfter, shell, shell->pendingRecord, SHELL_SITE);
    if (code != TCOMMON_SUCCESS) return code;
  }
  if (isLast) {
    const uint32_t code = callHook(hook, shell, record, SHELL_SITE);
    if (code != TCOMMON_SUCCESS) return code;
  }
  shell->pendingAfter = hook;
  shell->pendingRecord = record;
  return TCOMMON_SUCCESS;
}

// ---- Scalars -----------------------------------------------------------------------------

extern "C" TSHELL_API uint32_t TShellAccess_bool(TShell *shell, void *record, TJsonValue *value,
                                                 uint8_t *field, TShellHook before,
                                                 TShellHook after) {
  return accessElements<BoolCell>(shell, record, value, field, nullptr, 0, before, after,
                                  SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_float(TShell *shell, void *record, TJsonValue *value,
                                                  float *field, TShellHook before,
                                                  TShellHook after) {
  return accessElements<FloatCell<float>>(shell, record, value, field, nullptr, 0, before, after,
                                          SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_double(TShell *shell, void *record, TJsonValue *value,
                                                   double *field, TShellHook before,
                                                   TShellHook after) {
  return accessElements<FloatCell<double>>(shell, record, value, field, nullptr, 0, before, after,
                                           SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_string(TShell *shell, void *record, TJsonValue *value,
                                                   char *buffer, int32_t capacity,
                                                   TShellHook before, TShellHook after) {
  if (buffer == nullptr || capacity < 0) return TCOMMON_INVALID_ARGUMENT;
  const size_t size = static_cast<size_t>(capacity);
  return accessField(shell, record, value, before, after, SHELL_SITE, [&](TJsonValue *current) {
    if (shell->readFlag)
      return TJsonValue_assignAsStringLength(current, buffer, strnlen(buffer, size));
    const char *text = nullptr;
    if (TJsonValue_asString(current, &text) == TCOMMON_SUCCESS) strncpy(buffer, text, size);
    return static_cast<uint32_t>(TCOMMON_SUCCESS);
  });
}

extern "C" TSHELL_API uint32_t TShellAccess_base64(TShell *shell, void *record, TJsonValue *value,
                                                   uint8_t *data, uint64_t length,
                                                   TShellHook before, TShellHook after) {
  return accessField(shell, record, value, before, after, SHELL_SITE, [&](TJsonValue *current) {
    if (shell->readFlag) {
      if (data == nullptr || length == 0) return tshell::kSkipAfter;
      char *text = nullptr;
      uint32_t code = TCommonBase64_encode(data, length, &text);
      if (code == TCOMMON_SUCCESS) code = TJsonValue_assignAsString(current, text);
      free(text);
      return code;
    }
    // The block's buffer is its own: the text is checked for being base64 and dropped.
    const char *text = nullptr;
    if (TJsonValue_asString(current, &text) == TCOMMON_SUCCESS) {
      uint8_t *decoded = nullptr;
      uint64_t decodedLength = 0;
      if (TCommonBase64_decode(text, strlen(text), &decoded, &decodedLength) == TCOMMON_SUCCESS) {
        free(decoded);
      }
    }
    return static_cast<uint32_t>(TCOMMON_SUCCESS);
  });
}

extern "C" TSHELL_API uint32_t TShellAccess_statistics(TShell *shell, void *record,
                                                       TJsonValue *value, TShellStatisticsFill fill,
                                                       TShellHook before, TShellHook after) {
  if (fill == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return accessField(shell, record, value, before, after, SHELL_SITE, [&](TJsonValue *current) {
    return shell->readFlag ? fill(record, current) : static_cast<uint32_t>(TCOMMON_SUCCESS);
  });
}

// ---- Arrays, curves and tables ----------------------------------------------------------------

extern "C" TSHELL_API uint32_t TShellAccess_bools(TShell *shell, void *record, TJsonValue *value,
                                                  uint8_t *field, uint64_t count, TShellHook before,
                                                  TShellHook after) {
  return accessElements<BoolCell>(shell, record, value, field, &count, 1, before, after,
                                  SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_floats(TShell *shell, void *record, TJsonValue *value,
                                                   float *field, uint64_t count, TShellHook before,
                                                   TShellHook after) {
  return accessElements<FloatCell<float>>(shell, record, value, field, &count, 1, before, after,
                                          SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_doubles(TShell *shell, void *record, TJsonValue *value,
                                                    double *field, uint64_t count,
                                                    TShellHook before, TShellHook after) {
  return accessElements<FloatCell<double>>(shell, record, value, field, &count, 1, before, after,
                                           SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_curve(TShell *shell, void *record, TJsonValue *value,
                                                  int32_t *points, uint64_t count,
                                                  TShellHook before, TShellHook after) {
  const uint64_t shape[] = {count, 2};
  // Points convert as the companion converts them, like every typed accessor's values.
  return accessElements<IntegerCell<int32_t, false>>(shell, record, value, points, shape, 2, before,
                                                     after, SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_floats22(TShell *shell, void *record, TJsonValue *value,
                                                     float *field, uint64_t rows, uint64_t columns,
                                                     TShellHook before, TShellHook after) {
  const uint64_t shape[] = {rows, columns};
  return accessElements<FloatCell<float>>(shell, record, value, field, shape, 2, before, after,
                                          SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_floats33(TShell *shell, void *record, TJsonValue *value,
                                                     float *field, uint64_t planes, uint64_t rows,
                                                     uint64_t columns, TShellHook before,
                                                     TShellHook after) {
  const uint64_t shape[] = {planes, rows, columns};
  return accessElements<FloatCell<float>>(shell, record, value, field, shape, 3, before, after,
                                          SHELL_SITE);
}

extern "C" TSHELL_API uint32_t TShellAccess_files(TShell *shell, void *record, TJsonValue *value,
                                                  uint64_t *count, TCommonBuffer **buffers,
                                                  const char *mime, TShellHook before,
                                                  TShellHook after) {
  if (count == nullptr || buffers == nullptr) return TCOMMON_INVALID_ARGUMENT;
  return accessField(shell, record, value, before, after, SHELL_SITE, [&](TJsonValue *current) {
    return shell->readFlag ? readFiles(current, *count, *buffers, mime)
                           : writeFiles(current, count, buffers);
  });
}
