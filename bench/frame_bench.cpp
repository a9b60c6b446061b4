// Benchmark of the simulated camera: one 1920 x 1080 frame of a 10-bit sensor through every
// stage of the pipeline to the 8-bit output, as the preview renders it at the sensor's frame
// rate. Each run advances the frame (new noise, the temporal noise reducer blending in the
// frame before) and renders the next one from the sensor. Beside the time per frame the
// program reports each stage's time ("ms_<tap>"; a stage that leaves the picture as it is
// shows next to nothing) and the processor time of the whole process per frame ("cpu_ms", both
// cores together): on a busy shared machine the wall time says more about the neighbours, and
// cpu_ms / 2 is what a frame takes on two otherwise idle cores.
#include <benchmark/benchmark.h>

#include <time.h>

#include <array>
#include <string>

#include "pipeline.h"

namespace {

double processSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

using tcamera::kTapCount;
using tcamera::Pipeline;
using tcamera::Tap;

void FramePipeline(benchmark::State &state) {
  auto hardware = std::make_unique<tcamera::HardwareState>(tcamera::defaultHardwareState());
  TDatabaseInputPath &path = hardware->input.paths[hardware->input.pathIndex];
  path.rectangle.width = static_cast<uint32_t>(state.range(0));
  path.rectangle.height = static_cast<uint32_t>(state.range(1));
  path.format = 1;  // RAW10
  Pipeline pipeline;
  pipeline.setState(*hardware);
  // The first frame has no history yet; by the end of the second the pipeline's buffers are
  // all allocated, as they stay while streaming.
  pipeline.output();
  pipeline.advance();
  pipeline.output();

  std::array<double, kTapCount> total{};
  const double cpuStart = processSeconds();
  for (auto _ : state) {
    pipeline.advance();
    benchmark::DoNotOptimize(pipeline.output().data.data());
    const auto times = pipeline.lastTimes();
    for (int tap = 0; tap < kTapCount; ++tap) total[tap] += times[tap];
  }
  state.counters["cpu_ms"] =
      benchmark::Counter((processSeconds() - cpuStart) * 1e3, benchmark::Counter::kAvgIterations);
  for (int tap = 0; tap < kTapCount; ++tap) {
    state.counters[std::string("ms_") + tcamera::tapName(Tap(tap))] =
        benchmark::Counter(total[tap] * 1e3, benchmark::Counter::kAvgIterations);
  }
  state.counters["fps"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

BENCHMARK(FramePipeline)->Args({1920, 1080})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
