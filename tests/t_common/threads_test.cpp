#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "t_common.h"

namespace {

using Clock = std::chrono::steady_clock;

// ---- Semaphore ------------------------------------------------------------------------------

class SemaphoreTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(TCommonSemaphore_open(0, &semaphore_), TCOMMON_SUCCESS); }
  void TearDown() override { EXPECT_EQ(TCommonSemaphore_close(&semaphore_), TCOMMON_SUCCESS); }
  TCommonSemaphore *semaphore_ = nullptr;
};

TEST_F(SemaphoreTest, ExcludesOtherHolders) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  std::atomic<int> holders{0};
  std::atomic<bool> overlapped{false};
  int counter = 0;  // deliberately unprotected except by the semaphore
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        const uint32_t taken = (i + t) % 2 == 0 ? TCommonSemaphore_wait(semaphore_)
                                                : TCommonSemaphore_waitFor(semaphore_, 10000);
        ASSERT_EQ(taken, TCOMMON_SUCCESS);
        if (holders.fetch_add(1) != 0) overlapped = true;
        ++counter;
        holders.fetch_sub(1);
        ASSERT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_SUCCESS);
      }
    });
  }
  for (auto &thread : threads) thread.join();
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(counter, kThreads * kRounds);
}

TEST_F(SemaphoreTest, WaitForTimesOutWhileHeld) {
  ASSERT_EQ(TCommonSemaphore_waitFor(semaphore_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore_, 0), TCOMMON_BUSY);
  const auto start = Clock::now();
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore_, 60), TCOMMON_BUSY);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(60));
  ASSERT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_SUCCESS);
}

TEST_F(SemaphoreTest, WaitForTakesASemaphorePostedMeanwhile) {
  ASSERT_EQ(TCommonSemaphore_wait(semaphore_), TCOMMON_SUCCESS);
  std::thread poster([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_SUCCESS);
  });
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore_, 10000), TCOMMON_SUCCESS);
  poster.join();
  // Held again by this thread: another taker must fail.
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore_, 0), TCOMMON_BUSY);
  EXPECT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_SUCCESS);
}

TEST_F(SemaphoreTest, PostingAnAvailableSemaphoreFailsAndChangesNothing) {
  EXPECT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_FAILED);
  // Still a single permit, not two.
  ASSERT_EQ(TCommonSemaphore_waitFor(semaphore_, 0), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonSemaphore_waitFor(semaphore_, 0), TCOMMON_BUSY);
  EXPECT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_SUCCESS);
  EXPECT_EQ(TCommonSemaphore_post(semaphore_), TCOMMON_FAILED);
}

// ---- Logger under concurrent producers ------------------------------------------------------

TEST(Logger, ConcurrentProducersLoseNothingAndKeepTheirOrder) {
  constexpr int kProducers = 4;
  constexpr int kMessages = 1000;
  TCommonLogger *logger = nullptr;
  ASSERT_EQ(TCommonLogger_open(&logger), TCOMMON_SUCCESS);

  std::vector<int> nextFrom(kProducers, 0);
  int received = 0;
  std::atomic<int> producing{kProducers};
  auto drain = [&] {
    char *text = nullptr;
    while (TCommonLogger_messageGet(logger, &text) == TCOMMON_SUCCESS) {
      int producer = -1;
      int index = -1;
      ASSERT_EQ(std::sscanf(text, "%d:%d", &producer, &index), 2) << text;
      std::free(text);
      ASSERT_GE(producer, 0);
      ASSERT_LT(producer, kProducers);
      EXPECT_EQ(index, nextFrom[producer]++) << "producer " << producer;
      ++received;
    }
  };

  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      for (int i = 0; i < kMessages; ++i) {
        char *text = static_cast<char *>(std::malloc(32));
        std::snprintf(text, 32, "%d:%d", p, i);
        EXPECT_EQ(TCommonLogger_messageSet(logger, text), TCOMMON_SUCCESS);
      }
      producing.fetch_sub(1);
    });
  }
  while (producing.load() > 0) drain();  // consume while the producers run
  for (auto &thread : producers) thread.join();
  drain();
  EXPECT_EQ(received, kProducers * kMessages);
  EXPECT_EQ(TCommonLogger_close(&logger), TCOMMON_SUCCESS);
}

// ---- Tracer ---------------------------------------------------------------------------------

struct Captured {
  std::mutex mutex;
  std::vector<std::pair<uint32_t, std::string>> lines;
};

void captureLine(void *context, uint32_t level, const char *line) {
  auto *captured = static_cast<Captured *>(context);
  std::lock_guard lock(captured->mutex);
  captured->lines.emplace_back(level, line);
}

class TracerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(TCommonTracer_setSink(TCommonTracerHandle, captureLine, &captured_), 0u);
  }
  void TearDown() override {
    TCommonTracer_setSink(TCommonTracerHandle, nullptr, nullptr);
    TCommonTracer_setLevel(TCommonTracerHandle, -1);
  }
  Captured captured_;
};

TEST_F(TracerTest, PrintsALineIffItsLevelIsAtMostTheHighest) {
  for (int32_t highest : {-5, -1, 0, 1, 3}) {
    ASSERT_EQ(TCommonTracer_setLevel(TCommonTracerHandle, highest), TCOMMON_SUCCESS);
    EXPECT_EQ(TCommonTracer_level(TCommonTracerHandle), highest < 0 ? -1 : highest);
    for (uint32_t level : {0u, 1u, 2u, 3u, 4u, 0x80000000u, 0xFFFFFFFFu}) {
      captured_.lines.clear();
      ASSERT_EQ(TCommonTracer_print(TCommonTracerHandle, level, "level %u\n", level), 0u);
      const bool printed = static_cast<int64_t>(level) <= highest;
      ASSERT_EQ(captured_.lines.size(), printed ? 1u : 0u)
          << "level " << level << " highest " << highest;
      if (printed) {
        EXPECT_EQ(captured_.lines[0].first, level);
        EXPECT_EQ(captured_.lines[0].second, "level " + std::to_string(level) + "\n");
      }
    }
  }
}

TEST_F(TracerTest, DroppedLinesAreNeverFormatted) {
  ASSERT_EQ(TCommonTracer_setLevel(TCommonTracerHandle, 1), 0u);
  // Formatting this would dereference an invalid pointer.
  const char *poison = reinterpret_cast<const char *>(uintptr_t{8});
  EXPECT_EQ(TCommonTracer_print(TCommonTracerHandle, 2, "%s\n", poison), TCOMMON_SUCCESS);
  EXPECT_TRUE(captured_.lines.empty());
}

TEST_F(TracerTest, LongLinesAreCut) {
  ASSERT_EQ(TCommonTracer_setLevel(TCommonTracerHandle, 0), 0u);
  const std::string longText(3000, 'x');
  ASSERT_EQ(TCommonTracer_print(TCommonTracerHandle, 0, "%s\n", longText.c_str()), 0u);
  ASSERT_EQ(captured_.lines.size(), 1u);
  EXPECT_EQ(captured_.lines[0].second, std::string(1023, 'x'));
}

TEST_F(TracerTest, DefaultSinkIsStandardErrorAndCanBeRestored) {
  ASSERT_EQ(TCommonTracer_setLevel(TCommonTracerHandle, 3), 0u);
  ASSERT_EQ(TCommonTracer_setSink(TCommonTracerHandle, nullptr, nullptr), 0u);
  ::testing::internal::CaptureStderr();
  TCommonTracer_print(TCommonTracerHandle, 3, "to %s %d\n", "stderr", 3);
  TCommonTracer_print(TCommonTracerHandle, 4, "dropped\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "to stderr 3\n");
  EXPECT_TRUE(captured_.lines.empty());
}

TEST_F(TracerTest, ConcurrentPrintersAndReconfigurationKeepLinesWhole) {
  ASSERT_EQ(TCommonTracer_setLevel(TCommonTracerHandle, 1), 0u);
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  std::atomic<bool> stop{false};
  std::thread reconfigure([&] {
    // Flips the level of nothing that is printed, and reinstalls the same sink.
    while (!stop) {
      TCommonTracer_setLevel(TCommonTracerHandle, 2);
      TCommonTracer_setSink(TCommonTracerHandle, captureLine, &captured_);
      TCommonTracer_setLevel(TCommonTracerHandle, 1);
    }
  });
  std::vector<std::thread> printers;
  for (int t = 0; t < kThreads; ++t) {
    printers.emplace_back([t] {
      for (int i = 0; i < kLines; ++i)
        TCommonTracer_print(TCommonTracerHandle, 1, "thread %d line %d\n", t, i);
    });
  }
  for (auto &thread : printers) thread.join();
  stop = true;
  reconfigure.join();

  ASSERT_EQ(captured_.lines.size(), size_t{kThreads * kLines});
  std::vector<int> next(kThreads, 0);
  for (const auto &[level, line] : captured_.lines) {
    int thread = -1;
    int index = -1;
    ASSERT_EQ(std::sscanf(line.c_str(), "thread %d line %d\n", &thread, &index), 2) << line;
    ASSERT_TRUE(thread >= 0 && thread < kThreads);
    EXPECT_EQ(index, next[thread]++);
  }
}

// Read before any test has touched the tracer.
const int32_t kLevelAtStart = TCommonTracer_level(TCommonTracerHandle);

TEST(Tracer, OffByDefault) {
  EXPECT_EQ(kLevelAtStart, -1);
  ASSERT_EQ(TCommonTracer_level(TCommonTracerHandle), -1);
  ::testing::internal::CaptureStderr();
  TCommonTracer_print(TCommonTracerHandle, 0, "must not appear\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

}  // namespace
