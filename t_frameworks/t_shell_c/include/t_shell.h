/*
 * Tuning shell: the command interpreter between a tuning client and the ISP.
 *
 * A host opens one instance over a calibration database, a driver and a message logger,
 * and hands it JSON request texts. A request is one command object, or an array of them:
 *
 *   {"category": "DG", "key": "gb", "value": {"current": 1.5}, "permission": "rw"}
 *
 * An empty "value" (absent, null or {}) makes a read; anything else is written. The
 * response echoes each command with "permission" removed, "value" removed after a write or
 * filled with {"current": ...} after a read, and a "message" array holding every message
 * raised while the command ran:
 *
 *   {"category": "NOPE", "key": "k", "message": ["Shell: NOPE is never registered"]}
 *
 * Calls on one instance are serialised by the instance's semaphore; several threads may
 * call TShell_process on one instance.
 */
#ifndef T_SHELL_H
#define T_SHELL_H

#include <stddef.h>
#include <stdint.h>

#include "t_json.h"

#define TSHELL_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TShell TShell;

/* handles: database (TDatabase *), driver (TDriver *) and logger (TCommonLogger *), in that
 * order; the instance borrows them, the host keeps and closes them. *shell receives the
 * instance as soon as it is allocated, also when a later step fails; a failed open is
 * fatal for the instance. */
TSHELL_API uint32_t TShell_open(void *handles[3], TShell **shell);
/* Runs a NUL-terminated request text. On return *response points at the response text,
 * owned by the instance until its next TShell_process. Returns 0 when a response was
 * produced. A request that is not valid JSON returns the reader's code, gives no
 * response, and leaves the instance locked: hosts check the JSON first. */
TSHELL_API uint32_t TShell_process(TShell *shell, const char *request, const char **response);
/* Destroys the instance and sets *shell to NULL. The JSON reader and writer of the
 * instance are not released (a known, bounded leak of two small objects per instance). */
TSHELL_API uint32_t TShell_close(TShell **shell);

/* ---- Category handlers ------------------------------------------------------------------
 * Every category has an exported handler of this type, which a host may also call directly
 * with the instance, the key text and the item's "value". Declared here as the categories
 * are added. */
typedef uint32_t TShellHandlerFunction(TShell *shell, const char *key, TJsonValue *value);

/* ---- Block versions that this build does not serve: each returns 10 at once. ---------- */
TSHELL_API TShellHandlerFunction TShell2DNoiseReduction_3_process;
TSHELL_API TShellHandlerFunction TShell2DNoiseReduction_5_2_process;
TSHELL_API TShellHandlerFunction TShell3DNoiseReduction_1_2_process;
TSHELL_API TShellHandlerFunction TShell3DNoiseReduction_2_1_process;
TSHELL_API TShellHandlerFunction TShell3DNoiseReduction_2_4_process;
TSHELL_API TShellHandlerFunction TShell3DNoiseReduction_3_1_process;
TSHELL_API TShellHandlerFunction TShell3DNoiseReduction_3_process;
TSHELL_API TShellHandlerFunction TShellAuto2DNoiseReduction_3_process;
TSHELL_API TShellHandlerFunction TShellAuto2DNoiseReduction_5_2_process;
TSHELL_API TShellHandlerFunction TShellAuto3DNoiseReduction_1_2_process;
TSHELL_API TShellHandlerFunction TShellAuto3DNoiseReduction_2_1_process;
TSHELL_API TShellHandlerFunction TShellAuto3DNoiseReduction_3_1_process;
TSHELL_API TShellHandlerFunction TShellAuto3DNoiseReduction_3_process;
TSHELL_API TShellHandlerFunction TShellAutoColorNoiseReduction_2_1_process;
TSHELL_API TShellHandlerFunction TShellAutoDeMosaic_2_process;
TSHELL_API TShellHandlerFunction TShellAutoDeNoisePreFilter_process;
TSHELL_API TShellHandlerFunction TShellAutoEdgeEnhance_2_process;
TSHELL_API TShellHandlerFunction TShellAutoExposureMeasurement_2_process;
TSHELL_API TShellHandlerFunction TShellAutoExposureStatistics_3_process;
TSHELL_API TShellHandlerFunction TShellAutoExposure_3_process;
TSHELL_API TShellHandlerFunction TShellAutoFocusMeasurement_1_1_process;
TSHELL_API TShellHandlerFunction TShellAutoFocusMeasurement_process;
TSHELL_API TShellHandlerFunction TShellAutoFocus_3_process;
TSHELL_API TShellHandlerFunction TShellAutoGlobalToneMapping_process;
TSHELL_API TShellHandlerFunction TShellAutoHighDynamicRange_process;
TSHELL_API TShellHandlerFunction TShellAutoLensShadingCorrection_2_process;
TSHELL_API TShellHandlerFunction TShellAutoLensShadingCorrection_4_process;
TSHELL_API TShellHandlerFunction TShellAutoRgbInfraredRadiation_2_1_process;
TSHELL_API TShellHandlerFunction TShellAutoWhiteBalance_3_process;
TSHELL_API TShellHandlerFunction TShellAutoWideDynamicRange_4_1_process;
TSHELL_API TShellHandlerFunction TShellAutoWideDynamicRange_5_1_process;
TSHELL_API TShellHandlerFunction TShellAutoWideDynamicRange_5_2_process;
TSHELL_API TShellHandlerFunction TShellAutoWideDynamicRange_5_process;
TSHELL_API TShellHandlerFunction TShellColorCorrectionWhitePixel_process;
TSHELL_API TShellHandlerFunction TShellColorNoiseReduction_2_1_process;
TSHELL_API TShellHandlerFunction TShellColorNoiseReduction_process;
TSHELL_API TShellHandlerFunction TShellDeMosaic_1_1_process;
TSHELL_API TShellHandlerFunction TShellDeMosaic_2_process;
TSHELL_API TShellHandlerFunction TShellDeNoisePreFilter_process;
TSHELL_API TShellHandlerFunction TShellDynamicContrastImprovementHistogram_process;
TSHELL_API TShellHandlerFunction TShellEdgeEnhance_2_process;
TSHELL_API TShellHandlerFunction TShellEdgeEnhance_process;
TSHELL_API TShellHandlerFunction TShellGammaCorrection_process;
TSHELL_API TShellHandlerFunction TShellGlobalToneMapping_process;
TSHELL_API TShellHandlerFunction TShellGlobalWideDynamicRange_process;
TSHELL_API TShellHandlerFunction TShellGreenEquilibration_2_process;
TSHELL_API TShellHandlerFunction TShellHighDynamicRange_1_3_process;
TSHELL_API TShellHandlerFunction TShellHighDynamicRange_2_1_2dol_process;
TSHELL_API TShellHandlerFunction TShellHighDynamicRange_2_1_process;
TSHELL_API TShellHandlerFunction TShellHighDynamicRange_2_process;
TSHELL_API TShellHandlerFunction TShellHighDynamicRange_3_Lite_process;
TSHELL_API TShellHandlerFunction TShellHighDynamicRange_3_process;
TSHELL_API TShellHandlerFunction TShellLensShadingCorrectionWhitePixel_process;
TSHELL_API TShellHandlerFunction TShellLensShadingCorrection_2_process;
TSHELL_API TShellHandlerFunction TShellLensShadingCorrection_4_process;
TSHELL_API TShellHandlerFunction TShellLensShadingCorrection_process;
TSHELL_API TShellHandlerFunction TShellLookUpTable3D_process;
TSHELL_API TShellHandlerFunction TShellPhaseDetectionAutoFocus_process;
TSHELL_API TShellHandlerFunction TShellRgbInfraredRadiation_2_1_process;
TSHELL_API TShellHandlerFunction TShellRgbInfraredRadiation_2_process;
TSHELL_API TShellHandlerFunction TShellWhiteBalance_process;
TSHELL_API TShellHandlerFunction TShellWideDynamicRange_3_1_process;
TSHELL_API TShellHandlerFunction TShellWideDynamicRange_4_1_process;
TSHELL_API TShellHandlerFunction TShellWideDynamicRange_5_1_process;
TSHELL_API TShellHandlerFunction TShellWideDynamicRange_5_2_process;
TSHELL_API TShellHandlerFunction TShellWideDynamicRange_5_process;

#ifdef __cplusplus
}
#endif

#endif /* T_SHELL_H */
