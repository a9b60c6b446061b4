// Benchmarks of the tuning shell as a host drives it: one instance over the built-in
// database and the simulated ISP (streaming), fed request texts that a tuning client sends.
// Beside each shell figure the program measures two floors with RapidJSON alone: the
// round trip (parse the request, parse the response, print the response) and the service
// (read the request with a SAX reader and print the response with a Writer from its values,
// as a JSON-in, JSON-out service that builds no tree of its answer does). The closing table
// gives the median time per request and per command, the ratios to both floors, the
// settings throughput and the instance's heap.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "heap_counter.h"
#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_json.h"
#include "t_shell.h"

namespace {

// ---- The host ------------------------------------------------------------------------------

[[noreturn]] void die(const char *what, uint32_t code) {
  fprintf(stderr, "tshell_bench: %s failed: %s (%u)\n", what, TCommonError_text(code), code);
  exit(1);
}

void check(const char *what, uint32_t code) {
  if (code != TCOMMON_SUCCESS) die(what, code);
}

constexpr uint32_t kFrameWidth = 32;  // the camera's frames, capped (Host)
constexpr uint32_t kFrameHeight = 18;

struct Host {
  TCommonLogger *logger = nullptr;
  TDatabase *database = nullptr;
  TDriver *driver = nullptr;
  TShell *shell = nullptr;
  TJsonReader *checker = nullptr;
  int64_t shellOpenBytes = 0;  // heap the instance holds right after TShell_open

  Host() {
    check("TCommonLogger_open", TCommonLogger_open(&logger));
    check("TDatabase_open", TDatabase_open(nullptr, &database));
    check("TDriver_open", TDriver_open(database, &driver));
    check("TJsonReader_open", TJsonReader_open(&checker));
    void *handles[3] = {database, driver, logger};
    {
      const bench::HeapCounting counting;
      const bench::HeapState before = bench::heapNow();
      check("TShell_open", TShell_open(handles, &shell));
      shellOpenBytes = bench::heapNow().liveBytes - before.liveBytes;
    }
    // The camera renders and measures real frames; at full size a read of a measurement
    // costs tens of milliseconds of image processing, which frame_bench times. Capped here,
    // as a small board's preview would be, so that these figures are the shell's.
    check("TDriverFrame_limit", TDriverFrame_limit(driver, kFrameWidth, kFrameHeight));
    check("TDriver_init", TDriver_init(driver, 1));
    check("TDriver_stream", TDriver_stream(driver, 1));
    check("TDriverJournal_clear", TDriverJournal_clear(driver));
  }

  // Runs one checked request, as a host does, and returns the response text.
  const char *process(const std::string &request) {
    check("TJsonReader_check",
          TJsonReader_check(checker, request.data(), request.data() + request.size()));
    const char *response = nullptr;
    check("TShell_process", TShell_process(shell, request.c_str(), &response));
    // A long-running host drops the journal, which otherwise grows with every call.
    check("TDriverJournal_clear", TDriverJournal_clear(driver));
    return response;
  }
};

Host &host() {
  static Host instance;
  return instance;
}

// ---- Request texts -------------------------------------------------------------------------

std::string print(const rapidjson::Value &value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize());
}

std::string readCommand(const std::string &category, const std::string &key) {
  rapidjson::Document item(rapidjson::kObjectType);
  auto &allocator = item.GetAllocator();
  item.AddMember("category", rapidjson::Value(category.c_str(), allocator), allocator);
  item.AddMember("key", rapidjson::Value(key.c_str(), allocator), allocator);
  return print(item);
}

// Keys left out of the sweeps, with the reason. Everything else the schema lists is read,
// and everything that read back a value is written back.
struct Skip {
  const char *category;
  const char *key;
  bool read;   // also left out of the read sweep
  bool write;  // left out of the write sweep
};
constexpr Skip kSkips[] = {
    // The whole database as a data URI: measured on its own as the settings benchmarks;
    // in a sweep it would be most of the text.
    {"ST", "setting", true, true},
    // Writing true resets every record of the database to its opened content.
    {"ST", "isReset", false, true},
    // Written back, they would stop or restart the sensor and its injection paths in the
    // middle of the sweep.
    {"IPT", "isStream", false, true},
    {"IPT", "isInject", false, true},
    {"IPT", "isInjectLive", false, true},
    {"IPT", "isRaw", false, true},
    // Reads list no files; writing that empty list back is an import of nothing, which
    // the block refuses.
    {"CCM", "import", false, true},
    {"LSC_3", "import", false, true},
};

const Skip *findSkip(const std::string &category, const std::string &key) {
  for (const Skip &skip : kSkips) {
    if (category == skip.category && key == skip.key) return &skip;
  }
  return nullptr;
}

struct Texts {
  std::string sweepRead;
  std::string sweepReadResponse;
  std::string sweepWrite;
  std::string sweepWriteResponse;
  uint64_t sweepReadCommands = 0;
  uint64_t sweepWriteCommands = 0;
  std::string poll;
  std::string pollResponse;
  std::string settingsExport;
  std::string settingsImport;  // the exported data URI written back
  std::string settingsDocument;
  uint64_t settingsDocumentBytes = 0;
};

constexpr uint64_t kPollCommands = 20;

std::string makeSweepRead(uint64_t *commands) {
  const char *schemaText = nullptr;
  check("TShell_schema", TShell_schema(&schemaText));
  rapidjson::Document schema;
  if (schema.Parse(schemaText).HasParseError() || !schema.IsObject()) die("schema parse", 0);
  std::string request = "[";
  // Indexes rather than iterator comparisons, which clang finds ambiguous in C++20.
  for (rapidjson::SizeType i = 0; i < schema.MemberCount(); ++i) {
    const auto category = schema.MemberBegin() + i;
    for (const auto &row : category->value["keys"].GetArray()) {
      const std::string name = category->name.GetString();
      const std::string key = row["key"].GetString();
      const Skip *skip = findSkip(name, key);
      if (skip != nullptr && skip->read) continue;
      if (*commands != 0) request += ',';
      request += readCommand(name, key);
      ++*commands;
    }
  }
  return request + "]";
}

// Every item of the read response that came back with a value, written back with it.
std::string makeSweepWrite(const std::string &readResponse, uint64_t *commands) {
  rapidjson::Document response;
  if (response.Parse(readResponse.c_str()).HasParseError() || !response.IsArray()) {
    die("sweep read response parse", 0);
  }
  rapidjson::Document request(rapidjson::kArrayType);
  auto &allocator = request.GetAllocator();
  for (auto &item : response.GetArray()) {
    const std::string category = item["category"].GetString();
    const std::string key = item["key"].GetString();
    const Skip *skip = findSkip(category, key);
    if (skip != nullptr && skip->write) continue;
    // Measurements are read-only: a write of "statistics" changes nothing.
    if (key == "statistics") continue;
    if (!item.HasMember("value") || !item["value"].IsObject() ||
        !item["value"].HasMember("current")) {
      continue;
    }
    rapidjson::Value command(rapidjson::kObjectType);
    command.AddMember("category", rapidjson::Value(category.c_str(), allocator), allocator);
    command.AddMember("key", rapidjson::Value(key.c_str(), allocator), allocator);
    command.AddMember("value", rapidjson::Value(item["value"], allocator), allocator);
    request.PushBack(command, allocator);
    ++*commands;
  }
  return print(request);
}

// A tuning client's request of every frame: 20 reads over 5 blocks, with the histogram
// measured from the streaming sensor.
std::string makePoll() {
  static const char *const kReads[kPollCommands][2] = {
      {"HTG", "statistics"},
      {"HTG", "state"},
      {"HTG", "mode"},
      {"HTG", "channel"},
      {"EC_2", "state"},
      {"EC_2", "gain.analog"},
      {"EC_2", "gain.digital"},
      {"EC_2", "integrationTime"},
      {"WB_1_1", "state"},
      {"WB_1_1", "gain"},
      {"DG", "state"},
      {"DG", "r"},
      {"DG", "gr"},
      {"DG", "gb"},
      {"DG", "b"},
      {"FC", "state"},
      {"FC", "mode"},
      {"FC", "position"},
      {"WB_1_1", "state"},
      {"HTG", "gridWeight"},
  };
  std::string request = "[";
  for (uint64_t i = 0; i < kPollCommands; ++i) {
    if (i != 0) request += ',';
    request += readCommand(kReads[i][0], kReads[i][1]);
  }
  return request + "]";
}

// Fails when a response carries a message: the benchmarks must measure the work, not
// the refusals.
void expectNoMessages(const char *what, const char *response) {
  rapidjson::Document parsed;
  if (parsed.Parse(response).HasParseError()) die(what, TCOMMON_PARSE_ERROR);
  auto inspect = [what](const rapidjson::Value &item) {
    if (!item.IsObject() || !item.HasMember("message")) return;
    fprintf(stderr, "tshell_bench: %s: %s/%s answered %s\n", what, item["category"].GetString(),
            item["key"].GetString(), print(item["message"]).c_str());
    exit(1);
  };
  if (!parsed.IsArray()) return inspect(parsed);
  for (const auto &item : parsed.GetArray()) inspect(item);
}

const Texts &texts() {
  static const Texts built = [] {
    Texts t;
    Host &h = host();
    t.sweepRead = makeSweepRead(&t.sweepReadCommands);
    t.sweepReadResponse = h.process(t.sweepRead);
    t.sweepWrite = makeSweepWrite(t.sweepReadResponse, &t.sweepWriteCommands);
    t.sweepWriteResponse = h.process(t.sweepWrite);
    expectNoMessages("sweep write", t.sweepWriteResponse.c_str());
    t.poll = makePoll();
    t.pollResponse = h.process(t.poll);
    expectNoMessages("client poll", t.pollResponse.c_str());

    t.settingsExport = R"({"category":"ST","key":"setting"})";
    rapidjson::Document exported;
    exported.Parse(h.process(t.settingsExport));
    if (exported.HasParseError() || !exported.IsObject() || !exported.HasMember("value")) {
      die("settings export", 0);
    }
    rapidjson::Document import(rapidjson::kObjectType);
    auto &allocator = import.GetAllocator();
    import.AddMember("category", "ST", allocator);
    import.AddMember("key", "setting", allocator);
    import.AddMember("value", rapidjson::Value(exported["value"], allocator), allocator);
    t.settingsImport = print(import);
    expectNoMessages("settings import", h.process(t.settingsImport));

    TCommonBuffer buffer = {};
    check("TDatabase_serialize", TDatabase_serialize(h.database, &buffer));
    t.settingsDocument.assign(reinterpret_cast<const char *>(buffer.data), buffer.length);
    t.settingsDocumentBytes = buffer.length;
    TCommonBuffer_clear(&buffer);
    return t;
  }();
  return built;
}

// ---- Shell benchmarks ------------------------------------------------------------------------

void setCommands(benchmark::State &state, uint64_t commands) {
  state.counters["commands"] = static_cast<double>(commands);
  state.counters["per_command"] = benchmark::Counter(
      static_cast<double>(commands),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Heap blocks per command: all of them, and those beyond the JSON values. The shell turns
// the request tree into the response in place, so the values it needs are about the larger
// of the two trees, counted as the blocks libtjson needs to parse each text.
void setHeapCounters(benchmark::State &state, const std::string &request,
                     const std::string &response, uint64_t commands) {
  Host &h = host();
  const bench::HeapCounting counting;
  auto treeBlocks = [&h](const std::string &text) {
    TJsonValue *tree = nullptr;
    const bench::HeapState start = bench::heapNow();
    check("TJsonReader_parse",
          TJsonReader_parse(h.checker, text.data(), text.data() + text.size(), &tree));
    const uint64_t blocks = bench::heapNow().allocations - start.allocations;
    TJsonValue_delete(tree);
    return blocks;
  };
  const uint64_t valueBlocks = std::max(treeBlocks(request), treeBlocks(response));

  bench::heapResetPeak();
  const bench::HeapState before = bench::heapNow();
  h.process(request);
  const bench::HeapState after = bench::heapNow();
  const double blocks = static_cast<double>(after.allocations - before.allocations);
  state.counters["allocs/cmd"] = blocks / static_cast<double>(commands);
  state.counters["extra_allocs/cmd"] =
      (blocks - static_cast<double>(valueBlocks)) / static_cast<double>(commands);
  state.counters["heap_peak"] = static_cast<double>(bench::heapPeak() - before.liveBytes);
  state.counters["heap_open"] = static_cast<double>(h.shellOpenBytes);
}

void runShell(benchmark::State &state, const std::string &request, const std::string &response,
              uint64_t commands) {
  Host &h = host();
  for (auto _ : state) benchmark::DoNotOptimize(h.process(request));
  setCommands(state, commands);
  setHeapCounters(state, request, response, commands);
}

void BM_SweepRead(benchmark::State &state) {
  const Texts &t = texts();
  runShell(state, t.sweepRead, t.sweepReadResponse, t.sweepReadCommands);
}
BENCHMARK(BM_SweepRead)->Unit(benchmark::kMicrosecond);

void BM_SweepWrite(benchmark::State &state) {
  const Texts &t = texts();
  runShell(state, t.sweepWrite, t.sweepWriteResponse, t.sweepWriteCommands);
}
BENCHMARK(BM_SweepWrite)->Unit(benchmark::kMicrosecond);

void BM_ClientPoll(benchmark::State &state) {
  const Texts &t = texts();
  runShell(state, t.poll, t.pollResponse, kPollCommands);
}
BENCHMARK(BM_ClientPoll)->Unit(benchmark::kMicrosecond);

void BM_SettingsExport(benchmark::State &state) {
  const Texts &t = texts();
  Host &h = host();
  for (auto _ : state) benchmark::DoNotOptimize(h.process(t.settingsExport));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.settingsDocumentBytes));
}
BENCHMARK(BM_SettingsExport)->Unit(benchmark::kMicrosecond);

void BM_SettingsImport(benchmark::State &state) {
  const Texts &t = texts();
  Host &h = host();
  for (auto _ : state) benchmark::DoNotOptimize(h.process(t.settingsImport));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.settingsDocumentBytes));
}
BENCHMARK(BM_SettingsImport)->Unit(benchmark::kMicrosecond);

void BM_DatabaseSerialize(benchmark::State &state) {
  const Texts &t = texts();
  Host &h = host();
  TCommonBuffer buffer = {};
  for (auto _ : state) {
    check("TDatabase_serialize", TDatabase_serialize(h.database, &buffer));
    benchmark::DoNotOptimize(buffer.data);
  }
  TCommonBuffer_clear(&buffer);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.settingsDocumentBytes));
}
BENCHMARK(BM_DatabaseSerialize)->Unit(benchmark::kMicrosecond);

void BM_DatabaseParse(benchmark::State &state) {
  const Texts &t = texts();
  Host &h = host();
  for (auto _ : state)
    check("TDatabase_parse", TDatabase_parse(h.database, t.settingsDocument.c_str()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * t.settingsDocumentBytes));
}
BENCHMARK(BM_DatabaseParse)->Unit(benchmark::kMicrosecond);

// ---- The floor: RapidJSON alone ------------------------------------------------------------

void runFloor(benchmark::State &state, const std::string &request, const std::string &response,
              uint64_t commands) {
  for (auto _ : state) {
    rapidjson::Document parsedRequest;
    parsedRequest.Parse(request.c_str(), request.size());
    rapidjson::Document parsedResponse;
    parsedResponse.Parse(response.c_str(), response.size());
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    parsedResponse.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
  setCommands(state, commands);
}

void BM_FloorSweepRead(benchmark::State &state) {
  const Texts &t = texts();
  runFloor(state, t.sweepRead, t.sweepReadResponse, t.sweepReadCommands);
}
BENCHMARK(BM_FloorSweepRead)->Unit(benchmark::kMicrosecond);

void BM_FloorSweepWrite(benchmark::State &state) {
  const Texts &t = texts();
  runFloor(state, t.sweepWrite, t.sweepWriteResponse, t.sweepWriteCommands);
}
BENCHMARK(BM_FloorSweepWrite)->Unit(benchmark::kMicrosecond);

void BM_FloorClientPoll(benchmark::State &state) {
  const Texts &t = texts();
  runFloor(state, t.poll, t.pollResponse, kPollCommands);
}
BENCHMARK(BM_FloorClientPoll)->Unit(benchmark::kMicrosecond);

// ---- The service floor: a SAX read of the request, the response printed from values --------

// The response as the values a service would print, in order: the pieces of the text that
// the shell printed, recorded once by a SAX handler and replayed into a Writer.
class ResponseValues {
 public:
  explicit ResponseValues(const std::string &response) {
    rapidjson::Reader reader;
    rapidjson::StringStream stream(response.c_str());
    Recorder recorder{this};
    if (reader.Parse(stream, recorder).IsError()) die("response record", TCOMMON_PARSE_ERROR);
  }

  template <typename Writer>
  void print(Writer &writer) const {
    for (const Piece &piece : pieces_) {
      switch (piece.kind) {
        case Kind::Null:
          writer.Null();
          break;
        case Kind::Bool:
          writer.Bool(piece.integer != 0);
          break;
        case Kind::Int64:
          writer.Int64(piece.integer);
          break;
        case Kind::Uint64:
          writer.Uint64(static_cast<uint64_t>(piece.integer));
          break;
        case Kind::Double:
          writer.Double(piece.number);
          break;
        case Kind::String:
          writer.String(texts_.data() + piece.offset, piece.length);
          break;
        case Kind::Key:
          writer.Key(texts_.data() + piece.offset, piece.length);
          break;
        case Kind::StartObject:
          writer.StartObject();
          break;
        case Kind::EndObject:
          writer.EndObject(piece.length);
          break;
        case Kind::StartArray:
          writer.StartArray();
          break;
        case Kind::EndArray:
          writer.EndArray(piece.length);
          break;
      }
    }
  }

 private:
  enum class Kind : uint8_t {
    Null,
    Bool,
    Int64,
    Uint64,
    Double,
    String,
    Key,
    StartObject,
    EndObject,
    StartArray,
    EndArray
  };
  struct Piece {
    Kind kind;
    rapidjson::SizeType length = 0;  // texts; member or element count of a container's end
    size_t offset = 0;               // texts: where in texts_
    int64_t integer = 0;
    double number = 0;
  };

  struct Recorder : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Recorder> {
    ResponseValues *values;
    explicit Recorder(ResponseValues *into) : values(into) {}
    bool add(Piece piece) {
      values->pieces_.push_back(piece);
      return true;
    }
    bool text(Kind kind, const char *text, rapidjson::SizeType length) {
      const size_t offset = values->texts_.size();
      values->texts_.append(text, length);
      return add(Piece{kind, length, offset});
    }
    bool Null() { return add(Piece{Kind::Null}); }
    bool Bool(bool boolean) { return add(Piece{Kind::Bool, 0, 0, boolean}); }
    bool Int(int integer) { return add(Piece{Kind::Int64, 0, 0, integer}); }
    bool Uint(unsigned integer) { return add(Piece{Kind::Int64, 0, 0, integer}); }
    bool Int64(int64_t integer) { return add(Piece{Kind::Int64, 0, 0, integer}); }
    bool Uint64(uint64_t integer) {
      return add(Piece{Kind::Uint64, 0, 0, static_cast<int64_t>(integer)});
    }
    bool Double(double number) { return add(Piece{Kind::Double, 0, 0, 0, number}); }
    bool String(const char *text, rapidjson::SizeType length, bool) {
      return this->text(Kind::String, text, length);
    }
    bool Key(const char *text, rapidjson::SizeType length, bool) {
      return this->text(Kind::Key, text, length);
    }
    bool StartObject() { return add(Piece{Kind::StartObject}); }
    bool EndObject(rapidjson::SizeType members) { return add(Piece{Kind::EndObject, members}); }
    bool StartArray() { return add(Piece{Kind::StartArray}); }
    bool EndArray(rapidjson::SizeType elements) { return add(Piece{Kind::EndArray, elements}); }
  };

  std::vector<Piece> pieces_;
  std::string texts_;
};

void runService(benchmark::State &state, const std::string &request, const std::string &response,
                uint64_t commands) {
  const ResponseValues values(response);
  rapidjson::StringBuffer buffer;
  for (auto _ : state) {
    rapidjson::Reader reader;
    rapidjson::StringStream stream(request.c_str());
    rapidjson::BaseReaderHandler<> ignore;
    if (reader.Parse(stream, ignore).IsError()) die("service request", TCOMMON_PARSE_ERROR);
    // The buffer keeps its memory between requests, as a service's output buffer does.
    buffer.Clear();
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    values.print(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
  setCommands(state, commands);
}

void BM_ServiceSweepRead(benchmark::State &state) {
  const Texts &t = texts();
  runService(state, t.sweepRead, t.sweepReadResponse, t.sweepReadCommands);
}
BENCHMARK(BM_ServiceSweepRead)->Unit(benchmark::kMicrosecond);

void BM_ServiceSweepWrite(benchmark::State &state) {
  const Texts &t = texts();
  runService(state, t.sweepWrite, t.sweepWriteResponse, t.sweepWriteCommands);
}
BENCHMARK(BM_ServiceSweepWrite)->Unit(benchmark::kMicrosecond);

void BM_ServiceClientPoll(benchmark::State &state) {
  const Texts &t = texts();
  runService(state, t.poll, t.pollResponse, kPollCommands);
}
BENCHMARK(BM_ServiceClientPoll)->Unit(benchmark::kMicrosecond);

// ---- Summary table ---------------------------------------------------------------------------

// Passes every run on to the console and keeps, per benchmark, the median (or the only
// run) for the closing table. The table uses CPU time, as the rates do: on a shared
// machine the wall time also counts the time other processes held the core.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  struct Figure {
    double nanoseconds = 0;  // per iteration
    std::map<std::string, double> counters;
    double bytesPerSecond = 0;
  };

  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
      if (!median && !single) continue;
      Figure figure;
      figure.nanoseconds =
          run.GetAdjustedCPUTime() * (run.time_unit == benchmark::kMicrosecond ? 1e3 : 1.0);
      for (const auto &[name, counter] : run.counters) figure.counters[name] = counter.value;
      auto bytes = run.counters.find("bytes_per_second");
      if (bytes != run.counters.end()) figure.bytesPerSecond = bytes->second.value;
      figures_[run.run_name.function_name] = figure;
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    printf("\n%-22s %12s %12s %12s %8s %12s %8s\n", "request", "us/request", "us/command",
           "floor_us", "ratio", "service_us", "ratio");
    for (const char *name : {"SweepRead", "SweepWrite", "ClientPoll"}) {
      const Figure *shell = find(std::string("BM_") + name);
      if (shell == nullptr) continue;
      const double commands =
          shell->counters.count("commands") ? shell->counters.at("commands") : 1;
      printf("%-22s %12.2f %12.3f", name, shell->nanoseconds / 1e3,
             shell->nanoseconds / 1e3 / commands);
      for (const char *floorName : {"BM_Floor", "BM_Service"}) {
        const Figure *floor = find(floorName + std::string(name));
        if (floor == nullptr) {
          printf(" %12s %8s", "-", "-");
        } else {
          printf(" %12.2f %8.2f", floor->nanoseconds / 1e3,
                 shell->nanoseconds / floor->nanoseconds);
        }
      }
      printf("\n");
    }
    printf("\n%-22s %12s %12s\n", "settings", "us/call", "MB/s");
    for (const char *name :
         {"SettingsExport", "SettingsImport", "DatabaseSerialize", "DatabaseParse"}) {
      const Figure *figure = find(std::string("BM_") + name);
      if (figure == nullptr) continue;
      printf("%-22s %12.1f %12.1f\n", name, figure->nanoseconds / 1e3,
             figure->bytesPerSecond / 1e6);
    }
    const Figure *sweep = find("BM_SweepRead");
    if (sweep != nullptr && sweep->counters.count("heap_open")) {
      printf("\ninstance heap after open: %.0f bytes; peak during the read sweep: %.0f bytes\n",
             sweep->counters.at("heap_open"), sweep->counters.at("heap_peak"));
    }
    for (const char *name : {"SweepRead", "SweepWrite", "ClientPoll"}) {
      const Figure *figure = find(std::string("BM_") + name);
      if (figure == nullptr || !figure->counters.count("allocs/cmd")) continue;
      printf("%-22s allocations per command %.2f, beyond the JSON values %.2f\n", name,
             figure->counters.at("allocs/cmd"), figure->counters.at("extra_allocs/cmd"));
    }
    fflush(stdout);
  }

 private:
  const Figure *find(const std::string &name) const {
    auto it = figures_.find(name);
    return it == figures_.end() ? nullptr : &it->second;
  }

  std::map<std::string, Figure> figures_;
};

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const Texts &t = texts();
  printf(
      "sweep read: %llu commands, %zu bytes; sweep write: %llu commands, %zu bytes; "
      "settings document: %llu bytes\n",
      static_cast<unsigned long long>(t.sweepReadCommands), t.sweepRead.size(),
      static_cast<unsigned long long>(t.sweepWriteCommands), t.sweepWrite.size(),
      static_cast<unsigned long long>(t.settingsDocumentBytes));
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  host();  // the instance lives until exit, as in a device's tuning server
  return 0;
}
