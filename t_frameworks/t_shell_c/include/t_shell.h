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

/* ---- Category handlers: (instance, key, value) -> result code ------------------------------
 * Each registered category has an exported handler that a host may also call directly.
 * Declared here as the categories are added. */

/* ---- Block versions that this build does not serve: each returns 10 at once. ---------- */
TSHELL_API uint32_t TShell2DNoiseReduction_3_process(TShell *shell, const char *key,
                                                     TJsonValue *value);
TSHELL_API uint32_t TShell2DNoiseReduction_5_2_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShell3DNoiseReduction_1_2_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShell3DNoiseReduction_2_1_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShell3DNoiseReduction_2_4_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShell3DNoiseReduction_3_1_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShell3DNoiseReduction_3_process(TShell *shell, const char *key,
                                                     TJsonValue *value);
TSHELL_API uint32_t TShellAuto2DNoiseReduction_3_process(TShell *shell, const char *key,
                                                         TJsonValue *value);
TSHELL_API uint32_t TShellAuto2DNoiseReduction_5_2_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAuto3DNoiseReduction_1_2_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAuto3DNoiseReduction_2_1_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAuto3DNoiseReduction_3_1_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAuto3DNoiseReduction_3_process(TShell *shell, const char *key,
                                                         TJsonValue *value);
TSHELL_API uint32_t TShellAutoColorNoiseReduction_2_1_process(TShell *shell, const char *key,
                                                              TJsonValue *value);
TSHELL_API uint32_t TShellAutoDeMosaic_2_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellAutoDeNoisePreFilter_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellAutoEdgeEnhance_2_process(TShell *shell, const char *key,
                                                    TJsonValue *value);
TSHELL_API uint32_t TShellAutoExposureMeasurement_2_process(TShell *shell, const char *key,
                                                            TJsonValue *value);
TSHELL_API uint32_t TShellAutoExposureStatistics_3_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAutoExposure_3_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellAutoFocusMeasurement_1_1_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAutoFocusMeasurement_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellAutoFocus_3_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellAutoGlobalToneMapping_process(TShell *shell, const char *key,
                                                        TJsonValue *value);
TSHELL_API uint32_t TShellAutoHighDynamicRange_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellAutoLensShadingCorrection_2_process(TShell *shell, const char *key,
                                                              TJsonValue *value);
TSHELL_API uint32_t TShellAutoLensShadingCorrection_4_process(TShell *shell, const char *key,
                                                              TJsonValue *value);
TSHELL_API uint32_t TShellAutoRgbInfraredRadiation_2_1_process(TShell *shell, const char *key,
                                                               TJsonValue *value);
TSHELL_API uint32_t TShellAutoWhiteBalance_3_process(TShell *shell, const char *key,
                                                     TJsonValue *value);
TSHELL_API uint32_t TShellAutoWideDynamicRange_4_1_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAutoWideDynamicRange_5_1_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAutoWideDynamicRange_5_2_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellAutoWideDynamicRange_5_process(TShell *shell, const char *key,
                                                         TJsonValue *value);
TSHELL_API uint32_t TShellColorCorrectionWhitePixel_process(TShell *shell, const char *key,
                                                            TJsonValue *value);
TSHELL_API uint32_t TShellColorNoiseReduction_2_1_process(TShell *shell, const char *key,
                                                          TJsonValue *value);
TSHELL_API uint32_t TShellColorNoiseReduction_process(TShell *shell, const char *key,
                                                      TJsonValue *value);
TSHELL_API uint32_t TShellDeMosaic_1_1_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellDeMosaic_2_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellDeNoisePreFilter_process(TShell *shell, const char *key,
                                                   TJsonValue *value);
TSHELL_API uint32_t TShellDynamicContrastImprovementHistogram_process(TShell *shell,
                                                                      const char *key,
                                                                      TJsonValue *value);
TSHELL_API uint32_t TShellEdgeEnhance_2_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellEdgeEnhance_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellGammaCorrection_process(TShell *shell, const char *key,
                                                  TJsonValue *value);
TSHELL_API uint32_t TShellGlobalToneMapping_process(TShell *shell, const char *key,
                                                    TJsonValue *value);
TSHELL_API uint32_t TShellGlobalWideDynamicRange_process(TShell *shell, const char *key,
                                                         TJsonValue *value);
TSHELL_API uint32_t TShellGreenEquilibration_2_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellHighDynamicRange_1_3_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellHighDynamicRange_2_1_2dol_process(TShell *shell, const char *key,
                                                            TJsonValue *value);
TSHELL_API uint32_t TShellHighDynamicRange_2_1_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellHighDynamicRange_2_process(TShell *shell, const char *key,
                                                     TJsonValue *value);
TSHELL_API uint32_t TShellHighDynamicRange_3_Lite_process(TShell *shell, const char *key,
                                                          TJsonValue *value);
TSHELL_API uint32_t TShellHighDynamicRange_3_process(TShell *shell, const char *key,
                                                     TJsonValue *value);
TSHELL_API uint32_t TShellLensShadingCorrectionWhitePixel_process(TShell *shell, const char *key,
                                                                  TJsonValue *value);
TSHELL_API uint32_t TShellLensShadingCorrection_2_process(TShell *shell, const char *key,
                                                          TJsonValue *value);
TSHELL_API uint32_t TShellLensShadingCorrection_4_process(TShell *shell, const char *key,
                                                          TJsonValue *value);
TSHELL_API uint32_t TShellLensShadingCorrection_process(TShell *shell, const char *key,
                                                        TJsonValue *value);
TSHELL_API uint32_t TShellLookUpTable3D_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellPhaseDetectionAutoFocus_process(TShell *shell, const char *key,
                                                          TJsonValue *value);
TSHELL_API uint32_t TShellRgbInfraredRadiation_2_1_process(TShell *shell, const char *key,
                                                           TJsonValue *value);
TSHELL_API uint32_t TShellRgbInfraredRadiation_2_process(TShell *shell, const char *key,
                                                         TJsonValue *value);
TSHELL_API uint32_t TShellWhiteBalance_process(TShell *shell, const char *key, TJsonValue *value);
TSHELL_API uint32_t TShellWideDynamicRange_3_1_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellWideDynamicRange_4_1_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellWideDynamicRange_5_1_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellWideDynamicRange_5_2_process(TShell *shell, const char *key,
                                                       TJsonValue *value);
TSHELL_API uint32_t TShellWideDynamicRange_5_process(TShell *shell, const char *key,
                                                     TJsonValue *value);

#ifdef __cplusplus
}
#endif

#endif /* T_SHELL_H */
