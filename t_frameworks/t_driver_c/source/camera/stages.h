// The stages of the simulated ISP, one per image block, in hardware order. Each reads its
// block's latched hardware state and returns false when it leaves the picture unchanged
// (block bypassed or parameters neutral), in which case out is not touched. The demosaic
// always produces its output (it changes the kind of image).
#ifndef T_DRIVER_CAMERA_STAGES_H
#define T_DRIVER_CAMERA_STAGES_H

#include "frame.h"
#include "t_database.h"

namespace tcamera {

// "BLS" (stage_black_level_subtraction.cpp)
bool stageBlackLevelSubtraction(const Mosaic &in, const TDatabaseBlackLevelSubtraction &state,
                                const FrameContext &context, Mosaic &out);

// "DPCC" (stage_defect_pixel_cluster_correction.cpp)
bool stageDefectPixelClusterCorrection(const Mosaic &in,
                                       const TDatabaseDefectPixelClusterCorrection &state,
                                       const FrameContext &context, Mosaic &out);

// "LSC_3" (stage_lens_shading_correction_3.cpp)
bool stageLensShadingCorrection_3(const Mosaic &in, const TDatabaseLensShadingCorrection_3 &state,
                                  const FrameContext &context, Mosaic &out);

// "GE" (stage_green_equilibration.cpp)
bool stageGreenEquilibration(const Mosaic &in, const TDatabaseGreenEquilibration &state,
                             const FrameContext &context, Mosaic &out);

// "DG" (stage_digital_gain.cpp)
bool stageDigitalGain(const Mosaic &in, const TDatabaseDigitalGain &state,
                      const FrameContext &context, Mosaic &out);

// "WB_1_1" (stage_white_balance_1_1.cpp)
bool stageWhiteBalance_1_1(const Mosaic &in, const TDatabaseWhiteBalance_1_1 &state,
                           const FrameContext &context, Mosaic &out);

// "CPD_1_1" (stage_compand_1_1.cpp)
bool stageCompand_1_1(const Mosaic &in, const TDatabaseCompand_1_1 &state,
                      const FrameContext &context, Mosaic &out);

// "HDR_3_2DOL" (stage_high_dynamic_range_3_2dol.cpp)
bool stageHighDynamicRange_3_2Dol(const Mosaic &in, const TDatabaseHighDynamicRange_3_2Dol &state,
                                  const FrameContext &context, Mosaic &out);

// "RGBIR and RGBIR_1_1" (stage_rgb_infrared_radiation.cpp)
bool stageRgbInfraredRadiation(const Mosaic &in, const TDatabaseRgbInfraredRadiation &state,
                               const FrameContext &context, Mosaic &out);

// "2DNR_6" (stage_2d_noise_reduction_6.cpp)
bool stage2DNoiseReduction_6(const Mosaic &in, const TDatabase2DNoiseReduction_6 &state,
                             const FrameContext &context, Mosaic &out);

// "DMSC_3" (stage_demosaic_3.cpp)
bool stageDeMosaic_3(const Mosaic &in, const TDatabaseDeMosaic_3 &state,
                     const FrameContext &context, RgbImage &out);

// "CCM" (stage_color_correction_matrix.cpp)
bool stageColorCorrectionMatrix(const RgbImage &in, const TDatabaseColorCorrectionMatrix &state,
                                const FrameContext &context, RgbImage &out);

// "GC_2" (stage_gamma_correction_2.cpp)
bool stageGammaCorrection_2(const RgbImage &in, const TDatabaseGammaCorrection_2 &state,
                            const FrameContext &context, RgbImage &out);

// "WDR_5_2_1" (stage_wide_dynamic_range_5_2_1.cpp)
bool stageWideDynamicRange_5_2_1(const RgbImage &in, const TDatabaseWideDynamicRange_5_2_1 &state,
                                 const FrameContext &context, RgbImage &out);

// "CP_1_2" (stage_color_process_1_2.cpp)
bool stageColorProcess_1_2(const RgbImage &in, const TDatabaseColorProcess_1_2 &state,
                           const FrameContext &context, RgbImage &out);

// "CNR_2_2" (stage_color_noise_reduction_2_2.cpp)
bool stageColorNoiseReduction_2_2(const RgbImage &in, const TDatabaseColorNoiseReduction_2_2 &state,
                                  const FrameContext &context, RgbImage &out);

// "EE_3" (stage_edge_enhance_3.cpp)
bool stageEdgeEnhance_3(const RgbImage &in, const TDatabaseEdgeEnhance_3 &state,
                        const FrameContext &context, RgbImage &out);

// "3DNR_4" (stage_3d_noise_reduction_4.cpp)
bool stage3DNoiseReduction_4(const RgbImage &in, const TDatabase3DNoiseReduction_4 &state,
                             const FrameContext &context, TemporalHistory &history, RgbImage &out);

}  // namespace tcamera

#endif  // T_DRIVER_CAMERA_STAGES_H
