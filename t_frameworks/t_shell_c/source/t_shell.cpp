// The shell instance, its category registry and the processing of one request.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "shell_internal.h"
#include "shell_keys.h"

// ---- Category registry ----------------------------------------------------------------
//
// Registration order is alphabetical by the source file of each category, not by the
// category name, so "AES_2" sits between "EC_2" and "FC". A category without a handler in
// this build is not registered: a request for it is answered "is never registered".
namespace tshell {
extern const KeyTable TShell2DNoiseReduction_6_processKeys;
extern const KeyTable TShell3AInterface_2_processKeys;
extern const KeyTable TShell3DNoiseReduction_4_processKeys;
extern const KeyTable TShellAuto2DNoiseReduction_6_processKeys;
extern const KeyTable TShellAuto3DNoiseReduction_4_processKeys;
extern const KeyTable TShellAutoBlackLevelSubtraction_processKeys;
extern const KeyTable TShellAutoColorNoiseReduction_2_2_processKeys;
extern const KeyTable TShellAutoColorProcess_1_2_processKeys;
extern const KeyTable TShellAutoDeMosaic_3_processKeys;
extern const KeyTable TShellAutoDefectPixelClusterCorrection_processKeys;
extern const KeyTable TShellAutoEdgeEnhance_3_processKeys;
extern const KeyTable TShellAutoExposureStatistics_2_processKeys;
extern const KeyTable TShellAutoExposure_4_processKeys;
extern const KeyTable TShellAutoFocusMeasurement_3_processKeys;
extern const KeyTable TShellAutoFocus_4_processKeys;
extern const KeyTable TShellAutoGammaCorrection_2_processKeys;
extern const KeyTable TShellAutoLensShadingCorrection_3_processKeys;
extern const KeyTable TShellAutoWhiteBalance_4_processKeys;
extern const KeyTable TShellAutoWideDynamicRange_5_2_1_processKeys;
extern const KeyTable TShellBlackLevelSubtraction_processKeys;
extern const KeyTable TShellColorCorrectionMatrix_processKeys;
extern const KeyTable TShellColorNoiseReduction_2_2_processKeys;
extern const KeyTable TShellColorProcess_1_2_processKeys;
extern const KeyTable TShellCompand_1_1_processKeys;
extern const KeyTable TShellDeMosaic_3_processKeys;
extern const KeyTable TShellDefectPixelClusterCorrection_processKeys;
extern const KeyTable TShellDevice_processKeys;
extern const KeyTable TShellDigitalGain_processKeys;
extern const KeyTable TShellEdgeEnhance_3_processKeys;
extern const KeyTable TShellExposureControl_2_processKeys;
extern const KeyTable TShellFocusControl_processKeys;
extern const KeyTable TShellGammaCorrection_2_processKeys;
extern const KeyTable TShellGreenEquilibration_processKeys;
extern const KeyTable TShellHighDynamicRange_3_2Dol_processKeys;
extern const KeyTable TShellHistogram_processKeys;
extern const KeyTable TShellHistogram_2_processKeys;
extern const KeyTable TShellInput_processKeys;
extern const KeyTable TShellIsp_processKeys;
extern const KeyTable TShellLensShadingCorrection_3_processKeys;
extern const KeyTable TShellMisc_processKeys;
extern const KeyTable TShellOutput_processKeys;
extern const KeyTable TShellRegister_processKeys;
extern const KeyTable TShellReport_processKeys;
extern const KeyTable TShellRgbInfraredRadiation_processKeys;
extern const KeyTable TShellRgbInfraredRadiation_1_1_processKeys;
extern const KeyTable TShellSensor_processKeys;
extern const KeyTable TShellSetting_processKeys;
extern const KeyTable TShellTile_processKeys;
extern const KeyTable TShellTransmit_processKeys;
extern const KeyTable TShellWhiteBalance_1_1_processKeys;
extern const KeyTable TShellWideDynamicRange_5_2_1_processKeys;
}  // namespace tshell

#define SERVED(category, Handler) \
  { category, Handler, &tshell::Handler##Keys }
#define NOT_SERVED(category) \
  { category, nullptr, nullptr }

const ShellCategory kShellCategories[] = {
    SERVED("A2DNR_6", TShellAuto2DNoiseReduction_6_process),
    SERVED("A3DNR_4", TShellAuto3DNoiseReduction_4_process),
    SERVED("ABLS", TShellAutoBlackLevelSubtraction_process),
    SERVED("ACNR_2_2", TShellAutoColorNoiseReduction_2_2_process),
    SERVED("ACP_1_2", TShellAutoColorProcess_1_2_process),
    SERVED("ADPCC", TShellAutoDefectPixelClusterCorrection_process),
    SERVED("ADMSC_3", TShellAutoDeMosaic_3_process),
    SERVED("AEE_3", TShellAutoEdgeEnhance_3_process),
    SERVED("AE_4", TShellAutoExposure_4_process),
    SERVED("AF_4", TShellAutoFocus_4_process),
    SERVED("AFM_3", TShellAutoFocusMeasurement_3_process),
    SERVED("AGC_2", TShellAutoGammaCorrection_2_process),
    SERVED("ALSC_3", TShellAutoLensShadingCorrection_3_process),
    SERVED("AWB_4", TShellAutoWhiteBalance_4_process),
    SERVED("AWDR_5_2_1", TShellAutoWideDynamicRange_5_2_1_process),
    SERVED("2DNR_6", TShell2DNoiseReduction_6_process),
    SERVED("3AI_2", TShell3AInterface_2_process),
    SERVED("3DNR_4", TShell3DNoiseReduction_4_process),
    SERVED("BLS", TShellBlackLevelSubtraction_process),
    SERVED("CCM", TShellColorCorrectionMatrix_process),
    SERVED("CNR_2_2", TShellColorNoiseReduction_2_2_process),
    SERVED("CP_1_2", TShellColorProcess_1_2_process),
    SERVED("CPD_1_1", TShellCompand_1_1_process),
    SERVED("DMSC_3", TShellDeMosaic_3_process),
    SERVED("DVC", TShellDevice_process),
    SERVED("DPCC", TShellDefectPixelClusterCorrection_process),
    SERVED("DG", TShellDigitalGain_process),
    SERVED("EE_3", TShellEdgeEnhance_3_process),
    SERVED("EC_2", TShellExposureControl_2_process),
    SERVED("AES_2", TShellAutoExposureStatistics_2_process),
    SERVED("FC", TShellFocusControl_process),
    SERVED("GC_2", TShellGammaCorrection_2_process),
    SERVED("GE", TShellGreenEquilibration_process),
    SERVED("HDR_3_2DOL", TShellHighDynamicRange_3_2Dol_process),
    SERVED("HTG", TShellHistogram_process),
    SERVED("HTG_2", TShellHistogram_2_process),
    SERVED("IPT", TShellInput_process),
    SERVED("ISP", TShellIsp_process),
    SERVED("LSC_3", TShellLensShadingCorrection_3_process),
    SERVED("MISC", TShellMisc_process),
    SERVED("OPT", TShellOutput_process),
    SERVED("RPT", TShellReport_process),
    SERVED("RGT", TShellRegister_process),
    SERVED("RGBIR", TShellRgbInfraredRadiation_process),
    SERVED("RGBIR_1_1", TShellRgbInfraredRadiation_1_1_process),
    SERVED("SS", TShellSensor_process),
    SERVED("ST", TShellSetting_process),
    SERVED("TL", TShellTile_process),
    SERVED("TM", TShellTransmit_process),
    SERVED("WB_1_1", TShellWhiteBalance_1_1_process),
    SERVED("WDR_5_2_1", TShellWideDynamicRange_5_2_1_process),
};

#undef SERVED
#undef NOT_SERVED
const uint32_t kShellCategoryCount = sizeof(kShellCategories) / sizeof(kShellCategories[0]);

// ---- Shared helpers --------------------------------------------------------------------

void shellTrace(uint32_t level, const char *file, int line, const char *function, uint32_t code) {
  TCommonTracer_print(TCommonTracerHandle, level, "%s:%d: %s(): %s(%d)\n", file, line, function,
                      TCommonError_text(code), static_cast<int>(code));
}

uint32_t shellMessage(TShell *shell, const char *format, ...) {
  char *text = static_cast<char *>(calloc(kShellMessageCapacity, 1));
  if (text == nullptr) return TCOMMON_NO_MEMORY;
  int used = snprintf(text, kShellMessageCapacity, "%s: ", shell->name);
  if (used > 0 && used < kShellMessageCapacity) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text + used, kShellMessageCapacity - used, format, arguments);
    va_end(arguments);
  }
  return TCommonLogger_messageSet(shell->logger, text);
}

namespace {

constexpr char kShellName[] = "Shell";
constexpr uint64_t kSummaryLength = 50;

enum class Direction { Client, Server };

// ---- Open -------------------------------------------------------------------------------

uint32_t registerCategories(TShell *shell) {
  for (uint32_t i = 0; i < kShellCategoryCount; ++i) {
    const ShellCategory &category = kShellCategories[i];
    if (category.handler == nullptr) continue;
    uint32_t code = TCommonMap_add(shell->categories, category.name,
                                   reinterpret_cast<void *>(category.handler));
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE_AS("registerCategories", code);
      return code;
    }
  }
  return TCOMMON_SUCCESS;
}

// ---- One request ------------------------------------------------------------------------

// Traces a preview of the request or response text. The preview is only made when the
// tracer prints summaries, so a quiet host pays nothing for it.
uint32_t summary(Direction direction, const char *text) {
  if (TCommonTracer_level(TCommonTracerHandle) < static_cast<int32_t>(kTraceSummary)) {
    return TCOMMON_SUCCESS;
  }
  char preview[kSummaryLength + 1] = {};
  uint32_t code = TJsonUtility_shortenForDisplay(text, text + strlen(text), kSummaryLength, preview,
                                                 sizeof(preview));
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE_AS("summary", code);
    return code;
  }
  TCommonTracer_print(TCommonTracerHandle, kTraceSummary,
                      direction == Direction::Client ? "Client: %s\n" : "Server: %s\n", preview);
  return TCOMMON_SUCCESS;
}

// Whether the item holds a member called name. Unlike a lookup through TJsonPath this adds
// no absent member, which would cost a heap block for every command that has none. An item
// that cannot be searched answers true, so that the full lookup reports why.
bool mayHoldMember(TJsonValue *item, const char *name) {
  struct Search {
    const char *name;
    bool isFound;
  } search{name, false};
  const uint32_t code = TJsonValue_forEachMember(
      item,
      [](void *context, const char *member, TJsonValue *) -> uint32_t {
        auto *wanted = static_cast<Search *>(context);
        wanted->isFound = strcmp(member, wanted->name) == 0;
        return wanted->isFound ? 1 : 0;
      },
      &search);
  return search.isFound || code != TCOMMON_SUCCESS;
}

// Applies the item's "permission" (an "r" anywhere grants reading, a "w" writing; no
// permission grants both) and removes it from the item. Returns 0 when the item may run;
// 13 after queueing the denial message; another code when a step failed.
uint32_t permissionCheck(TShell *shell, TJsonValue *item) {
  if (!mayHoldMember(item, "permission")) return TCOMMON_SUCCESS;
  TJsonValue *permission = nullptr;
  uint32_t code = TJsonPath(item, "permission", &permission);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  bool mayRead = true;
  bool mayWrite = true;
  if (!TJsonValue_isEmpty(permission)) {
    const char *letters = nullptr;
    if (TJsonValue_asString(permission, &letters) != TCOMMON_SUCCESS) letters = "";
    mayRead = strchr(letters, 'r') != nullptr;
    mayWrite = strchr(letters, 'w') != nullptr;
  }
  code = TJsonValue_removeMemberFromObject(item, "permission");
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  const char *denied = nullptr;
  if (shell->readFlag && !mayRead) denied = "Read permission denied";
  if (!shell->readFlag && !mayWrite) denied = "Write permission denied";
  if (denied == nullptr) return TCOMMON_SUCCESS;
  code = shellMessage(shell, "%s", denied);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  return TCOMMON_PERMISSION_DENIED;
}

// Looks up a member that must hold a text ("category", "key").
uint32_t memberText(TJsonValue *item, const char *name, const char **text) {
  TJsonValue *member = nullptr;
  uint32_t code = TJsonPath(item, name, &member);
  if (code == TCOMMON_SUCCESS) code = TJsonValue_asString(member, text);
  return code;
}

// The client message for a handler result, or NULL for results that reach the client
// only through the messages the handler queued itself.
const char *resultMessage(uint32_t result) {
  switch (result) {
    case TCOMMON_OUT_OF_RANGE:
      return "Out of range";
    case TCOMMON_NOT_INITIALIZED:
      return "Driver is not initialized";
    case TCOMMON_WRONG_CONFIGURATION:
      return "Wrong configuration";
    default:
      return nullptr;
  }
}

// Moves every queued message into the item's "message" array.
uint32_t drainMessages(TShell *shell, TJsonValue *item) {
  for (;;) {
    char *text = nullptr;
    uint32_t code = TCommonLogger_messageGet(shell->logger, &text);
    if (code == TCOMMON_OUT_OF_RANGE) return TCOMMON_SUCCESS;
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE_AS("single", code);
      return code;
    }
    TJsonValue *messages = nullptr;
    code = TJsonValue_member(item, "message", &messages);
    if (code == TCOMMON_SUCCESS) code = TJsonValue_addStringToArray(messages, text);
    free(text);
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE_AS("failed", code);
      return code;
    }
  }
}

// Runs one request item in place.
uint32_t single(TShell *shell, TJsonValue *item) {
  const char *category = nullptr;
  const char *key = nullptr;
  TJsonValue *value = nullptr;
  uint32_t code = memberText(item, "category", &category);
  if (code == TCOMMON_SUCCESS) code = memberText(item, "key", &key);
  if (code == TCOMMON_SUCCESS) code = TJsonPath(item, "value", &value);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  shell->readFlag = TJsonValue_isEmpty(value);

  code = permissionCheck(shell, item);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
  } else {
    void *handler = nullptr;
    code = TCommonMap_get(shell->categories, category, &handler);
    if (code == TCOMMON_OUT_OF_RANGE) {
      code = shellMessage(shell, "%s is never registered", category);
      if (code != TCOMMON_SUCCESS) {
        SHELL_TRACE(code);
        return code;
      }
      SHELL_TRACE(TCOMMON_OUT_OF_RANGE);
    } else if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE(code);
    } else {
      // value stays valid: a node's address never changes while its siblings come and go.
      uint32_t result = reinterpret_cast<TShellHandler>(handler)(shell, key, value);
      const char *message = resultMessage(result);
      if (result == TCOMMON_NOT_REGISTERED) {
        code = shellMessage(shell, "%s/%s is never registered", category, key);
      } else if (message != nullptr) {
        code = shellMessage(shell, "%s", message);
      }
      if (code != TCOMMON_SUCCESS) {
        SHELL_TRACE(code);
        return code;
      }
    }
  }

  if (!shell->readFlag) {
    code = TJsonValue_removeMemberFromObject(item, "value");
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE(code);
      return code;
    }
  }
  return drainMessages(shell, item);
}

// Turns a single-item request into its response, in place. Returns the response root
// (the request), or NULL when the request is not an object.
TJsonValue *respond(TShell *shell, TJsonValue *request) {
  uint32_t type = TJSON_TYPE_NULL;
  TJsonValue_type(request, &type);
  if (type != TJSON_TYPE_OBJECT) return nullptr;
  shell->commandIndex = 1;
  shell->commandCount = 1;
  // The item's failure is TShell_process's step, whatever helper runs it.
  const uint32_t code = single(shell, request);
  if (code != TCOMMON_SUCCESS) SHELL_TRACE_AS("TShell_process", code);
  return request;
}

// Answers an array request item by item: each item is processed in place, printed as the
// next element of the response and then emptied, so that the answers of a long request
// (tables read back from every block) are never all held at once. Prints what printing
// the whole answered array would.
uint32_t respondArray(TShell *shell, TJsonValue *request, const char **response) {
  TJsonWriter *writer = shell->writer;
  uint32_t code = TJsonWriter_begin(writer);
  if (code == TCOMMON_SUCCESS) code = TJsonWriter_startArray(writer);
  if (code != TCOMMON_SUCCESS) return code;
  uint64_t count = 0;
  TJsonValue_size(request, &count);
  shell->commandCount = count;
  for (uint64_t i = 0; i < count; ++i) {
    shell->commandIndex = i + 1;
    TJsonValue *item = nullptr;
    code = TJsonValue_item(request, i, &item);
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE_AS("single", code);
    } else {
      single(shell, item);
    }
    code = TJsonWriter_value(writer, item);
    if (code != TCOMMON_SUCCESS) return code;
    // Printed: a read's answer (tables of a whole block) goes now rather than with the
    // request. A write's value was removed when it was handled.
    if (item != nullptr && shell->readFlag) TJsonValue_create(TJSON_TYPE_NULL, &item);
  }
  code = TJsonWriter_endArray(writer);
  if (code == TCOMMON_SUCCESS) code = TJsonWriter_end(writer, response);
  return code;
}

}  // namespace

// ---- Exported API ------------------------------------------------------------------------

extern "C" TSHELL_API uint32_t TShell_open(void *handles[3], TShell **out) {
  if (handles == nullptr || out == nullptr) return TCOMMON_INVALID_ARGUMENT;
  TShell *shell = static_cast<TShell *>(calloc(1, sizeof(TShell)));
  *out = shell;
  if (shell == nullptr) return TCOMMON_NO_MEMORY;
  memcpy(shell->name, kShellName, sizeof(kShellName));
  shell->database = static_cast<TDatabase *>(handles[0]);
  shell->driver = static_cast<TDriver *>(handles[1]);
  shell->logger = static_cast<TCommonLogger *>(handles[2]);

  void *report = nullptr;
  uint32_t code = TDatabase_query(shell->database, "RPT", &report);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  shell->report = static_cast<TDatabaseReport *>(report);
  code = TCommonMap_open(&shell->categories);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  code = registerCategories(shell);
  if (code != TCOMMON_SUCCESS) return code;
  code = TJsonReader_open(&shell->reader);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  // Compact output; an absent response prints as null, doubles in their shortest form.
  TJsonWriterConfiguration configuration = {};
  configuration.flags = TJSON_WRITER_NULL_FOR_ABSENT | TJSON_WRITER_SHORTEST_FLOAT;
  code = TJsonWriter_open(&configuration, &shell->writer);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  code = TCommonSemaphore_open(0, &shell->semaphore);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  return TCOMMON_SUCCESS;
}

extern "C" TSHELL_API uint32_t TShell_process(TShell *shell, const char *request,
                                              const char **response) {
  if (shell == nullptr || request == nullptr || response == nullptr) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  uint32_t code = TCommonSemaphore_wait(shell->semaphore);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }

  TJsonValue *requestValue = nullptr;
  TJsonValue *responseValue = nullptr;
  bool isPrinted = false;  // an array request is printed while it is answered
  code = summary(Direction::Client, request);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
  } else {
    // A request that is not JSON leaves the instance locked: hosts validate first.
    code = TJsonReader_parse(shell->reader, request, request + strlen(request), &requestValue);
    if (code != TCOMMON_SUCCESS) {
      SHELL_TRACE(code);
      return code;
    }
    shell->pendingAfter = nullptr;
    shell->pendingRecord = nullptr;
    shell->lastBefore = nullptr;
    shell->commandIndex = 0;
    shell->commandCount = 0;
    uint32_t type = TJSON_TYPE_NULL;
    TJsonValue_type(requestValue, &type);
    if (type == TJSON_TYPE_ARRAY) {
      isPrinted = true;
      code = respondArray(shell, requestValue, response);
    } else {
      responseValue = respond(shell, requestValue);
    }
  }

  if (!isPrinted) code = TJsonWriter_stringify(shell->writer, responseValue, response);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  code = summary(Direction::Server, *response);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  // The response is the request turned around in place (printed, and for an array emptied
  // item by item), or NULL.
  if (requestValue != nullptr) code = TJsonValue_delete(requestValue);
  if (code != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  code = TCommonSemaphore_post(shell->semaphore);
  if (code != TCOMMON_SUCCESS) SHELL_TRACE(code);
  return code;
}

extern "C" TSHELL_API uint32_t TShell_close(TShell **shell) {
  if (shell == nullptr || *shell == nullptr) return TCOMMON_INVALID_ARGUMENT;
  uint32_t code = TCommonSemaphore_close(&(*shell)->semaphore);
  if (code != TCOMMON_SUCCESS) return code;
  code = TCommonMap_close(&(*shell)->categories);
  if (code != TCOMMON_SUCCESS) return code;
  // The reader and writer stay allocated: a response text handed out by the last
  // TShell_process may still be in the host's hands.
  free(*shell);
  *shell = nullptr;
  return TCOMMON_SUCCESS;
}

extern "C" TSHELL_API uint32_t TShell_schema(const char **text) {
  if (text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  // Built once from the key tables, which never change while the library is loaded.
  static const std::pair<uint32_t, std::string> kSchema = [] {
    std::pair<uint32_t, std::string> built{TCOMMON_NO_MEMORY, std::string()};
    TJsonValue *schema = nullptr;
    TJsonWriter *writer = nullptr;
    uint32_t code = TJsonValue_create(TJSON_TYPE_OBJECT, &schema);
    if (code == TCOMMON_SUCCESS) code = tshell::listSchema(schema);
    if (code == TCOMMON_SUCCESS) code = TJsonWriter_open(nullptr, &writer);
    const char *written = nullptr;
    if (code == TCOMMON_SUCCESS) code = TJsonWriter_stringify(writer, schema, &written);
    try {
      if (code == TCOMMON_SUCCESS) built.second = written;
      built.first = code;
    } catch (const std::bad_alloc &) {
    }
    if (writer != nullptr) TJsonWriter_close(&writer);
    if (schema != nullptr) TJsonValue_delete(schema);
    return built;
  }();
  if (kSchema.first != TCOMMON_SUCCESS) return kSchema.first;
  *text = kSchema.second.c_str();
  return TCOMMON_SUCCESS;
}
