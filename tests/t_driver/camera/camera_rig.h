// A database and a driver streaming small frames of the simulated camera, for the tests that
// look at the camera the way a client does: records written and pushed, frames fetched. The
// per-gain tables are off: the blocks run on their pushed records.
#ifndef TESTS_T_DRIVER_CAMERA_CAMERA_RIG_H
#define TESTS_T_DRIVER_CAMERA_CAMERA_RIG_H

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "gain_tables_off.h"
#include "t_driver.h"

namespace tcamera::testing {

class CameraRig {
 public:
  static constexpr int kWidth = 320, kHeight = 180;

  CameraRig() {
    EXPECT_EQ(TDatabase_open(nullptr, &database_), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriver_open(database_, &driver_), TCOMMON_SUCCESS);
    path().rectangle.width = kWidth;
    path().rectangle.height = kHeight;
    switchOffGainTables(database_);
    restart();
  }
  ~CameraRig() {
    TDriver_close(&driver_);
    TDatabase_close(&database_);
  }
  CameraRig(const CameraRig &) = delete;
  CameraRig &operator=(const CameraRig &) = delete;

  template <typename Record>
  Record &record(const char *category) {
    void *found = nullptr;
    EXPECT_EQ(TDatabase_query(database_, category, &found), TCOMMON_SUCCESS) << category;
    return *static_cast<Record *>(found);
  }
  TDatabaseInputPath &path() { return record<TDatabaseInput>("IPT").paths[0]; }
  TDatabaseSensorMode &sensorMode() {
    auto &sensor = record<TDatabaseSensor>("SS");
    return sensor.modes[sensor.modeIndex];
  }
  // The input path and sensor mode are latched when the ISP is initialised.
  void restart() {
    EXPECT_EQ(TDriver_deinit(driver_), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriver_init(driver_, 1), TCOMMON_SUCCESS);
    EXPECT_EQ(TDriver_stream(driver_, 1), TCOMMON_SUCCESS);
  }

  // The frame at stage: its description and a copy of its bytes.
  struct Frame {
    TDriverImage image{};  // data is not kept
    std::vector<uint8_t> bytes;
    const uint16_t *codes() const { return reinterpret_cast<const uint16_t *>(bytes.data()); }
  };
  Frame get(const char *stage) {
    Frame frame;
    TDriverImage owned{};
    EXPECT_EQ(TDriverFrame_get(driver_, stage, &owned), TCOMMON_SUCCESS) << stage;
    const auto *data = static_cast<const uint8_t *>(owned.data);
    if (data != nullptr) frame.bytes.assign(data, data + owned.size);
    frame.image = owned;
    frame.image.data = nullptr;
    EXPECT_EQ(TDriverImage_release(&owned), TCOMMON_SUCCESS);
    EXPECT_EQ(owned.data, nullptr);
    return frame;
  }
  std::vector<uint8_t> output() { return get("output").bytes; }
  void next() { EXPECT_EQ(TDriverFrame_next(driver_), TCOMMON_SUCCESS); }
  TDriver *driver() { return driver_; }

 private:
  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
};

}  // namespace tcamera::testing

#endif  // TESTS_T_DRIVER_CAMERA_CAMERA_RIG_H
