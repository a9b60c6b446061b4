// Image buffer helpers and the row-band worker of the simulated camera.
#include "frame.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace tcamera {

std::array<Cfa, 16> bayerPattern(unsigned order) {
  // Top-left 2 x 2 of each order, then tiled over 4 x 4.
  static constexpr std::array<std::array<Cfa, 4>, 4> kOrders = {{
      {Cfa::kRed, Cfa::kGreenRed, Cfa::kGreenBlue, Cfa::kBlue},  // RGGB
      {Cfa::kGreenRed, Cfa::kRed, Cfa::kBlue, Cfa::kGreenBlue},  // GRBG
      {Cfa::kGreenBlue, Cfa::kBlue, Cfa::kRed, Cfa::kGreenRed},  // GBRG
      {Cfa::kBlue, Cfa::kGreenBlue, Cfa::kGreenRed, Cfa::kRed},  // BGGR
  }};
  const auto &quad = kOrders[order & 3];
  std::array<Cfa, 16> pattern{};
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) pattern[y * 4 + x] = quad[(y & 1) * 2 + (x & 1)];
  return pattern;
}

Mosaic::Shape Mosaic::sameShape() const {
  return {width,         height,      pattern,          blackLevel, whiteLevel,
          exposureRatio, data.size(), shortData.size(), colourGain};
}

// Resizing to the size held already keeps the buffer and does not touch the values.
Mosaic &Mosaic::operator=(const Shape &shape) {
  width = shape.width;
  height = shape.height;
  pattern = shape.pattern;
  blackLevel = shape.blackLevel;
  whiteLevel = shape.whiteLevel;
  exposureRatio = shape.exposureRatio;
  colourGain = shape.colourGain;
  data.resize(shape.values);
  shortData.resize(shape.shortValues);
  return *this;
}

RgbImage::Shape RgbImage::sameShape() const {
  return {width, height, encoded, data.size()};
}

RgbImage &RgbImage::operator=(const Shape &shape) {
  width = shape.width;
  height = shape.height;
  encoded = shape.encoded;
  data.resize(shape.values);
  return *this;
}

namespace {

// Helper threads that run the bands of parallelRows, started once and kept: starting threads
// for every pass of every stage cost more than some of the passes. The caller runs bands too,
// and bands are taken one at a time by whoever is free, so that a core taken away by another
// process slows a pass down instead of holding it up. One pass at a time: a second caller
// meanwhile (another camera, or a pass inside a pass) runs its bands alone.
class BandPool {
 public:
  explicit BandPool(int helpers) {
    for (int i = 0; i < helpers; ++i) threads_.emplace_back([this] { serve(); });
  }
  ~BandPool() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_all();
    for (auto &thread : threads_) thread.join();
  }
  BandPool(const BandPool &) = delete;
  BandPool &operator=(const BandPool &) = delete;

  int helpers() const { return static_cast<int>(threads_.size()); }

  // Runs work over the bands of rows with the helpers; false when the pool is busy.
  bool run(int rows, int bands, const std::function<void(int, int)> &work) {
    if (busy_.exchange(true)) return false;
    {
      std::lock_guard lock(mutex_);
      work_ = &work;
      rows_ = rows;
      bands_ = bands;
      next_ = 0;
      done_ = 0;
      failure_ = nullptr;
      ++pass_;
    }
    wake_.notify_all();
    runBands();
    std::exception_ptr failure;
    {
      std::unique_lock lock(mutex_);
      finished_.wait(lock, [this] { return done_ == bands_; });
      work_ = nullptr;
      failure = failure_;
    }
    busy_ = false;
    if (failure) std::rethrow_exception(failure);
    return true;
  }

 private:
  // Takes bands of the current pass until none is left.
  void runBands() {
    std::unique_lock lock(mutex_);
    while (next_ < bands_) {
      const int band = next_++;
      const std::function<void(int, int)> &work = *work_;
      const int first = rows_ * band / bands_, last = rows_ * (band + 1) / bands_;
      lock.unlock();
      std::exception_ptr failure;
      try {
        work(first, last);
      } catch (...) {
        failure = std::current_exception();
      }
      lock.lock();
      if (failure && !failure_) failure_ = failure;
      if (++done_ == bands_) finished_.notify_all();
    }
  }

  void serve() {
    uint64_t seen = 0;
    std::unique_lock lock(mutex_);
    for (;;) {
      wake_.wait(lock, [&] { return stopping_ || pass_ != seen; });
      if (stopping_) return;
      seen = pass_;
      lock.unlock();
      runBands();
      lock.lock();
    }
  }

  std::atomic<bool> busy_ = false;
  std::mutex mutex_;  // guards everything below
  std::condition_variable wake_;
  std::condition_variable finished_;
  const std::function<void(int, int)> *work_ = nullptr;
  int rows_ = 0, bands_ = 0, next_ = 0, done_ = 0;
  uint64_t pass_ = 0;
  std::exception_ptr failure_;
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

BandPool &bandPool() {
  static BandPool pool(static_cast<int>(std::max(1u, std::thread::hardware_concurrency())) - 1);
  return pool;
}

}  // namespace

void parallelRows(int rows, const std::function<void(int first, int last)> &work) {
  constexpr int kMinRowsPerBand = 32;
  constexpr int kBandsPerCore = 4;
  BandPool &pool = bandPool();
  const int bands = std::clamp(rows / kMinRowsPerBand, 1, (pool.helpers() + 1) * kBandsPerCore);
  if (bands == 1 || pool.helpers() == 0 || !pool.run(rows, bands, work)) work(0, rows);
}

}  // namespace tcamera
