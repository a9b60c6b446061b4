// Switches the per-gain tuning tables of a database off, so that a streaming camera runs every
// block on its pushed record: for tests of the manual blocks. "ALSC_3" has no switch; at the
// default unity gain its strength of 1 keeps the shading grid as pushed.
#ifndef TESTS_GAIN_TABLES_OFF_H
#define TESTS_GAIN_TABLES_OFF_H

#include "t_database.h"

inline void switchOffGainTables(TDatabase *database) {
  const auto record = [&](const char *category) {
    void *found = nullptr;
    TDatabase_query(database, category, &found);
    return found;
  };
  static_cast<TDatabaseAutoBlackLevelSubtraction *>(record("ABLS"))->enable = 0;
  static_cast<TDatabaseAutoColorProcess_1_2 *>(record("ACP_1_2"))->enable = 0;
  static_cast<TDatabaseAutoColorNoiseReduction_2_2 *>(record("ACNR_2_2"))->enable = 0;
  static_cast<TDatabaseAutoGammaCorrection_2 *>(record("AGC_2"))->enable = 0;
  static_cast<TDatabaseAuto2DNoiseReduction_6 *>(record("A2DNR_6"))->enable = 0;
  static_cast<TDatabaseAuto3DNoiseReduction_4 *>(record("A3DNR_4"))->enable = 0;
  static_cast<TDatabaseAutoDeMosaic_3 *>(record("ADMSC_3"))->autoLevel = 0;
  static_cast<TDatabaseAutoEdgeEnhance_3 *>(record("AEE_3"))->enable = 0;
  static_cast<TDatabaseAutoWideDynamicRange_5_2_1 *>(record("AWDR_5_2_1"))->enable = 0;
  static_cast<TDatabaseAutoDefectPixelClusterCorrection *>(record("ADPCC"))->enable = 0;
}

#endif  // TESTS_GAIN_TABLES_OFF_H
