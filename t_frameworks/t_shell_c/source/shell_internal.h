// The shell instance and the helpers that every category file of the shell shares.
#ifndef T_SHELL_INTERNAL_H
#define T_SHELL_INTERNAL_H

#include <cstdint>

#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_json.h"
#include "t_shell.h"

// A category handler: (instance, key text, the item's "value") -> result code.
using TShellHandler = TShellHandlerFunction *;

inline constexpr int kShellNameCapacity = 16;
// Client messages are formatted into zero-filled buffers of this size (text cut at 299).
inline constexpr int kShellMessageCapacity = 300;

struct TShell {
  TDatabase *database;
  TDriver *driver;
  TCommonLogger *logger;
  // The push owed to the hardware and not yet run, with the record of the command that
  // left it pending: a deferred hook always works on its own category's record.
  TShellHook pendingAfter;
  void *pendingRecord;
  // The read-back that already refreshed its record in this request.
  TShellHook lastBefore;
  uint64_t commandIndex;  // 1-based number of the item being handled
  uint64_t commandCount;  // items in the request
  TDatabaseReport *report;
  char name[kShellNameCapacity];
  TCommonMap *categories;
  TJsonReader *reader;
  TJsonWriter *writer;
  uint8_t readFlag;  // the current item is a read (its "value" is empty)
  TCommonSemaphore *semaphore;
};

// Trace levels of the shell.
inline constexpr uint32_t kTraceIgnored = 0;  // failures that are ignored (cache fallback)
inline constexpr uint32_t kTraceSummary = 1;  // request and response summaries
inline constexpr uint32_t kTraceError = 3;    // failures that are returned

// Where a failure is traced from: the source file, line and function that the trace line
// names.
struct ShellSite {
  const char *file;
  int line;
  const char *function;
};
#define SHELL_SITE (ShellSite{__FILE__, __LINE__, __func__})

// Prints the standard failure line "<file>:<line>: <function>(): <error text>(<code>)".
void shellTrace(uint32_t level, const char *file, int line, const char *function, uint32_t code);
inline void shellTrace(uint32_t level, ShellSite site, uint32_t code) {
  shellTrace(level, site.file, site.line, site.function, code);
}

#define SHELL_TRACE(code) shellTrace(kTraceError, __FILE__, __LINE__, __func__, (code))
#define SHELL_TRACE_AS(function, code) \
  shellTrace(kTraceError, __FILE__, __LINE__, (function), (code))

// The plain hook pair of a block, for the category files:
//
//   uint32_t before(TShell *shell, void *) {
//     return shellReadBack(shell, TDriverDigitalGain_statistics, SHELL_SITE);
//   }
//
// shellReadBack calls the block's read-back (flag 1) on a read item and shellPush its push
// (flag 0) on a write item; otherwise they return 0 at once. A driver failure is traced at
// site and returned.
using ShellDriverFunction = uint32_t (*)(TDriver *driver, uint8_t flag);
uint32_t shellReadBack(TShell *shell, ShellDriverFunction readBack, ShellSite site);
uint32_t shellPush(TShell *shell, ShellDriverFunction push, ShellSite site);

// The end of a calibration import, once the parser has seen every uploaded file (parsed is
// its result): the files are released whatever the outcome (count 0, array freed), then a
// good calibration is pushed with push(shell, record). A buffer that cannot be cleared
// stops it there, keeping the array. Failures are traced at site and returned.
uint32_t shellFinishImport(TShell *shell, void *record, uint32_t parsed, uint64_t *count,
                           TCommonBuffer **files, TShellHook push, ShellSite site);

// Formats a client message into a zero-filled buffer of kShellMessageCapacity bytes,
// behind the instance name ("Out of range" becomes "Shell: Out of range"), and queues it
// in the instance's logger, which takes the buffer. Returns the logger's code.
uint32_t shellMessage(TShell *shell, const char *format, ...) __attribute__((format(printf, 2, 3)));

namespace tshell {
struct KeyTable;
}

// The registered categories in registration order: category name, handler and key table
// (both NULL for a category that this build does not serve; it is then not registered).
struct ShellCategory {
  const char *name;
  TShellHandler handler;
  const tshell::KeyTable *keys;
};
extern const ShellCategory kShellCategories[];
extern const uint32_t kShellCategoryCount;

#endif  // T_SHELL_INTERNAL_H
