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
 * call TShell_process on one instance. The response text belongs to the instance until its
 * next TShell_process, so a host that reads responses on several threads holds its own lock
 * around each call and the copy of its response.
 */
#ifndef T_SHELL_H
#define T_SHELL_H

#include <stddef.h>
#include <stdint.h>

#include "t_common.h"
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
/* The keys of every served category as one JSON object, for tuning clients and tools:
 *   {"DG": [{"key": "gb", "access": "float", "element": "f32", "shape": [],
 *            "readsHardware": true, "pushesHardware": true}, ...], ...}
 * "access" is how the value moves (integer, flag, bool, float, double, string, curve,
 * statistics, files), "element" the stored element type, "shape" the counts of an array
 * (empty for a scalar). "readsHardware": a read first reads the block back from the
 * hardware; "pushesHardware": a write pushes the block to the hardware. Keys of a selected
 * entry add "selectedBy" (the index key) and "entries"; limited integers add "maximum";
 * arrays whose outer count follows another member add "rowsFrom"; scaled floats add
 * "scale". *text is static: valid while the library is loaded. */
TSHELL_API uint32_t TShell_schema(const char **text);

/* ---- Category handlers ------------------------------------------------------------------
 * Every category has an exported handler of this type, which a host may also call directly
 * with the instance, the key text and the item's "value". Declared here as the categories
 * are added. */
typedef uint32_t TShellHandlerFunction(TShell *shell, const char *key, TJsonValue *value);

/* ---- Categories served by this build -------------------------------------------------------
 * Handlers of the manual ISP blocks and of the device categories, by category name. */
TSHELL_API TShellHandlerFunction TShell2DNoiseReduction_6_process;               /* "2DNR_6" */
TSHELL_API TShellHandlerFunction TShell3AInterface_2_process;                    /* "3AI_2" */
TSHELL_API TShellHandlerFunction TShell3DNoiseReduction_4_process;               /* "3DNR_4" */
TSHELL_API TShellHandlerFunction TShellAuto2DNoiseReduction_6_process;           /* "A2DNR_6" */
TSHELL_API TShellHandlerFunction TShellAuto3DNoiseReduction_4_process;           /* "A3DNR_4" */
TSHELL_API TShellHandlerFunction TShellAutoBlackLevelSubtraction_process;        /* "ABLS" */
TSHELL_API TShellHandlerFunction TShellAutoColorNoiseReduction_2_2_process;      /* "ACNR_2_2" */
TSHELL_API TShellHandlerFunction TShellAutoColorProcess_1_2_process;             /* "ACP_1_2" */
TSHELL_API TShellHandlerFunction TShellAutoDeMosaic_3_process;                   /* "ADMSC_3" */
TSHELL_API TShellHandlerFunction TShellAutoDefectPixelClusterCorrection_process; /* "ADPCC" */
TSHELL_API TShellHandlerFunction TShellAutoEdgeEnhance_3_process;                /* "AEE_3" */
TSHELL_API TShellHandlerFunction TShellAutoExposureStatistics_2_process;         /* "AES_2" */
TSHELL_API TShellHandlerFunction TShellAutoExposure_4_process;                   /* "AE_4" */
TSHELL_API TShellHandlerFunction TShellAutoFocusMeasurement_3_process;           /* "AFM_3" */
TSHELL_API TShellHandlerFunction TShellAutoFocus_4_process;                      /* "AF_4" */
TSHELL_API TShellHandlerFunction TShellAutoGammaCorrection_2_process;            /* "AGC_2" */
TSHELL_API TShellHandlerFunction TShellAutoLensShadingCorrection_3_process;      /* "ALSC_3" */
TSHELL_API TShellHandlerFunction TShellAutoWhiteBalance_4_process;               /* "AWB_4" */
TSHELL_API TShellHandlerFunction TShellAutoWideDynamicRange_5_2_1_process;       /* "AWDR_5_2_1" */
TSHELL_API TShellHandlerFunction TShellBlackLevelSubtraction_process;            /* "BLS" */
TSHELL_API TShellHandlerFunction TShellColorCorrectionMatrix_process;            /* "CCM" */
TSHELL_API TShellHandlerFunction TShellColorNoiseReduction_2_2_process;          /* "CNR_2_2" */
TSHELL_API TShellHandlerFunction TShellColorProcess_1_2_process;                 /* "CP_1_2" */
TSHELL_API TShellHandlerFunction TShellCompand_1_1_process;                      /* "CPD_1_1" */
TSHELL_API TShellHandlerFunction TShellDeMosaic_3_process;                       /* "DMSC_3" */
TSHELL_API TShellHandlerFunction TShellDefectPixelClusterCorrection_process;     /* "DPCC" */
TSHELL_API TShellHandlerFunction TShellDevice_process;                           /* "DVC" */
TSHELL_API TShellHandlerFunction TShellDigitalGain_process;                      /* "DG" */
TSHELL_API TShellHandlerFunction TShellEdgeEnhance_3_process;                    /* "EE_3" */
TSHELL_API TShellHandlerFunction TShellExposureControl_2_process;                /* "EC_2" */
TSHELL_API TShellHandlerFunction TShellFocusControl_process;                     /* "FC" */
TSHELL_API TShellHandlerFunction TShellGammaCorrection_2_process;                /* "GC_2" */
TSHELL_API TShellHandlerFunction TShellGreenEquilibration_process;               /* "GE" */
TSHELL_API TShellHandlerFunction TShellHighDynamicRange_3_2Dol_process;          /* "HDR_3_2DOL" */
TSHELL_API TShellHandlerFunction TShellHistogram_process;                        /* "HTG" */
TSHELL_API TShellHandlerFunction TShellHistogram_2_process;                      /* "HTG_2" */
TSHELL_API TShellHandlerFunction TShellInput_process;                            /* "IPT" */
TSHELL_API TShellHandlerFunction TShellIsp_process;                              /* "ISP" */
TSHELL_API TShellHandlerFunction TShellLensShadingCorrection_3_process;          /* "LSC_3" */
TSHELL_API TShellHandlerFunction TShellMisc_process;                             /* "MISC" */
TSHELL_API TShellHandlerFunction TShellOutput_process;                           /* "OPT" */
TSHELL_API TShellHandlerFunction TShellRegister_process;                         /* "RGT" */
TSHELL_API TShellHandlerFunction TShellReport_process;                           /* "RPT" */
TSHELL_API TShellHandlerFunction TShellRgbInfraredRadiation_process;             /* "RGBIR" */
TSHELL_API TShellHandlerFunction TShellRgbInfraredRadiation_1_1_process;         /* "RGBIR_1_1" */
TSHELL_API TShellHandlerFunction TShellSensor_process;                           /* "SS" */
TSHELL_API TShellHandlerFunction TShellSetting_process;                          /* "ST" */
TSHELL_API TShellHandlerFunction TShellTile_process;                             /* "TL" */
TSHELL_API TShellHandlerFunction TShellTransmit_process;                         /* "TM" */
TSHELL_API TShellHandlerFunction TShellWhiteBalance_1_1_process;                 /* "WB_1_1" */
TSHELL_API TShellHandlerFunction TShellWideDynamicRange_5_2_1_process;           /* "WDR_5_2_1" */

/* ---- Parameter access ----------------------------------------------------------------------
 * Every category handler moves one field of its block's record between the record and the
 * item's value {"current": ...} through these accessors, in the direction of the running
 * item: an item with an empty "value" reads the field into "current", any other writes
 * "current" into the field.
 *
 * Each accessor takes the instance, the block's record (handed on to the hooks) and the
 * item's "value" first, and the block's before and after hooks last (either may be NULL).
 * The before hook refreshes the record from the hardware before a read; the after hook
 * pushes the record to the hardware after a write. TShellAccess_before and
 * TShellAccess_after decide when they actually run: within one request a block is read
 * back from the hardware at most once, and its pushes are collected into one, run when the
 * request moves on to another block or reaches its last item.
 *
 * Writes convert "current" as the JSON library converts it (numbers narrowed to the
 * field's type, booleans to 0 or 1); a value that does not convert leaves the field as it
 * was. Arrays: a write changes the first min(JSON length, declared count) elements, per row
 * for tables, and ignores the rest without complaint; a read always returns the declared
 * count of elements at every level. */
typedef uint32_t (*TShellHook)(TShell *shell, void *record);
/* Writes a block's measured statistics into value; see TShellAccess_statistics. */
typedef uint32_t (*TShellStatisticsFill)(const void *record, TJsonValue *value);

/* Runs hook (the block's read-back) on a read, unless it already succeeded earlier in this
 * request. A read-back that fails does not fail the access: the record is served as it
 * stands, and a read-back answering 8 (the hardware can only be read while streaming)
 * queues the message "Streaming needed, or data will come from cache not hardware". */
TSHELL_API uint32_t TShellAccess_before(TShell *shell, void *record, TShellHook hook);
/* Defers hook (the block's push) until the request moves on to another block's push or
 * reaches its last item; at the last item it runs at once. hook NULL only runs, at the last
 * item, a push left pending by an earlier item. A pending push runs on the record that
 * left it pending, with the read flag of the item during which it runs. */
TSHELL_API uint32_t TShellAccess_after(TShell *shell, void *record, TShellHook hook);

TSHELL_API uint32_t TShellAccess_bool(TShell *shell, void *record, TJsonValue *value,
                                      uint8_t *field, TShellHook before, TShellHook after);
TSHELL_API uint32_t TShellAccess_float(TShell *shell, void *record, TJsonValue *value, float *field,
                                       TShellHook before, TShellHook after);
TSHELL_API uint32_t TShellAccess_double(TShell *shell, void *record, TJsonValue *value,
                                        double *field, TShellHook before, TShellHook after);
/* A write copies at most capacity bytes (strncpy): a text of capacity bytes or more fills
 * the buffer without a terminating NUL. A read takes the text up to its NUL or capacity. */
TSHELL_API uint32_t TShellAccess_string(TShell *shell, void *record, TJsonValue *value,
                                        char *buffer, int32_t capacity, TShellHook before,
                                        TShellHook after);
/* A read returns the bytes as base64 text (nothing, and no push, when there are none). A
 * write is accepted but changes nothing: the buffer is the block's own. */
TSHELL_API uint32_t TShellAccess_base64(TShell *shell, void *record, TJsonValue *value,
                                        uint8_t *data, uint64_t length, TShellHook before,
                                        TShellHook after);
/* A read calls fill(record, current) after the read-back; a write moves nothing. */
TSHELL_API uint32_t TShellAccess_statistics(TShell *shell, void *record, TJsonValue *value,
                                            TShellStatisticsFill fill, TShellHook before,
                                            TShellHook after);
TSHELL_API uint32_t TShellAccess_bools(TShell *shell, void *record, TJsonValue *value,
                                       uint8_t *field, uint64_t count, TShellHook before,
                                       TShellHook after);
TSHELL_API uint32_t TShellAccess_floats(TShell *shell, void *record, TJsonValue *value,
                                        float *field, uint64_t count, TShellHook before,
                                        TShellHook after);
TSHELL_API uint32_t TShellAccess_doubles(TShell *shell, void *record, TJsonValue *value,
                                         double *field, uint64_t count, TShellHook before,
                                         TShellHook after);
/* count points [x, y], stored as consecutive signed 32-bit pairs. */
TSHELL_API uint32_t TShellAccess_curve(TShell *shell, void *record, TJsonValue *value,
                                       int32_t *points, uint64_t count, TShellHook before,
                                       TShellHook after);
/* rows x columns floats, row-major; JSON: an array of rows. */
TSHELL_API uint32_t TShellAccess_floats22(TShell *shell, void *record, TJsonValue *value,
                                          float *field, uint64_t rows, uint64_t columns,
                                          TShellHook before, TShellHook after);
/* planes x rows x columns floats, last index fastest; JSON: planes of rows. */
TSHELL_API uint32_t TShellAccess_floats33(TShell *shell, void *record, TJsonValue *value,
                                          float *field, uint64_t planes, uint64_t rows,
                                          uint64_t columns, TShellHook before, TShellHook after);
/* Files as "data:<mime>;base64,<payload>" texts. A write releases the old buffers
 * (*count and *buffers) and decodes every element into a new array of *count buffers; the
 * part up to the first comma is skipped, so bare base64 is accepted too. A read encodes
 * every buffer into a data URI of type mime. */
TSHELL_API uint32_t TShellAccess_files(TShell *shell, void *record, TJsonValue *value,
                                       uint64_t *count, TCommonBuffer **buffers, const char *mime,
                                       TShellHook before, TShellHook after);

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
