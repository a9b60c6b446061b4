// "ST": the whole settings database as one JSON document. A client downloads it by reading
// "setting", uploads a changed one by writing it back, and returns to the content the
// database was opened with through "isReset". The document travels in a buffer array of
// the record that lives from the "setting" command until the category's push has run.
#include <cstdlib>
#include <cstring>

#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseSetting;

// Says why the database refused a document, at the level of returned failures, so that
// whoever reads the trace learns which category and field of the upload were wrong.
void traceRefusal(ShellSite site, const char *reason) {
  TCommonTracer_print(TCommonTracerHandle, kTraceError, "%s:%d: %s(): settings refused: %s\n",
                      site.file, site.line, site.function, reason);
}

// Serialises the database into the record's first buffer, for the download.
uint32_t before(TShell *shell, void *record) {
  if (!shell->readFlag) return TCOMMON_SUCCESS;
  auto *setting = static_cast<Record *>(record);
  if (setting->files == nullptr) {
    // Released with free() like the arrays that uploads allocate.
    setting->files = static_cast<TCommonBuffer *>(calloc(1, sizeof(TCommonBuffer)));
    if (setting->files == nullptr) {
      setting->fileCount = 0;
      SHELL_TRACE(TCOMMON_NO_MEMORY);
      return TCOMMON_NO_MEMORY;
    }
    setting->fileCount = 1;
  }
  TCommonBuffer *document = &setting->files[0];
  uint32_t code = TCommonBuffer_clear(document);
  if (code == TCOMMON_SUCCESS) code = TDatabase_serialize(shell->database, document);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  // The serialiser has set the length and marked the buffer filled.
  return TCOMMON_SUCCESS;
}

// Applies an uploaded document: all of it or, when any part is wrong, nothing. On a
// refusal *reason says what was wrong with it.
uint32_t apply(TShell *shell, const Record &setting, const char **reason) {
  const TCommonBuffer *document =
      setting.fileCount != 0 && setting.files != nullptr ? &setting.files[0] : nullptr;
  if (document == nullptr || document->data == nullptr) {
    *reason = "no document was uploaded";
    return TCOMMON_WRONG_CONFIGURATION;
  }
  const auto *text = reinterpret_cast<const char *>(document->data);
  // The database reads up to the first NUL: anything after one would go unchecked.
  if (strnlen(text, document->length) != document->length) {
    *reason = "the document contains a NUL byte";
    return TCOMMON_WRONG_CONFIGURATION;
  }
  const uint32_t code = TDatabase_parse(shell->database, text);
  if (code != TCOMMON_SUCCESS) *reason = TDatabase_lastError();
  return code;
}

// Imports an upload, then releases the buffers of the download or upload. A refused upload
// keeps its buffers until the next "setting" command replaces or releases them.
uint32_t after(TShell *shell, void *record) {
  auto *setting = static_cast<Record *>(record);
  if (!shell->readFlag) {
    const char *reason = "";
    const uint32_t code = apply(shell, *setting, &reason);
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE(code);
      traceRefusal(SHELL_SITE, reason);
      return code;
    }
  }
  for (uint64_t i = 0; setting->files != nullptr && i < setting->fileCount; ++i) {
    const uint32_t code = TCommonBuffer_clear(&setting->files[i]);
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE(code);
      return code;
    }
  }
  free(setting->files);
  setting->files = nullptr;
  setting->fileCount = 0;
  return TCOMMON_SUCCESS;
}

// Writing true returns every record to what the database was opened with; the flag falls
// back to false once that is done, and stays set when the reset failed.
uint32_t afterReset(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  auto *setting = static_cast<Record *>(record);
  if (setting->isReset == 0) return TCOMMON_SUCCESS;
  const uint32_t code = TDatabase_reset(shell->database, setting->isReset);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  setting->isReset = 0;
  return TCOMMON_SUCCESS;
}

constexpr KeyRow kKeys[] = {
    SHELL_FILES(
        "setting", fileCount, files, "text/json", before, after,
        "The settings document as a text/json data URI. Reading answers the whole database; "
        "writing one URI replaces the database with it, all or nothing: a document the database "
        "does not accept changes nothing. Keep it last in its request."),
    {"isReset", Access::Bool, SHELL_FIELD(isReset), nullptr, afterReset,
     "Writing true returns every record to what the database was opened with; the flag then reads "
     "false again (it stays true when the reset failed). Writing false does nothing."},
    {"protocol", Access::Integer, SHELL_FIELD(protocol), nullptr, nullptr,
     "Revision of the settings transfer the client speaks (1 as shipped). Stored only."},
};

constexpr tshell::About kAbout = {
    "Settings database",
    "The whole settings database as one JSON document: the tuning client downloads it, uploads an "
    "edited one, or resets every record to what the database was opened with. Uploaded and reset "
    "records reach the hardware when their categories are next written, or when streaming starts."};

}  // namespace

SHELL_CATEGORY(TShellSetting_process, "ST", kKeys, kAbout);
