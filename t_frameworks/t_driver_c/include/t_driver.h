/*
 * ISP driver: the layer between the tuning shell and the image signal processor. This build
 * drives a simulated ISP that keeps, for every block, the hardware state that the last push
 * wrote, so that every layer above it runs for real without the target hardware. A device
 * replaces it with a driver for its own ISP that exports the same functions; this header is
 * the contract that driver fulfils, and tdriver-compliance checks a driver library against
 * it (README, "Porting to your ISP").
 *
 * Records. The driver is opened on the calibration database and borrows it. Every block
 * function works on the record of its category, which it looks up itself with
 * TDatabase_query(database, "<category>", &record) (t_database_records/<block>.h gives the
 * struct). A push reads the record's settings fields and programs the hardware block with
 * them; a read-back writes the block's live values into those fields (and, for a measuring
 * unit, its measured statistics). Transient file buffers of a record (calibration imports)
 * are the shell's: the driver neither reads nor frees them.
 *
 * Stream state machine: off --TDriver_init--> initialised --TDriver_stream(1)--> streaming,
 * streaming --TDriver_stream(0)--> initialised --TDriver_deinit--> off.
 *   - TDriver_init programs every block from the database (the hardware state of each
 *     block becomes a copy of its record) and is a no-op when already initialised.
 *   - A block push (TDriver<Block>_process with flag 0) needs at least the initialised
 *     state, otherwise TCOMMON_NOT_INITIALIZED (8); it latches the record's settings fields
 *     into the block's hardware state.
 *   - A block read-back (TDriver<Block>_statistics, or _process with flag 1) needs the
 *     streaming state, otherwise 8; it writes the block's hardware state back into the
 *     record.
 * The shell keeps no stream state of its own and calls any function in any state: each
 * function checks the state itself and answers with the codes below.
 *
 * Result codes and what the client sees (each message begins with the shell's name,
 * "Shell: ..."):
 *   0   success.
 *   8   (TCOMMON_NOT_INITIALIZED) the state does not allow the call. From a read-back the
 *       client gets the record's cached value and "Streaming needed, or data will come
 *       from cache not hardware"; from a push or a stream switch, "Driver is not
 *       initialized" (the record keeps the written value; TDriver_init programs it later).
 *   6   (TCOMMON_OUT_OF_RANGE) a value or index the hardware cannot take: "Out of range".
 *   15  (TCOMMON_WRONG_CONFIGURATION) a record or text the hardware refuses as a whole:
 *       "Wrong configuration".
 *   any other code fails the command without a client message (the shell traces it at
 *       level 3); from a read-back the cached value is served (traced at level 0). Use
 *       TCOMMON_INVALID_ARGUMENT (2) for NULL arguments and TCOMMON_NO_MEMORY (3) for
 *       failed allocations.
 * A function that fails leaves the state where it was.
 *
 * Journal: every call of a driver function (also one made to fail) appends the line
 * "<function>(<argument>)", for example "TDriverDigitalGain_process(0)" or
 * "TDriver_deinit()".
 *
 * Fault injection: after TDriverFault_set(driver, "TDriver_init", 8), that function returns
 * 8 and does nothing else (it is still journaled) until TDriverFault_clear.
 *
 * All functions of one driver are safe to call from several threads.
 */
#ifndef T_DRIVER_H
#define T_DRIVER_H

#include <stddef.h>
#include <stdint.h>

#include "t_database.h"

#define TDRIVER_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TDriver TDriver;

enum { TDRIVER_STATE_OFF = 0, TDRIVER_STATE_INITIALIZED = 1, TDRIVER_STATE_STREAMING = 2 };

/* Called by the host (not the shell) once, before TShell_open, with the database the shell
 * will use. The driver borrows the database; it must outlive the driver. Finds the hardware
 * and makes the driver in the off state; it programs no block yet. *driver gets the driver,
 * or NULL on failure. NULL arguments: TCOMMON_INVALID_ARGUMENT; no hardware: a code of the
 * port's choosing (TCOMMON_NOT_FOUND), which the host reports. */
TDRIVER_API uint32_t TDriver_open(TDatabase *database, TDriver **driver);
/* Called by the host after TShell_close, in any state: stops the stream and releases the
 * hardware as TDriver_deinit does, frees the driver and sets *driver to NULL. Returns 0
 * also when the hardware could not be stopped cleanly. */
TDRIVER_API uint32_t TDriver_close(TDriver **driver);

/* Called by the shell when a client writes true to "IPT"/"isStream" (isStream 1), just
 * before TDriver_stream(1); hosts call it too to start a device streaming. In the off
 * state: powers the ISP up and programs every block from its record, as a push of each
 * would, then the state is initialised. Initialised or streaming: nothing happens, 0. On a
 * failure the state stays off and the client sees the code's message (8 and 15 have one). */
TDRIVER_API uint32_t TDriver_init(TDriver *driver, uint8_t isStream);
/* Called by the shell after TDriver_init (isStream 1) when a client starts the stream, and
 * before TDriver_deinit (isStream 0) when it stops it.
 * isStream 1: initialised -> streaming (off: 8). isStream 0: streaming -> initialised;
 * in any other state nothing changes and 0 is returned. Streaming means frames flow, so
 * read-backs and measurements answer live values. */
TDRIVER_API uint32_t TDriver_stream(TDriver *driver, uint8_t isStream);
/* Called by the shell after TDriver_stream(0) when a client writes false to "IPT"/
 * "isStream". Any state -> off: stops the stream if one runs and powers the ISP down. The
 * blocks' hardware state need not survive: the next TDriver_init programs every block
 * again. Returns 0, also when already off. */
TDRIVER_API uint32_t TDriver_deinit(TDriver *driver);
/* Frame injection and raw capture switches; stored and reported by TDriver_status. Called
 * by the shell with the value a client writes to "IPT"/"isInject" or "IPT"/"isRaw", in any
 * state: the driver switches the input to injected frames (or the output to raw capture)
 * and returns 0, or 8 when its hardware can switch only in another state. */
TDRIVER_API uint32_t TDriver_inject(TDriver *driver, uint8_t isInject);
TDRIVER_API uint32_t TDriver_raw(TDriver *driver, uint8_t isRaw);

typedef struct TDriverStatus {
  uint32_t state; /* TDRIVER_STATE_* */
  uint8_t isInject;
  uint8_t isRaw;
  uint64_t pushes;    /* block pushes that reached the hardware */
  uint64_t readBacks; /* block read-backs that reached the hardware */
} TDriverStatus;
/* Not journaled. For hosts and tests; the shell never calls it (a port may still provide
 * it for its own tools). */
TDRIVER_API uint32_t TDriver_status(TDriver *driver, TDriverStatus *status);

/* The hardware state of a category's block: a record of that category's type holding
 * what the last push (or TDriver_init) latched, copied into the caller's record. A block
 * that was never programmed: TCOMMON_OUT_OF_RANGE. Not journaled; for tests and tools of
 * the simulated ISP, never called by the shell. */
TDRIVER_API uint32_t TDriverHardware_get(TDriver *driver, const char *category, void *record);

/* ---- Journal and fault injection ---------------------------------------------------------
 * Tools of the simulated ISP; the shell never calls them. tshell-server shows the journal in
 * its activity view, so a port used with the server provides the three journal functions
 * (an empty journal, "", is fine) and may answer TDriverFault_set with TCOMMON_NOT_FOUND. */

/* The journal since the last clear, one line per call, each ending in '\n'. *text stays
 * valid until the next journal or fault call on this driver. */
TDRIVER_API uint32_t TDriverJournal_get(TDriver *driver, const char **text);
TDRIVER_API uint32_t TDriverJournal_clear(TDriver *driver);
/* The lines from call number since on that are still in the journal (every call gets the
 * next number, counting from 0 at open; a clear drops lines but not the numbering), and in
 * *next the number the next call will get. A host polls with since = the last *next to see
 * each call once. *text stays valid until the next journal or fault call on this driver. */
TDRIVER_API uint32_t TDriverJournal_since(TDriver *driver, uint64_t since, const char **text,
                                          uint64_t *next);
/* function: an exported driver function name. Unknown name: TCOMMON_NOT_FOUND. code 0
 * removes that function's fault. */
TDRIVER_API uint32_t TDriverFault_set(TDriver *driver, const char *function, uint32_t code);
TDRIVER_API uint32_t TDriverFault_clear(TDriver *driver);

/* ---- Blocks ---------------------------------------------------------------------------------
 * Per block a push function TDriver<Block>_process(driver, flag) and, for blocks that can be
 * read back, TDriver<Block>_statistics(driver, flag). flag is the shell's read flag: 0 for a
 * push, 1 for a read-back. Declared here as the blocks are added.
 *
 * _process: flag 0 pushes the block's database record into its hardware state (needs the
 * initialised state), any other flag reads the hardware state back into the record (needs
 * streaming). _statistics reads back whatever the flag. Both are journaled with the flag as
 * argument, "TDriverDigitalGain_process(0)".
 *
 * When the shell calls them:
 *   - Push, _process(driver, 0): after a client wrote a key that reaches the hardware
 *     ("pushesHardware" in TShell_schema), with the new value already stored in the record.
 *     The shell defers it: one push for a run of writes to the same block, made when the
 *     request ends or before a command of another block runs, so one push may carry several
 *     changed fields. Writes to an automatic control's table ("AGC_2", "ADMSC_3", ...) push
 *     the manual block the table tunes. The driver programs every settings field of the
 *     record; it may be called in any state and answers 8 unless initialised or streaming.
 *     A port whose hardware latches settings only between frames applies them at the next
 *     frame and returns at once.
 *   - Read-back, _statistics(driver, 1) for the blocks that have one, _process(driver, 1)
 *     for "ISP": before the first of a run of reads of keys that come from the hardware
 *     ("readsHardware"). The driver writes the block's live values into the record's
 *     settings fields (and fills the measured statistics of a measuring unit); it answers
 *     8 unless streaming, and then must leave the record alone. Blocks without a
 *     _statistics function are never read back by the shell, but their _process(1) follows
 *     the same rule for tools.
 * A read-back right after a push answers the pushed values: the hardware reports what it
 * holds (a value the hardware rounds reads back rounded). */

/* Blocks that are pushed and read back, each on the record of the category named. */
/* "2DNR_6" */
TDRIVER_API uint32_t TDriver2DNoiseReduction_6_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriver2DNoiseReduction_6_statistics(TDriver *driver, uint8_t flag);
/* "3DNR_4" */
TDRIVER_API uint32_t TDriver3DNoiseReduction_4_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriver3DNoiseReduction_4_statistics(TDriver *driver, uint8_t flag);
/* "BLS" */
TDRIVER_API uint32_t TDriverBlackLevelSubtraction_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverBlackLevelSubtraction_statistics(TDriver *driver, uint8_t flag);
/* "CCM" */
TDRIVER_API uint32_t TDriverColorCorrectionMatrix_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverColorCorrectionMatrix_statistics(TDriver *driver, uint8_t flag);
/* "CNR_2_2" */
TDRIVER_API uint32_t TDriverColorNoiseReduction_2_2_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverColorNoiseReduction_2_2_statistics(TDriver *driver, uint8_t flag);
/* "CP_1_2" */
TDRIVER_API uint32_t TDriverColorProcess_1_2_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverColorProcess_1_2_statistics(TDriver *driver, uint8_t flag);
/* "DMSC_3" */
TDRIVER_API uint32_t TDriverDeMosaic_3_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverDeMosaic_3_statistics(TDriver *driver, uint8_t flag);
/* "DPCC" */
TDRIVER_API uint32_t TDriverDefectPixelClusterCorrection_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverDefectPixelClusterCorrection_statistics(TDriver *driver, uint8_t flag);
/* "DG" */
TDRIVER_API uint32_t TDriverDigitalGain_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverDigitalGain_statistics(TDriver *driver, uint8_t flag);
/* "EE_3" */
TDRIVER_API uint32_t TDriverEdgeEnhance_3_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverEdgeEnhance_3_statistics(TDriver *driver, uint8_t flag);
/* "EC_2", with its exposure statistics unit "AES_2": a push also latches the "AES_2" record,
 * a read-back also reads back the unit's settings and fills its measured statistics. The
 * shell pushes this block for writes to "AES_2" and "AE_4" as well, and reads it back for
 * "AES_2"/"statistics" and for the exposure and gains that "AE_4" reads from the hardware. */
TDRIVER_API uint32_t TDriverExposureControl_2_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverExposureControl_2_statistics(TDriver *driver, uint8_t flag);
/* "FC", with its focus measurement unit "AFM_3": a push also latches the "AFM_3" record, a
 * read-back also reads back the unit's settings and fills its measured statistics. The
 * shell pushes this block for writes to "AFM_3" as well, and reads it back for
 * "AFM_3"/"statistics". */
TDRIVER_API uint32_t TDriverFocusControl_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverFocusControl_statistics(TDriver *driver, uint8_t flag);
/* "GC_2" */
TDRIVER_API uint32_t TDriverGammaCorrection_2_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverGammaCorrection_2_statistics(TDriver *driver, uint8_t flag);
/* "HTG" and "HTG_2": a read-back also fills the record's measured statistics (the
 * histogram of the picture in the record's window), measured on a frame that the current
 * settings produced. */
TDRIVER_API uint32_t TDriverHistogram_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverHistogram_statistics(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverHistogram_2_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverHistogram_2_statistics(TDriver *driver, uint8_t flag);
/* "LSC_3" */
TDRIVER_API uint32_t TDriverLensShadingCorrection_3_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverLensShadingCorrection_3_statistics(TDriver *driver, uint8_t flag);
/* "WB_1_1" */
TDRIVER_API uint32_t TDriverWhiteBalance_1_1_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverWhiteBalance_1_1_statistics(TDriver *driver, uint8_t flag);
/* "WDR_5_2_1" */
TDRIVER_API uint32_t TDriverWideDynamicRange_5_2_1_process(TDriver *driver, uint8_t flag);
TDRIVER_API uint32_t TDriverWideDynamicRange_5_2_1_statistics(TDriver *driver, uint8_t flag);

/* Blocks without a _statistics function (flag 1 of _process still reads back). The shell
 * only pushes them. The "OPT" and "SS" records hold every output path and sensor mode, with
 * the one a client selected in "pathIndex" and "modeIndex". */
/* "3AI_2" */
TDRIVER_API uint32_t TDriver3AInterface_2_process(TDriver *driver, uint8_t flag);
/* "CPD_1_1" */
TDRIVER_API uint32_t TDriverCompand_1_1_process(TDriver *driver, uint8_t flag);
/* "GE" */
TDRIVER_API uint32_t TDriverGreenEquilibration_process(TDriver *driver, uint8_t flag);

/* "HDR_3_2DOL" */
TDRIVER_API uint32_t TDriverHighDynamicRange_3_2Dol_process(TDriver *driver, uint8_t flag);
/* "OPT" */
TDRIVER_API uint32_t TDriverOutput_process(TDriver *driver, uint8_t flag);
/* "RGBIR" */
TDRIVER_API uint32_t TDriverRgbInfraredRadiation_process(TDriver *driver, uint8_t flag);
/* "RGBIR_1_1" */
TDRIVER_API uint32_t TDriverRgbInfraredRadiation_1_1_process(TDriver *driver, uint8_t flag);
/* "SS" */
TDRIVER_API uint32_t TDriverSensor_process(TDriver *driver, uint8_t flag);

/* "ISP": flag 0 pushes isEnable (and hwId) into the hardware state, flag 1 reads back, and
 * then reports in hwId the identity of the hardware, TDATABASE_ISP_HW_ID, whatever a client
 * stored there. No _statistics function. The shell reads it back through _process(1); a
 * port reports its own ISP's identity in hwId. */
TDRIVER_API uint32_t TDriverIsp_process(TDriver *driver, uint8_t flag);

/* ---- Registers ------------------------------------------------------------------------------
 * One transfer between the "RGT" record and the simulated register bank: 32-bit registers at
 * 32-bit addresses. A register never written reads 0, except the identification register at
 * address 0, which reads TDATABASE_ISP_HW_ID until it is written. The bank is there whenever
 * the device is: transfers work in every stream state, and TDriver_deinit keeps its content.
 *
 * record->address and record->value are texts of up to their full buffer size (no NUL when
 * they fill it): decimal ("4096") or 0x/0X hexadecimal ("0x1000"), no sign, no spaces, no
 * other characters, at most UINT32_MAX. record->type is the access width: 0 the whole
 * register, 1 its low 16 bits, 2 its low byte.
 *   isRead non-zero: value becomes the register masked to the access width, as "0x%X"
 *     text (uppercase digits), the rest of the buffer zero-filled.
 *   isRead 0: value is written; a 16- or 8-bit write replaces only those low bits.
 * A transfer with an unparsable address or value, a type other than 0..2, or a value wider
 * than the access width is refused with TCOMMON_WRONG_CONFIGURATION (15) and changes neither
 * the bank nor the record. NULL record: TCOMMON_INVALID_ARGUMENT (not journaled). Journaled as
 * "TDriverRegister_process(<isRead>)" and faultable like the other driver functions.
 * Called by the shell for "RGT": a read of "value" transfers with isRead 1 first, a write of
 * "value" transfers with isRead 0 (the address and type come from earlier writes of the
 * record). A port maps the address to its ISP's register space and may refuse addresses
 * outside it with TCOMMON_OUT_OF_RANGE. */
TDRIVER_API uint32_t TDriverRegister_process(TDriver *driver, TDatabaseRegister *record);

/* ---- Frames of the simulated camera ---------------------------------------------------------
 * Behind the hardware state sits a model of the camera: a sensor looking at a test chart and
 * one processing stage per image block, in hardware order, each working with its block's
 * hardware state. These functions hand out its pictures; they are not journaled (a preview
 * reads frames continuously and would flood the journal) and cannot be made to fail.
 *
 * Frames are numbered from 0 when the driver opens; TDriverFrame_next moves to the next one
 * (new sensor noise; the temporal noise reducer blends in the frame before, or, when nobody
 * asked for that frame, the last frame that was asked for: unwatched frames are not rendered).
 * A frame is rendered when asked for and kept until a push changes the hardware state or the
 * frame advances; the same hardware state and frame number give the same picture, bit for
 * bit.
 * Both functions work while the ISP is initialised or streaming: while initialised they show
 * the frame the programmed blocks would produce, as a still. While off:
 * TCOMMON_NOT_INITIALIZED (8). The server advances frames at the input frame rate while it
 * streams; other clients advance them themselves. */

/* Image formats of TDriverImage. */
enum {
  /* One uint16_t sensor code per site, row-major; cfa, blackLevel and whiteLevel apply. */
  TDRIVER_IMAGE_MOSAIC16 = 1,
  /* Three uint16_t per pixel (R, G, B), linear light: 65535 is the sensor's full scale above
   * black; brighter values clip. */
  TDRIVER_IMAGE_RGB16_LINEAR = 2,
  /* Three uint16_t per pixel, encoded for display by the gamma block: 65535 is white. */
  TDRIVER_IMAGE_RGB16_ENCODED = 3,
  /* Three uint8_t per pixel, sRGB: the output. */
  TDRIVER_IMAGE_RGB8 = 4
};

/* Colours of a mosaic's sites. */
enum {
  TDRIVER_CFA_RED = 0,
  TDRIVER_CFA_GREEN_RED = 1, /* green on a line with red sites */
  TDRIVER_CFA_GREEN_BLUE = 2,
  TDRIVER_CFA_BLUE = 3,
  TDRIVER_CFA_INFRARED = 4
};

typedef struct TDriverImage {
  uint32_t width;  /* pixels */
  uint32_t height; /* lines */
  uint32_t format; /* TDRIVER_IMAGE_* */
  /* Mosaic only: the colour (TDRIVER_CFA_*) of the site at (x, y) is cfa[(y % 4) * 4 + x % 4];
   * a Bayer pattern repeats every 2 sites, an RGB-IR pattern every 4. */
  uint8_t cfa[16];
  float blackLevel; /* mosaic only: pedestal still in the codes */
  float whiteLevel; /* mosaic only: clip level, codes */
  uint64_t frameNumber;
  void *data;    /* the pixels, row-major without padding; free with TDriverImage_release */
  uint64_t size; /* bytes of data */
} TDriverImage;

/* Moves to the next frame. NULL driver: TCOMMON_INVALID_ARGUMENT. */
TDRIVER_API uint32_t TDriverFrame_next(TDriver *driver);
/* A copy of the current frame as it leaves stage: "raw" (the sensor's output, a mosaic), a
 * block's category ("BLS", ..., "2DNR_6": a mosaic; "DMSC_3", ..., "3DNR_4": RGB, linear up to
 * the gamma block, encoded from it on; "RGBIR" and "RGBIR_1_1" both name the RGB-IR stage), or
 * "output" (8-bit sRGB). A block that leaves the picture as it is hands on its input. *image is
 * cleared first and, on success, owns a buffer that TDriverImage_release frees. A stage name
 * the camera does not have: TCOMMON_NOT_FOUND; NULL argument: TCOMMON_INVALID_ARGUMENT;
 * allocation failure: TCOMMON_NO_MEMORY. */
TDRIVER_API uint32_t TDriverFrame_get(TDriver *driver, const char *stage, TDriverImage *image);
/* Hands the camera a frame to deliver instead of the test chart while "IPT"/"isInject" is on
 * (TDriver_inject): with "IPT"/"isInjectLive" on, every frame is made from it; off, the frame
 * current when it was handed over (or when injection was switched on) is, and the frames after
 * it show the chart again. The driver takes "isInjectLive" from the "IPT" record when
 * TDriver_inject or TDriver_init is called, so a client writes it before "isInject".
 * image is copied; NULL forgets the injected frame (the chart again).
 *   - TDRIVER_IMAGE_MOSAIC16: a raw frame, delivered as it is, with its own colour filter
 *     pattern (cfa), blackLevel and whiteLevel, and its own size; no noise is added.
 *   - TDRIVER_IMAGE_RGB8 (sRGB), TDRIVER_IMAGE_RGB16_ENCODED (sRGB, 16 bits) or
 *     TDRIVER_IMAGE_RGB16_LINEAR (linear, 65535 = 1): a picture, taken as the reflectance of
 *     a scene (white = a perfect white surface) that the sensor photographs as it does the
 *     chart: under the same light, through its colour filters, lens, exposure and gain, with
 *     fresh shot and read noise on every frame, its defects, pedestal and clipping, at the
 *     picture's size, in the sensor's Bayer order.
 * A frame larger than the camera's largest (4096 x 3072) or the host's cap (TDriverFrame_limit,
 * as it is at this call) is cut down to its centre, from a corner on a multiple of 4 sites so
 * that the colour filter pattern keeps its phase; odd sizes lose their last column or line.
 * Not journaled. NULL driver: TCOMMON_INVALID_ARGUMENT; an image smaller than 16 x 16, of
 * another format, whose size does not match, with a pattern value above TDRIVER_CFA_INFRARED
 * (or without red, green and blue), or with levels that are not 0 <= black < white <= 65535:
 * TCOMMON_OUT_OF_RANGE, and the frame injected before stays. */
TDRIVER_API uint32_t TDriverFrame_inject(TDriver *driver, const TDriverImage *image);
/* Caps the frame the camera renders at maxWidth x maxHeight pixels (0: no cap on that side),
 * whatever size the input path asks for; the cap applies from the next frame asked for. For
 * hosts that cannot afford full frames: a small board's preview, a fuzzer. Not journaled.
 * NULL driver: TCOMMON_INVALID_ARGUMENT. */
TDRIVER_API uint32_t TDriverFrame_limit(TDriver *driver, uint32_t maxWidth, uint32_t maxHeight);
/* Frees image's pixels and clears it; any thread, any number of times. NULL:
 * TCOMMON_INVALID_ARGUMENT. */
TDRIVER_API uint32_t TDriverImage_release(TDriverImage *image);
/* Why the camera model gives key of category no role in the picture (one line for an
 * engineer, a static text), or NULL when the key changes the picture, is not a key of an
 * image block, or either argument is NULL. Tuning clients show it beside the key. */
TDRIVER_API const char *TDriverFrame_inertReason(const char *category, const char *key);

/* ---- Scene of the simulated camera ----------------------------------------------------------
 * What the camera looks at, for testing the control loops: not hardware, not journaled, and
 * kept while the driver is open. Names and values:
 *   "lux"        scene brightness in lux, 0 (lens cap) to 100000; 400 lights the chart as
 *                shipped (default 400)
 *   "illuminant" colour temperature of the light in kelvin, 2800 to 7500 (default 5000);
 *                Planckian light
 *   "scene"      0 the test chart (default), 1 a uniform grey filling the frame, 2 the frame
 *                handed over with TDriverFrame_inject, on every frame whatever "IPT" isInject
 *                says (TCOMMON_NOT_FOUND while none has been handed over)
 * The next frame asked for shows the change. Unknown name: TCOMMON_NOT_FOUND; a value outside
 * its range (or not a number): TCOMMON_OUT_OF_RANGE, nothing changed; NULL argument:
 * TCOMMON_INVALID_ARGUMENT. */
TDRIVER_API uint32_t TDriverScene_set(TDriver *driver, const char *name, double value);
TDRIVER_API uint32_t TDriverScene_get(TDriver *driver, const char *name, double *value);

/* ---- Control loop ---------------------------------------------------------------------------
 * While the driver streams, TDriverFrame_next runs the camera's control loop on the frame it
 * leaves, as device firmware does, and programs the hardware state for the frames after it:
 *   - auto exposure, while "EC_2" state is 1, steers "EC_2" frame 0 exposure time and gains
 *     to "AE_4" setPoint (exposure time first, then analog, then digital gain);
 *   - auto white balance, while "AWB_4" mode is 1 (0 as shipped), sets the "WB_1_1" gains
 *     for the light it finds in the frame;
 *   - auto focus, while "FC" mode and "AF_4" mode are not 0, searches the "FC" lens position
 *     with the sharpest "AFM_3" measure ("FC" state 1 while it moves the lens, 2 settled).
 * The loops write the hardware state only: "EC_2", "WB_1_1" and "FC" read back what they
 * programmed; the database records keep what the client wrote. */
enum {
  TDRIVER_CONTROL_OFF = 0,       /* the loop is switched off, or the driver does not stream */
  TDRIVER_CONTROL_SEARCHING = 1, /* converging, searching */
  TDRIVER_CONTROL_SETTLED = 2,   /* converged, locked, in focus */
  TDRIVER_CONTROL_LIMITED = 3    /* stopped at a limit short of its target (a lens cap) */
};
typedef struct TDriverControlStatus {
  uint64_t frames;        /* frames the loops have run on since the driver opened */
  uint32_t exposureState; /* TDRIVER_CONTROL_* */
  float luma;             /* metered luminance of the last frame, 0..255 of full scale */
  float target;           /* the set point it steers to, same scale */
  float exposureTime;     /* seconds, as programmed */
  float analogGain;
  float digitalGain;
  uint32_t whiteBalanceState;
  float kelvin;   /* colour temperature of the light as estimated */
  float gains[4]; /* white balance gains R, Gr, Gb, B as programmed */
  uint32_t focusState;
  uint32_t lensPosition;
  float focusValue; /* focus measure of the last frame */
} TDriverControlStatus;
/* The loops' state. NULL argument: TCOMMON_INVALID_ARGUMENT. */
TDRIVER_API uint32_t TDriverControl_status(TDriver *driver, TDriverControlStatus *status);

#ifdef __cplusplus
}
#endif

#endif /* T_DRIVER_H */
