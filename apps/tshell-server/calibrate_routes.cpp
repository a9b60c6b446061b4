#include "calibrate_routes.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "calibrate.h"
#include "driver_frames.h"
#include "frame_clock.h"
#include "json_text.h"
#include "json_tree.h"
#include "replies.h"
#include "t_driver.h"
#include "t_json.h"

namespace tshell_server {

namespace {

using tshell_cli::JsonDocument;
using tshell_cli::jsonItems;
using tshell_cli::jsonMember;
using tshell_cli::jsonType;

using Clock = std::chrono::steady_clock;
using calibrate::Capture;

constexpr int kMaxFrames = 16;
constexpr int kDefaultFrames = 4;
constexpr size_t kMaxLights = 8;
constexpr double kMinKelvin = 2800, kMaxKelvin = 7500;
constexpr double kMinGain = 1, kMaxGain = 64;
constexpr double kMaxAnalogGain = 16;  // the sensor's; the rest is its digital gain
// A frame that does not come within this is taken as a camera that stopped.
constexpr auto kFrameWait = std::chrono::seconds(20);
// Frames after a scene change before one is taken: the change shows from the next frame, and
// the exposure loop gets one more to react.
constexpr uint64_t kSettleFrames = 2;

enum class Kind { kBlack, kShading, kColour, kWhite };
constexpr const char *kKindNames[] = {"black", "shading", "colour", "white"};

template <typename Values>
std::string numbers(const Values &values) {
  std::string out = "[";
  bool first = true;
  for (const auto value : values) {
    out += (first ? "" : ",") + figure(value);
    first = false;
  }
  return out + "]";
}

std::string quoted(std::string_view text) {
  std::string out;
  appendJsonString(&out, text);
  return out;
}

std::string base64(std::string_view data) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((data.size() + 2) / 3 * 4);
  for (size_t i = 0; i < data.size(); i += 3) {
    const size_t left = data.size() - i;
    uint32_t chunk = uint32_t(uint8_t(data[i])) << 16;
    if (left > 1) chunk |= uint32_t(uint8_t(data[i + 1])) << 8;
    if (left > 2) chunk |= uint8_t(data[i + 2]);
    out += kDigits[chunk >> 18 & 63];
    out += kDigits[chunk >> 12 & 63];
    out += left > 1 ? kDigits[chunk >> 6 & 63] : '=';
    out += left > 2 ? kDigits[chunk & 63] : '=';
  }
  return out;
}

// A chart colour (L*a*b*, D50) as the display shows it: 8-bit sRGB (D65 white, Bradford
// adaptation), clipped to the gamut.
std::array<int, 3> displayOf(const calibrate::Lab &lab) {
  const auto inverse = [](double t) {
    constexpr double d = 6.0 / 29;
    return t > d ? t * t * t : 3 * d * d * (t - 4.0 / 29);
  };
  const double fy = (lab.L + 16) / 116;
  const double x = 0.96422 * inverse(fy + lab.a / 500), y = inverse(fy),
               z = 0.82521 * inverse(fy - lab.b / 200);
  const double X = 0.9555766 * x - 0.0230393 * y + 0.0631636 * z;
  const double Y = -0.0282895 * x + 1.0099416 * y + 0.0210077 * z;
  const double Z = 0.0122982 * x - 0.0204830 * y + 1.3299098 * z;
  const double linear[3] = {3.2404542 * X - 1.5371385 * Y - 0.4985314 * Z,
                            -0.9692660 * X + 1.8760108 * Y + 0.0415560 * Z,
                            0.0556434 * X - 0.2040259 * Y + 1.0572252 * Z};
  std::array<int, 3> out{};
  for (int c = 0; c < 3; ++c) {
    const double v = std::clamp(linear[c], 0.0, 1.0);
    const double encoded = v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
    out[c] = static_cast<int>(std::lround(encoded * 255));
  }
  return out;
}

// ---- The request ---------------------------------------------------------------------------

struct Job {
  Kind kind = Kind::kBlack;
  bool twin = true;
  int frames = kDefaultFrames;
  std::optional<double> illuminant;
  std::vector<double> illuminants;
  std::vector<double> gains;
};

bool isNumber(const TJsonValue *value) {
  const uint32_t type = jsonType(value);
  return type == TJSON_TYPE_INTEGER || type == TJSON_TYPE_FLOAT;
}

// Numbers of a JSON array, each in [low, high]; false for anything else.
bool numbersIn(TJsonValue *array, double low, double high, size_t most, std::vector<double> *out) {
  uint64_t size = 0;
  if (jsonType(array) != TJSON_TYPE_ARRAY || TJsonValue_size(array, &size) != TCOMMON_SUCCESS ||
      size == 0 || size > most)
    return false;
  for (uint64_t i = 0; i < size; ++i) {
    TJsonValue *item = nullptr;
    double value = 0;
    if (TJsonValue_item(array, i, &item) != TCOMMON_SUCCESS || !isNumber(item) ||
        TJsonValue_asFloat(item, &value) != TCOMMON_SUCCESS || !(value >= low && value <= high))
      return false;
    out->push_back(value);
  }
  return true;
}

struct Parse {
  Job job;
  bool hasKind = false;
  std::string error;
};

uint32_t visitJobMember(void *context, const char *name, TJsonValue *member) {
  auto &parse = *static_cast<Parse *>(context);
  if (!parse.error.empty()) return TCOMMON_SUCCESS;
  const std::string_view key(name);
  const char *text = nullptr;
  if (key == "kind") {
    parse.hasKind = true;
    if (jsonType(member) == TJSON_TYPE_STRING && TJsonValue_asString(member, &text) == 0) {
      for (size_t i = 0; i < std::size(kKindNames); ++i)
        if (std::string_view(text) == kKindNames[i]) {
          parse.job.kind = static_cast<Kind>(i);
          return TCOMMON_SUCCESS;
        }
    }
    parse.error = "kind must be one of \"black\", \"shading\", \"colour\", \"white\"";
  } else if (key == "source") {
    if (jsonType(member) == TJSON_TYPE_STRING && TJsonValue_asString(member, &text) == 0 &&
        (std::string_view(text) == "twin" || std::string_view(text) == "uploads")) {
      parse.job.twin = std::string_view(text) == "twin";
      return TCOMMON_SUCCESS;
    }
    parse.error = "source must be \"twin\" (the camera) or \"uploads\"";
  } else if (key == "frames") {
    int64_t frames = 0;
    if (jsonType(member) == TJSON_TYPE_INTEGER && TJsonValue_asInteger(member, &frames) == 0 &&
        frames >= 1 && frames <= kMaxFrames) {
      parse.job.frames = static_cast<int>(frames);
      return TCOMMON_SUCCESS;
    }
    parse.error = "frames must be a whole number from 1 to " + std::to_string(kMaxFrames);
  } else if (key == "illuminant") {
    double kelvin = 0;
    if (isNumber(member) && TJsonValue_asFloat(member, &kelvin) == 0 && kelvin >= kMinKelvin &&
        kelvin <= kMaxKelvin) {
      parse.job.illuminant = kelvin;
      return TCOMMON_SUCCESS;
    }
    parse.error = "illuminant must lie in 2800..7500 (kelvin)";
  } else if (key == "illuminants") {
    if (!numbersIn(member, kMinKelvin, kMaxKelvin, kMaxLights, &parse.job.illuminants))
      parse.error = "illuminants must be 1 to 8 colour temperatures in 2800..7500 (kelvin)";
  } else if (key == "gains") {
    if (!numbersIn(member, kMinGain, kMaxGain, kMaxFrames, &parse.job.gains))
      parse.error = "gains must be 1 to 16 sensor gains in 1..64";
  } else {
    parse.error = "unknown member \"" + std::string(key) +
                  "\" (kind, source, frames, illuminant, illuminants, gains)";
  }
  return TCOMMON_SUCCESS;
}

bool parseJob(const std::string &body, Job *job, std::string *error) {
  JsonDocument tree;
  std::string ignored;
  if (!tree.parse(body, &ignored) || jsonType(tree.root()) != TJSON_TYPE_OBJECT) {
    *error =
        "the body must be a JSON object: {\"kind\":\"black\"|\"shading\"|\"colour\"|"
        "\"white\",\"source\":\"twin\"|\"uploads\",...}";
    return false;
  }
  Parse parse;
  TJsonValue_forEachMember(tree.root(), visitJobMember, &parse);
  if (parse.error.empty() && !parse.hasKind) parse.error = "kind is missing";
  if (parse.error.empty() && parse.job.kind == Kind::kWhite && parse.job.illuminants.empty())
    parse.error = "white points need \"illuminants\": the colour temperature of each light";
  if (!parse.error.empty()) {
    *error = parse.error;
    return false;
  }
  *job = parse.job;
  return true;
}

// ---- What the routes share ---------------------------------------------------------------------

struct Desk {
  Instance *instance = nullptr;
  CalibrateRouteOptions options;
  std::mutex mutex;  // guards captures
  std::vector<std::shared_ptr<const Capture>> captures;
  std::atomic<bool> running{false};
};

// Runs shell commands as a client would; the parsed answer, or none when it failed.
std::unique_ptr<JsonDocument> shell(Instance *instance, const std::string &request) {
  const Outcome outcome = instance->process(request);
  if (outcome.status != 200) return nullptr;
  auto tree = std::make_unique<JsonDocument>();
  std::string ignored;
  return tree->parse(outcome.body, &ignored) && jsonType(tree->root()) == TJSON_TYPE_ARRAY
             ? std::move(tree)
             : nullptr;
}

std::string command(const char *category, const char *key, const std::string &value = {}) {
  std::string text = std::string("{\"category\":\"") + category + "\",\"key\":\"" + key + "\"";
  if (!value.empty()) text += ",\"value\":{\"current\":" + value + "}";
  return text + "}";
}

// All numbers of a value, nested arrays flattened, in order.
void flatten(TJsonValue *value, std::vector<double> *out) {
  if (isNumber(value)) {
    double number = 0;
    TJsonValue_asFloat(value, &number);
    out->push_back(number);
    return;
  }
  for (TJsonValue *item : jsonItems(value)) flatten(item, out);
}

std::vector<double> answerNumbers(const JsonDocument &tree, int index) {
  std::vector<double> out;
  const std::vector<TJsonValue *> answers = jsonItems(tree.root());
  if (index < static_cast<int>(answers.size()))
    flatten(jsonMember(jsonMember(answers[size_t(index)], "value"), "current"), &out);
  return out;
}

// What the ISP applies now: its lens shading grid and colour matrix (none when unreadable).
struct InUse {
  std::optional<calibrate::ShadingGrid> shading;
  std::optional<std::array<double, 9>> matrix;
};

InUse inUse(Instance *instance) {
  InUse use;
  const auto tree =
      shell(instance, "[" + command("LSC_3", "matrix") + "," + command("LSC_3", "xSize") + "," +
                          command("LSC_3", "ySize") + "," + command("CCM", "ccMatrix") + "]");
  if (tree == nullptr) return use;
  const std::vector<double> matrix = answerNumbers(*tree, 0), x = answerNumbers(*tree, 1),
                            y = answerNumbers(*tree, 2), ccm = answerNumbers(*tree, 3);
  if (matrix.size() == 4 * calibrate::kGridPoints && x.size() == 32 && y.size() == 16) {
    calibrate::ShadingGrid grid;
    for (int c = 0; c < 4; ++c)
      for (int i = 0; i < calibrate::kGridPoints; ++i)
        grid.matrix[c][i] = static_cast<uint16_t>(matrix[size_t(c) * calibrate::kGridPoints + i]);
    for (int i = 0; i < 32; ++i) grid.xSize[i] = static_cast<uint16_t>(x[i]);
    for (int i = 0; i < 16; ++i) grid.ySize[i] = static_cast<uint16_t>(y[i]);
    use.shading = grid;
  }
  if (ccm.size() == 9) {
    std::array<double, 9> m{};
    std::copy(ccm.begin(), ccm.end(), m.begin());
    use.matrix = m;
  }
  return use;
}

// ---- Frames of the simulated camera -------------------------------------------------------------

// The scene and exposure as they were before a capture, put back when it ends, however it ends.
class SceneKeeper {
 public:
  explicit SceneKeeper(Instance *instance) : instance_(instance), driver_(instance->driver()) {
    for (size_t i = 0; i < std::size(kNames); ++i) TDriverScene_get(driver_, kNames[i], &saved_[i]);
  }
  ~SceneKeeper() {
    // The scene first: the driver refuses "injected" while none is held, and then the chart
    // stays, which is what it showed anyway.
    for (size_t i = 0; i < std::size(kNames); ++i) TDriverScene_set(driver_, kNames[i], saved_[i]);
    if (!exposure_.empty()) instance_->process(exposure_);
  }
  SceneKeeper(const SceneKeeper &) = delete;
  SceneKeeper &operator=(const SceneKeeper &) = delete;

  double illuminant() const { return saved_[1]; }

  // Fixes the sensor gain (the exposure loop off) until the keeper ends.
  bool setGain(double gain) {
    if (exposure_.empty()) {
      const auto tree =
          shell(instance_, "[" + command("EC_2", "state") + "," + command("EC_2", "gain.analog") +
                               "," + command("EC_2", "gain.digital") + "]");
      if (tree == nullptr) return false;
      const std::vector<double> state = answerNumbers(*tree, 0), analog = answerNumbers(*tree, 1),
                                digital = answerNumbers(*tree, 2);
      if (state.size() != 1 || analog.size() != 4 || digital.size() != 4) return false;
      exposure_ = "[" + command("EC_2", "state", figure(state[0])) + "," +
                  command("EC_2", "gain.analog", numbers(analog)) + "," +
                  command("EC_2", "gain.digital", numbers(digital)) + "]";
    }
    const double analog = std::min(gain, kMaxAnalogGain);
    const Outcome outcome = instance_->process(
        "[" + command("EC_2", "state", "0") + "," +
        command("EC_2", "gain.analog", "[" + figure(analog) + "]") + "," +
        command("EC_2", "gain.digital", "[" + figure(gain / analog) + "]") + "]");
    return outcome.status == 200 && outcome.body.find("\"message\"") == std::string::npos;
  }

 private:
  static constexpr const char *kNames[] = {"lux", "illuminant", "scene"};
  Instance *instance_;
  TDriver *driver_;
  std::array<double, 3> saved_{};
  std::string exposure_;  // the request that puts the exposure back
};

struct Failure {
  int status = 0;
  std::string error;
};

// The raw frame now; status 0 when taken.
Failure rawNow(TDriver *driver, imaging::Frame *frame) {
  const uint32_t code = TDriverFrame_get(driver, "raw", &frame->image);
  if (code == TCOMMON_SUCCESS) return {};
  if (code == TCOMMON_NOT_INITIALIZED)
    return {409, "the sensor is off: start streaming first (write true to \"IPT\" \"isStream\")"};
  return {500, std::string("the camera failed: ") + TCommonError_text(code)};
}

// count raw frames of the scene as it is now, each a new frame, from the second frame after
// the call on (the first may have begun before the scene changed).
Failure takeFrames(TDriver *driver, int count, const std::string &label,
                   std::vector<Capture> *out) {
  TDriverStatus status{};
  if (TDriver_status(driver, &status) != TCOMMON_SUCCESS || status.state != TDRIVER_STATE_STREAMING)
    return {409,
            "the sensor is not streaming: start it first (write true to \"IPT\" "
            "\"isStream\")"};
  imaging::Frame first;
  if (Failure f = rawNow(driver, &first); f.status != 0) return f;
  uint64_t next = first.image.frameNumber + kSettleFrames;
  const auto pause =
      std::max<Clock::duration>(framePeriod(driver) / 4, std::chrono::milliseconds(2));
  for (int taken = 0; taken < count;) {
    const auto deadline = Clock::now() + kFrameWait;
    imaging::Frame frame;
    for (;;) {
      TDriverImage_release(&frame.image);
      if (Failure f = rawNow(driver, &frame); f.status != 0) return f;
      if (frame.image.frameNumber >= next) break;
      if (Clock::now() > deadline) return {503, "the camera delivers no new frames"};
      std::this_thread::sleep_for(pause);
    }
    next = frame.image.frameNumber + 1;
    out->push_back(
        {label + " frame " + std::to_string(++taken), imaging::rawFrameOf(driver, frame.image)});
  }
  return {};
}

// The captures as one, site by site (sizes and patterns alike, as frames of one camera are).
Capture averaged(std::vector<Capture> frames, const std::string &name) {
  Capture out{name, std::move(frames.front().raw)};
  if (frames.size() == 1) return out;
  std::vector<uint32_t> sum(out.raw.data.begin(), out.raw.data.end());
  for (size_t f = 1; f < frames.size(); ++f)
    for (size_t i = 0; i < sum.size() && i < frames[f].raw.data.size(); ++i)
      sum[i] += frames[f].raw.data[i];
  const uint32_t n = static_cast<uint32_t>(frames.size());
  for (size_t i = 0; i < sum.size(); ++i)
    out.raw.data[i] = static_cast<uint16_t>((sum[i] + n / 2) / n);
  return out;
}

// ---- Results ---------------------------------------------------------------------------------

struct Answer {
  std::vector<std::string> report;
  std::string file;      // calibration file text, or empty
  std::string fragment;  // settings fragment text
  std::string apply;     // JSON array of shell commands
  std::string figures;   // ,"name":value members
};

std::string importCommand(const char *category, const std::string &file) {
  return command(category, "import", "[" + quoted("data:text/txt;base64," + base64(file)) + "]");
}

std::string lines(const char *format, double a, double b = 0, double c = 0, double d = 0) {
  char text[200];
  snprintf(text, sizeof text, format, a, b, c, d);
  return text;
}

void blackAnswer(const calibrate::BlackResult &result, Answer *answer) {
  std::string points = "[";
  for (const calibrate::BlackPoint &point : result.points) {
    if (points.size() > 1) points += ",";
    points += "{\"gain\":" + figure(point.gain) + ",\"frames\":" + std::to_string(point.frames) +
              ",\"channels\":[";
    for (int c = 0; c < 4; ++c) {
      const calibrate::ChannelLevel &level = point.channel[c];
      points += std::string(c ? "," : "") + "{\"name\":\"" + calibrate::kChannelNames[c] +
                "\",\"level\":" + figure(level.level) + ",\"noise\":" + figure(level.noise) + "}";
      answer->report.push_back(std::string(calibrate::kChannelNames[c]) +
                               lines(": level %.2f, noise %.2f codes at gain %g (%.0f-bit)",
                                     level.level, level.noise, point.gain, result.bitDepth));
    }
    points += "]}";
  }
  answer->figures =
      ",\"bitDepth\":" + std::to_string(result.bitDepth) + ",\"points\":" + points + "]";
  // The levels of the lowest gain, on the 12-bit scale of "BLS" data, replace the pedestal.
  if (!result.points.empty() && result.bitDepth > 0) {
    std::vector<double> data;
    for (const auto &level : result.points.front().channel)
      data.push_back(std::round(level.level * 4096.0 / double(1 << result.bitDepth)));
    answer->apply = "[" + command("BLS", "data", numbers(data)) + "," +
                    command("BLS", "isOverrideCalibration", "true") + "]";
  }
}

void shadingAnswer(const calibrate::ShadingResult &result, Answer *answer) {
  std::string channels = "[";
  for (int c = 0; c < 4; ++c) {
    channels += std::string(c ? "," : "") + "{\"name\":\"" + calibrate::kChannelNames[c] +
                "\",\"cornerToCentreBefore\":" + figure(result.cornerToCentreBefore[c]) +
                ",\"cornerToCentreAfter\":" + figure(result.cornerToCentreAfter[c]) +
                ",\"grid\":" + numbers(result.grid.matrix[c]) + "}";
    answer->report.push_back(std::string(calibrate::kChannelNames[c]) +
                             lines(": corners %.1f%% of the centre, %.1f%% corrected",
                                   100 * result.cornerToCentreBefore[c],
                                   100 * result.cornerToCentreAfter[c]));
  }
  answer->figures = ",\"gridSide\":" + std::to_string(calibrate::kGridSide) +
                    ",\"unity\":" + std::to_string(calibrate::kUnityGain) +
                    ",\"channels\":" + channels + "]";
  answer->file = calibrate::shadingFile(result.grid, {"Lens shading from a flat field"});
  answer->apply = "[" + importCommand("LSC_3", answer->file) + "]";
}

std::string rgbText(const std::array<int, 3> &rgb) {
  return "[" + std::to_string(rgb[0]) + "," + std::to_string(rgb[1]) + "," +
         std::to_string(rgb[2]) + "]";
}

std::string wbCommand(const std::array<double, 4> &gains) {
  return command("WB_1_1", "gain", numbers(gains));
}

void colourAnswer(const calibrate::ColourResult &result, double kelvin, Answer *answer) {
  std::string patches = "[";
  const auto &names = calibrate::chartPatchNames();
  for (size_t i = 0; i < result.patches.size(); ++i) {
    const calibrate::PatchFit &p = result.patches[i];
    patches += std::string(i ? "," : "") + "{\"name\":" + quoted(names[i]) +
               ",\"reference\":" + rgbText(displayOf(p.reference)) +
               ",\"before\":" + rgbText(displayOf(p.before)) +
               ",\"after\":" + rgbText(displayOf(p.after)) +
               ",\"deltaEBefore\":" + figure(p.deltaEBefore) +
               ",\"deltaEAfter\":" + figure(p.deltaEAfter) + "}";
  }
  answer->figures =
      ",\"illuminant\":" + figure(kelvin) + ",\"patches\":" + patches + "]" +
      ",\"meanBefore\":" + figure(result.meanBefore) +
      ",\"maxBefore\":" + figure(result.maxBefore) + ",\"meanAfter\":" + figure(result.meanAfter) +
      ",\"maxAfter\":" + figure(result.maxAfter) + ",\"matrix\":" + numbers(result.matrix) +
      ",\"offset\":" + numbers(result.offset) + ",\"wbGains\":" + numbers(result.wbGains);
  answer->report.push_back(lines("Colour error (CIEDE2000) at %.0f K: mean %.2f, max %.2f before",
                                 kelvin, result.meanBefore, result.maxBefore));
  answer->report.push_back(lines("after: mean %.2f, max %.2f", result.meanAfter, result.maxAfter));
  answer->file =
      calibrate::colourFile(result, {"Colour correction matrix from the colour chart at " +
                                     std::to_string(std::lround(kelvin)) + " K"});
  // The matrix was fitted to the chart balanced by these gains: they go with it.
  answer->apply = "[" + wbCommand(result.wbGains) + "," + importCommand("CCM", answer->file) + "]";
}

void whiteAnswer(const std::vector<calibrate::WhitePoint> &points, double applyKelvin,
                 Answer *answer) {
  std::string list = "[";
  const calibrate::WhitePoint *nearest = nullptr;
  for (const calibrate::WhitePoint &p : points) {
    if (list.size() > 1) list += ",";
    list += "{\"kelvin\":" + figure(p.kelvin) + ",\"gains\":" + numbers(p.gains) +
            ",\"rg\":" + figure(p.rg) + ",\"bg\":" + figure(p.bg) +
            ",\"neutralError\":" + figure(p.neutralError) + "}";
    answer->report.push_back(lines("%.0f K: gains R %.3f, B %.3f; greys within %.2f%%", p.kelvin,
                                   p.gains[0], p.gains[3], 100 * p.neutralError));
    if (nearest == nullptr ||
        std::abs(p.kelvin - applyKelvin) < std::abs(nearest->kelvin - applyKelvin))
      nearest = &p;
  }
  answer->figures = ",\"applyKelvin\":" + figure(applyKelvin) + ",\"points\":" + list + "]";
  if (nearest != nullptr) answer->apply = "[" + wbCommand(nearest->gains) + "]";
}

// ---- The calibration -------------------------------------------------------------------------

struct JobResult {
  Failure failure;
  Answer answer;
};

// Sets the scene for one capture and takes it.
Failure captureScene(TDriver *driver, double lux, double scene, std::optional<double> kelvin,
                     int frames, const std::string &label, std::vector<Capture> *out) {
  if (TDriverScene_set(driver, "scene", scene) != TCOMMON_SUCCESS ||
      TDriverScene_set(driver, "lux", lux) != TCOMMON_SUCCESS ||
      (kelvin && TDriverScene_set(driver, "illuminant", *kelvin) != TCOMMON_SUCCESS))
    return {500, "the camera refused the scene for the capture"};
  return takeFrames(driver, frames, label, out);
}

constexpr double kChartScene = 0, kFlatScene = 1;

JobResult runJob(Desk *desk, const Job &job, std::vector<Capture> uploads) {
  JobResult out;
  Instance *instance = desk->instance;
  TDriver *driver = instance->driver();
  std::string error;
  const InUse use = job.kind != Kind::kBlack ? inUse(instance) : InUse{};
  double sceneKelvin = 5000;
  TDriverScene_get(driver, "illuminant", &sceneKelvin);
  std::vector<double> gains = job.gains;
  std::vector<Capture> captures;
  std::vector<double> kelvins = job.illuminants;
  double colourKelvin = job.illuminant.value_or(sceneKelvin);
  if (job.twin) {
    SceneKeeper keeper(instance);
    double lux = 400;
    TDriverScene_get(driver, "lux", &lux);
    if (lux <= 0) lux = 400;  // the chart and the flat field need light
    switch (job.kind) {
      case Kind::kBlack: {
        const std::vector<double> wanted = gains.empty() ? std::vector<double>{1} : gains;
        gains.clear();
        for (const double gain : wanted) {
          if (!keeper.setGain(gain)) {
            out.failure = {500, "the sensor gain could not be set"};
            return out;
          }
          const size_t before = captures.size();
          out.failure = captureScene(driver, 0, kChartScene, std::nullopt, job.frames,
                                     "dark at gain " + figure(gain), &captures);
          if (out.failure.status != 0) return out;
          gains.insert(gains.end(), captures.size() - before, gain);
        }
        break;
      }
      case Kind::kShading:
        out.failure =
            captureScene(driver, lux, kFlatScene, std::nullopt, job.frames, "flat", &captures);
        break;
      case Kind::kColour: {
        std::vector<Capture> frames;
        out.failure =
            captureScene(driver, lux, kChartScene, colourKelvin, job.frames, "chart", &frames);
        if (out.failure.status == 0)
          captures.push_back(
              averaged(std::move(frames), "chart at " + figure(colourKelvin) + " K"));
        break;
      }
      case Kind::kWhite:
        for (const double kelvin : kelvins) {
          std::vector<Capture> frames;
          out.failure = captureScene(driver, lux, kChartScene, kelvin, job.frames,
                                     "chart at " + figure(kelvin) + " K", &frames);
          if (out.failure.status != 0) break;
          captures.push_back(averaged(std::move(frames), "chart at " + figure(kelvin) + " K"));
        }
        break;
    }
    if (out.failure.status != 0) return out;
  } else {
    captures = std::move(uploads);
    if (captures.empty()) {
      out.failure = {409, "no captures uploaded: PUT raw files to /api/calibrate/captures first"};
      return out;
    }
    const auto count = std::to_string(captures.size());
    if (job.kind == Kind::kBlack && !gains.empty() && gains.size() != captures.size()) {
      out.failure = {409, "give one gain per uploaded capture (" + count + " uploaded)"};
      return out;
    }
    if (job.kind == Kind::kColour && captures.size() != 1) {
      out.failure = {409, "the colour matrix takes one chart capture: " + count + " uploaded"};
      return out;
    }
    if (job.kind == Kind::kWhite && kelvins.size() != captures.size()) {
      out.failure = {409, "give one illuminant per uploaded capture (" + count + " uploaded, " +
                              std::to_string(kelvins.size()) + " illuminants)"};
      return out;
    }
  }

  // The ISP's lens shading belongs to this camera: another camera's files are measured as
  // they are.
  const bool thisCamera =
      job.twin || std::all_of(captures.begin(), captures.end(), [](const Capture &capture) {
        return capture.raw.cameraModel == imaging::kSimulatedCameraModel;
      });
  const std::optional<calibrate::ShadingGrid> shading =
      thisCamera ? use.shading : std::optional<calibrate::ShadingGrid>{};

  // The computation: no lock is held, the camera runs on.
  bool ok = false;
  Answer &answer = out.answer;
  switch (job.kind) {
    case Kind::kBlack: {
      calibrate::BlackResult result;
      ok = calibrate::calibrateBlack(captures, gains, &result, &error);
      if (ok) {
        blackAnswer(result, &answer);
        answer.fragment = calibrate::blackFragment(result);
      }
      break;
    }
    case Kind::kShading: {
      calibrate::ShadingOptions options;
      options.sectors = use.shading;  // the record's sector sizes are kept
      calibrate::ShadingResult result;
      ok = calibrate::calibrateShading(captures, options, &result, &error);
      if (ok) {
        shadingAnswer(result, &answer);
        // The grid spans the frame: the client draws it in the frame's proportions.
        answer.figures += ",\"width\":" + std::to_string(captures.front().raw.width) +
                          ",\"height\":" + std::to_string(captures.front().raw.height);
        answer.fragment = calibrate::shadingFragment(result);
      }
      break;
    }
    case Kind::kColour: {
      calibrate::ColourOptions options;
      options.shading = shading;
      if (use.matrix) options.currentMatrix = *use.matrix;
      calibrate::ColourResult result;
      ok = calibrate::calibrateColour(captures.front(), options, &result, &error);
      if (ok) {
        colourAnswer(result, colourKelvin, &answer);
        answer.fragment = calibrate::colourFragment(result);
      }
      break;
    }
    case Kind::kWhite: {
      calibrate::WhiteOptions options;
      options.shading = shading;
      std::vector<calibrate::WhitePoint> points;
      ok = calibrate::calibrateWhite(captures, kelvins, options, &points, &error);
      if (ok) {
        whiteAnswer(points, sceneKelvin, &answer);
        answer.fragment = calibrate::whiteFragment(points, sceneKelvin);
      }
      break;
    }
  }
  if (!ok) out.failure = {422, error};
  return out;
}

std::string answerBody(Kind kind, const Answer &answer) {
  std::string body = "{\"kind\":" + quoted(kKindNames[static_cast<int>(kind)]) + ",\"report\":[";
  for (size_t i = 0; i < answer.report.size(); ++i)
    body += (i ? "," : "") + quoted(answer.report[i]);
  body += "],\"file\":" + (answer.file.empty() ? std::string("null") : quoted(answer.file));
  body += ",\"fragment\":" + quoted(answer.fragment);
  body += ",\"apply\":" + (answer.apply.empty() ? std::string("[]") : answer.apply);
  body += answer.figures + "}";
  return body;
}

void postCalibrate(Desk *desk, const HttpRequest &req, HttpResponse &res) {
  Job job;
  std::string error;
  if (!parseJob(req.body, &job, &error)) {
    sendError(res, 400, error);
    return;
  }
  bool idle = false;
  if (!desk->running.compare_exchange_strong(idle, true)) {
    sendError(res, 409, "a calibration is running: wait for it to finish");
    return;
  }
  struct Release {
    std::atomic<bool> *flag;
    ~Release() { *flag = false; }
  } release{&desk->running};
  std::vector<Capture> uploads;
  if (!job.twin) {
    std::lock_guard lock(desk->mutex);
    for (const auto &capture : desk->captures) uploads.push_back(*capture);
  }
  const JobResult outcome = runJob(desk, job, std::move(uploads));
  if (outcome.failure.status != 0) {
    sendError(res, outcome.failure.status, outcome.failure.error);
    return;
  }
  sendJson(res, 200, answerBody(job.kind, outcome.answer));
}

std::string capturesBody(Desk *desk) {
  std::lock_guard lock(desk->mutex);
  std::string body = "{\"captures\":[";
  for (size_t i = 0; i < desk->captures.size(); ++i) {
    const Capture &c = *desk->captures[i];
    body += std::string(i ? "," : "") + "{\"name\":" + quoted(c.name) +
            ",\"width\":" + std::to_string(c.raw.width) +
            ",\"height\":" + std::to_string(c.raw.height) + "}";
  }
  return body + "],\"most\":" + std::to_string(desk->options.maxCaptures) + "}";
}

void putCapture(Desk *desk, const HttpRequest &req, HttpResponse &res) {
  {
    std::lock_guard lock(desk->mutex);
    if (desk->captures.size() >= desk->options.maxCaptures) {
      sendError(res, 409,
                "at most " + std::to_string(desk->options.maxCaptures) +
                    " captures are kept: clear them first (DELETE /api/calibrate/captures)");
      return;
    }
  }
  std::string name = req.param("name").substr(0, 120);
  if (name.empty()) name = "upload";
  auto capture = std::make_shared<Capture>();
  std::string error;
  if (!calibrate::loadCapture(req.body, name, capture.get(), &error)) {
    sendError(res, 415, error);
    return;
  }
  {
    std::lock_guard lock(desk->mutex);
    if (desk->captures.size() >= desk->options.maxCaptures) {
      sendError(res, 409,
                "at most " + std::to_string(desk->options.maxCaptures) + " captures are kept");
      return;
    }
    desk->captures.push_back(std::move(capture));
  }
  sendJson(res, 200, capturesBody(desk));
}

}  // namespace

void addCalibrateRoutes(std::vector<Route> *routes, Instance *instance,
                        const CalibrateRouteOptions &options) {
  auto desk = std::make_shared<Desk>();
  desk->instance = instance;
  desk->options = options;
  const RouteRule noBody{};
  const RouteRule jsonBody{{kJson}};
  routes->push_back(
      {"POST", "/api/calibrate", false, jsonBody, false,
       [desk](const HttpRequest &req, HttpResponse &res) { postCalibrate(desk.get(), req, res); },
       64u << 10});
  Route upload{"PUT",
               "/api/calibrate/captures",
               false,
               RouteRule{{}, true},
               false,
               [desk](const HttpRequest &req, HttpResponse &res) {
                 putCapture(desk.get(), req, res); }};
  upload.maxBody = options.maxUpload;
  routes->push_back(std::move(upload));
  routes->push_back({"GET", "/api/calibrate/captures", false, noBody, false,
                     [desk](const HttpRequest &, HttpResponse &res) {
                       sendJson(res, 200, capturesBody(desk.get()));
                     }});
  routes->push_back({"DELETE", "/api/calibrate/captures", false, noBody, false,
                     [desk](const HttpRequest &, HttpResponse &res) {
                       {
                         std::lock_guard lock(desk->mutex);
                         desk->captures.clear();
                       }
                       sendJson(res, 200, capturesBody(desk.get()));
                     }});
}

}  // namespace tshell_server
