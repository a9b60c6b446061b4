// The one shell instance the server runs, with its database, simulated driver and message
// logger, the driver-call journal kept for clients, and the background saver that keeps
// the database file up to date. Every call that touches the shell, the driver or the
// database holds the instance's mutex. The saver never does: it writes a copy of the
// records taken at the end of each request that wrote, so a long request cannot hold back
// the save of writes acknowledged before it.
#ifndef TSHELL_SERVER_INSTANCE_H
#define TSHELL_SERVER_INSTANCE_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "events.h"
#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_json.h"
#include "t_shell.h"

namespace tshell_server {

struct InstanceOptions {
  std::string database;    // settings file; empty: built-in defaults, never saved
  bool verbose = false;    // one line on stdout per save
  size_t maxCommands = 0;  // most commands in one request; 0: no limit
  // Most a request may read, by the estimate of what each key answers; 0: no limit.
  size_t maxAnswerBytes = 0;
};

// An HTTP status with its body (always JSON).
struct Outcome {
  int status = 200;
  std::string body;
};

class Instance {
 public:
  static constexpr size_t kJournalKept = 4096;

  // Opens everything and starts the saver; on failure returns null and sets *error to one
  // line for the user.
  static std::unique_ptr<Instance> open(const InstanceOptions &options, EventHub *events,
                                        std::string *error);
  ~Instance();
  Instance(const Instance &) = delete;
  Instance &operator=(const Instance &) = delete;

  // Checks a client's request text and runs it: 200 with the shell's response, 400 for a
  // text that is not JSON and 413 for one of more commands than allowed (the shell never
  // sees either). Publishes the request and driver
  // events and schedules a save when a command wrote something.
  Outcome process(const std::string &request);
  // Starts the simulated sensor as a client would; false with *error when it did not start.
  bool startStreaming(std::string *error);
  // {"next":M,"calls":[...]}: the kept driver calls numbered since and later.
  std::string journal(uint64_t since);
  // Saves the database file now (409 when there is none).
  Outcome saveNow();
  // Stops the saver and saves what is not yet on disk; false when that save failed.
  bool finish();

  bool savesToFile() const { return !options_.database.empty(); }
  const std::string &databasePath() const { return options_.database; }
  // The driver's functions lock for themselves: the frame clock calls them directly.
  TDriver *driver() const { return driver_; }

 private:
  Instance(const InstanceOptions &options, EventHub *events) : options_(options), events_(events) {}
  bool openAll(std::string *error);
  Outcome run(const std::string &request, bool fromClient);
  void harvestJournal(std::string *driverEvent);
  // Copies the live records into pending_; called with mutex_ held.
  void takeSnapshot();
  // Saves pending_ (through saving_) to the file; called without mutex_.
  bool saveSnapshot(std::string *error);
  void saverLoop();
  void stopSaver();

  const InstanceOptions options_;
  EventHub *const events_;

  std::mutex mutex_;  // guards everything below and the handles
  TCommonLogger *logger_ = nullptr;
  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
  TShell *shell_ = nullptr;
  TJsonReader *reader_ = nullptr;

  std::unordered_map<std::string, size_t> answerCosts_;  // "CAT/key" -> bytes a read answers
  std::deque<std::string> journal_;  // the last kJournalKept calls, ending before journalNext_
  uint64_t journalNext_ = 0;
  uint64_t requests_ = 0;

  // The records as the last writing request left them, and the copy being written out.
  // snapshotMutex_ guards pending_, dirty_ and stopping_; it is held for a copy of the
  // records (tens of microseconds), never for a request or for the disk. saveMutex_ keeps
  // one save at a time and guards saving_ and the save timings.
  std::mutex snapshotMutex_;
  std::mutex saveMutex_;
  struct RecordCopy {
    const char *category;
    void *live;
    void *pending;
    void *saving;
  };
  std::vector<RecordCopy> records_;
  TDatabase *pending_ = nullptr;
  TDatabase *saving_ = nullptr;
  std::condition_variable saverWake_;
  std::thread saver_;
  bool dirty_ = false;  // pending_ holds a write that is not on disk yet
  bool stopping_ = false;
  std::chrono::steady_clock::time_point lastSaveStart_{};
  std::chrono::steady_clock::duration lastSaveDuration_{};
};

}  // namespace tshell_server

#endif  // TSHELL_SERVER_INSTANCE_H
