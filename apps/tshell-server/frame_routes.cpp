#include "frame_routes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "driver_frames.h"
#include "frame_clock.h"
#include "json_text.h"
#include "replies.h"

namespace tshell_server {

namespace {

constexpr int kJpegQuality = 85;
// A probe of a frame that moved on between its stages (moved by a caller other than the frame
// clock) is taken again, this many times at most.
constexpr int kProbeTries = 2;

using imaging::Frame;

// A query number: digits only, at most max. Absent: *present false.
bool parseCount(const std::string &text, uint64_t max, uint64_t *value, bool *present) {
  *present = !text.empty();
  if (text.empty()) return true;
  if (text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) return false;
  *value = std::strtoull(text.c_str(), nullptr, 10);
  return *value <= max;
}

// The stage named in the request ("output" when none) rendered into frame; false with the
// answer given when there is none to show.
bool frameOf(TDriver *driver, const std::string &stage, Frame *frame, HttpResponse &res) {
  const uint32_t code = TDriverFrame_get(driver, stage.c_str(), &frame->image);
  if (code == TCOMMON_SUCCESS) return true;
  if (code == TCOMMON_NOT_FOUND) {
    sendError(res, 404,
              "the camera has no stage '" + stage +
                  "': use raw, output or a block's category such as BLS or DMSC_3");
  } else if (code == TCOMMON_NOT_INITIALIZED) {
    sendError(res, 409,
              "the ISP is off: start streaming first (write true to \"IPT\" \"isStream\")");
  } else {
    sendError(res, 500, std::string("the camera failed: ") + TCommonError_text(code));
  }
  return false;
}

std::string stageOf(const HttpRequest &req) {
  const std::string stage = req.param("stage");
  return stage.empty() ? "output" : stage;
}

// The width parameter, checked against the frame: 0 when absent.
bool widthOf(const HttpRequest &req, uint32_t frameWidth, int *width, HttpResponse &res) {
  uint64_t value = 0;
  bool present = false;
  if (!parseCount(req.param("width"), frameWidth, &value, &present) || (present && value == 0)) {
    sendError(
        res, 400,
        "width must be a number of pixels from 1 to the frame's " + std::to_string(frameWidth));
    return false;
  }
  *width = present ? static_cast<int>(value) : 0;
  return true;
}

imaging::Picture previewOf(const TDriverImage &image, int width) {
  imaging::Picture picture = imaging::viewable(image);
  return width > 0 ? imaging::scaleToWidth(picture, width) : picture;
}

// The stream's own head already says how it may be cached.
void addFrameHeaders(HttpResponse &res, const TDriverImage &image, const std::string &stage,
                     bool cacheControl = true) {
  res.headers.emplace_back("X-Frame-Number", std::to_string(image.frameNumber));
  res.headers.emplace_back("X-Frame-Width", std::to_string(image.width));
  res.headers.emplace_back("X-Frame-Height", std::to_string(image.height));
  res.headers.emplace_back("X-Frame-Stage", stage);
  if (cacheControl) res.headers.emplace_back("Cache-Control", "no-store");
}

std::string number(double value) {
  char text[32];
  if (std::nearbyint(value) == value && std::abs(value) < 1e15)
    snprintf(text, sizeof text, "%.0f", value);
  else
    snprintf(text, sizeof text, "%.4f", value);
  return text;
}

std::string numbers(const std::vector<double> &values) {
  std::string out = "[";
  for (size_t i = 0; i < values.size(); ++i) out += (i > 0 ? "," : "") + number(values[i]);
  return out + "]";
}

// One open frame stream: holds a stream slot of the feed for as long as the connection lasts.
class FrameStream : public StreamSource {
 public:
  FrameStream(FrameFeed *feed, FrameFeed::Key key) : feed_(feed), key_(std::move(key)) {}
  ~FrameStream() override { feed_->detach(key_); }
  FrameStream(const FrameStream &) = delete;
  FrameStream &operator=(const FrameStream &) = delete;

  std::string take(bool *ended) override {
    *ended = feed_->stopped();
    if (*ended) return {};
    const FrameFeed::Part part = feed_->latest(key_);
    if (part.sequence == 0 || part.sequence == sent_) return {};
    sent_ = part.sequence;
    return *part.bytes;
  }

 private:
  FrameFeed *feed_;
  FrameFeed::Key key_;
  uint64_t sent_ = 0;
};

}  // namespace

FrameFeed::FrameFeed(TDriver *driver, size_t maxStreams)
    : driver_(driver), maxStreams_(maxStreams), thread_([this] { run(); }) {}

FrameFeed::~FrameFeed() {
  stop();
}

void FrameFeed::stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool FrameFeed::attach(const Key &key) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_ || streams_ >= maxStreams_) return false;
    ++streams_;
    ++entries_[key].streams;
  }
  wake_.notify_all();
  return true;
}

void FrameFeed::detach(const Key &key) {
  std::lock_guard lock(mutex_);
  --streams_;
  const auto found = entries_.find(key);
  if (found != entries_.end() && --found->second.streams == 0) entries_.erase(found);
}

FrameFeed::Part FrameFeed::latest(const Key &key) const {
  std::lock_guard lock(mutex_);
  const auto found = entries_.find(key);
  return found == entries_.end() ? Part{} : found->second.part;
}

bool FrameFeed::stopped() const {
  std::lock_guard lock(mutex_);
  return stopping_;
}

size_t FrameFeed::streams() const {
  std::lock_guard lock(mutex_);
  return streams_;
}

void FrameFeed::run() {
  using Clock = std::chrono::steady_clock;
  Clock::time_point tick = Clock::now();
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    if (entries_.empty()) {
      wake_.wait(lock, [this] { return stopping_ || !entries_.empty(); });
      tick = Clock::now();
      continue;
    }
    std::vector<std::pair<Key, uint64_t>> wanted;
    for (const auto &[key, entry] : entries_) wanted.emplace_back(key, entry.part.frame);
    lock.unlock();
    bool published = false;
    for (const auto &[key, lastFrame] : wanted) {
      Frame frame;
      if (TDriverFrame_get(driver_, key.stage.c_str(), &frame.image) != TCOMMON_SUCCESS) continue;
      if (frame.image.frameNumber == lastFrame && lastFrame != 0) continue;
      std::string jpeg, error;
      const int width = key.width < static_cast<int>(frame.image.width) ? key.width : 0;
      if (!imaging::encodeJpeg(previewOf(frame.image, width), kJpegQuality, &jpeg, &error))
        continue;
      auto bytes = std::make_shared<std::string>(
          "--frame\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(jpeg.size()) +
          "\r\nX-Frame-Number: " + std::to_string(frame.image.frameNumber) + "\r\n\r\n");
      *bytes += jpeg;
      *bytes += "\r\n";
      std::lock_guard relock(mutex_);
      const auto found = entries_.find(key);
      if (found == entries_.end()) continue;
      found->second.part = Part{frame.image.frameNumber, ++sequence_, std::move(bytes)};
      published = true;
    }
    if (published && listener_) listener_();
    tick = std::max(tick + framePeriod(driver_), Clock::now());
    lock.lock();
    wake_.wait_until(lock, tick, [this] { return stopping_; });
  }
}

void addFrameRoutes(std::vector<Route> *routes, TDriver *driver, FrameFeed *feed,
                    const FrameRouteOptions &options) {
  const RouteRule noBody{};
  routes->push_back({"GET", "/api/frame", false, noBody, false,
                     [driver](const HttpRequest &req, HttpResponse &res) {
                       const std::string format = req.param("format");
                       if (!format.empty() && format != "jpeg" && format != "png") {
                         sendError(res, 400, "format must be jpeg or png");
                         return;
                       }
                       const std::string stage = stageOf(req);
                       Frame frame;
                       int width = 0;
                       if (!frameOf(driver, stage, &frame, res) ||
                           !widthOf(req, frame.image.width, &width, res))
                         return;
                       const imaging::Picture picture = previewOf(frame.image, width);
                       std::string error;
                       const bool png = format == "png";
                       if (!(png ? imaging::encodePng(picture, &res.body, &error)
                                 : imaging::encodeJpeg(picture, kJpegQuality, &res.body, &error))) {
                         sendError(res, 500, error);
                         return;
                       }
                       res.contentType = png ? "image/png" : "image/jpeg";
                       addFrameHeaders(res, frame.image, stage);
                     }});

  routes->push_back({"GET", "/api/frame/stream", false, noBody, false,
                     [driver, feed](const HttpRequest &req, HttpResponse &res) {
                       const std::string stage = stageOf(req);
                       Frame frame;
                       int width = 0;
                       if (!frameOf(driver, stage, &frame, res) ||
                           !widthOf(req, frame.image.width, &width, res))
                         return;
                       FrameFeed::Key key{stage, width};
                       if (!feed->attach(key)) {
                         sendError(res, 503, "too many frame streams are open");
                         return;
                       }
                       res.contentType = "multipart/x-mixed-replace; boundary=frame";
                       addFrameHeaders(res, frame.image, stage, false);
                       res.stream = std::make_shared<FrameStream>(feed, std::move(key));
                     }});

  routes->push_back(
      {"GET", "/api/raw", false, noBody, false,
       [driver](const HttpRequest &req, HttpResponse &res) {
         const std::string format = req.param("format");
         if (!format.empty() && format != "dng" && format != "png") {
           sendError(res, 400, "format must be dng or png");
           return;
         }
         TDriverStatus status{};
         if (TDriver_status(driver, &status) != TCOMMON_SUCCESS || status.isRaw == 0) {
           sendError(res, 409, "raw capture is off: write true to \"IPT\" \"isRaw\" first");
           return;
         }
         Frame frame;
         if (!frameOf(driver, "raw", &frame, res)) return;
         std::string error;
         const bool png = format == "png";
         const bool ok =
             png ? imaging::encodePng(imaging::mosaicPicture(frame.image), &res.body, &error)
                 : imaging::encodeDng(imaging::rawFrameOf(driver, frame.image), &res.body, &error);
         if (!ok) {
           sendError(res, 500, error);
           return;
         }
         res.contentType = png ? "image/png" : "image/x-adobe-dng";
         res.headers.emplace_back("Content-Disposition",
                                  "attachment; filename=\"raw-frame-" +
                                      std::to_string(frame.image.frameNumber) +
                                      (png ? ".png\"" : ".dng\""));
         addFrameHeaders(res, frame.image, "raw");
       }});

  Route inject{
      "PUT",
      "/api/frame",
      false,
      RouteRule{{}, true},
      false,
      [driver](const HttpRequest &req, HttpResponse &res) {
        int width = 0, height = 0;
        std::string kind, error;
        const int status = imaging::injectFile(driver, req.body, &width, &height, &kind, &error);
        if (status != 200) {
          sendError(res, status, error);
          return;
        }
        sendJson(res, 200,
                 "{\"width\":" + std::to_string(width) + ",\"height\":" + std::to_string(height) +
                     ",\"kind\":\"" + kind + "\"}");
      }};
  inject.maxBody = options.maxUpload;
  routes->push_back(std::move(inject));

  routes->push_back(
      {"GET", "/api/probe", false, noBody, false,
       [driver](const HttpRequest &req, HttpResponse &res) {
         const std::string stage = stageOf(req);
         uint64_t x = 0, y = 0, w = 0, h = 0;
         bool hasX = false, hasY = false, hasW = false, hasH = false;
         constexpr uint64_t kMax = 1u << 20;
         if (!parseCount(req.param("x"), kMax, &x, &hasX) ||
             !parseCount(req.param("y"), kMax, &y, &hasY) ||
             !parseCount(req.param("w"), kMax, &w, &hasW) ||
             !parseCount(req.param("h"), kMax, &h, &hasH) || !hasX || !hasY || hasW != hasH ||
             (hasW && (w == 0 || h == 0))) {
           sendError(res, 400,
                     "give x and y (pixels from the top left of the full frame), "
                     "and w and h (at least 1) for a region");
           return;
         }
         Frame image, raw, output;
         std::lock_guard hold(frameHold());  // the three stages of one frame
         for (int attempt = 0; attempt < kProbeTries; ++attempt) {
           TDriverImage_release(&image.image);
           TDriverImage_release(&raw.image);
           TDriverImage_release(&output.image);
           if (!frameOf(driver, stage, &image, res) || !frameOf(driver, "raw", &raw, res) ||
               !frameOf(driver, "output", &output, res))
             return;
           if (image.image.frameNumber == raw.image.frameNumber &&
               raw.image.frameNumber == output.image.frameNumber)
             break;
         }
         const TDriverImage &s = image.image;
         if (x >= s.width || y >= s.height || x >= raw.image.width || y >= raw.image.height) {
           sendError(res, 400,
                     "x and y must lie in the " + std::to_string(s.width) + " x " +
                         std::to_string(s.height) + " frame");
           return;
         }
         const int px = static_cast<int>(x), py = static_cast<int>(y);
         std::string body = "{\"frame\":" + std::to_string(s.frameNumber) + ",\"stage\":";
         appendJsonString(&body, stage);
         body += ",\"x\":" + std::to_string(x) + ",\"y\":" + std::to_string(y);
         body += ",\"raw\":{\"value\":" + number(imaging::valuesAt(raw.image, px, py)[0]) +
                 ",\"colour\":\"" + imaging::colourName(raw.image, px, py) + "\"}";
         body += ",\"value\":" + numbers(imaging::valuesAt(s, px, py));
         body += ",\"output\":" + numbers(imaging::valuesAt(output.image, px, py));
         if (hasW) {
           const uint64_t x1 = std::min<uint64_t>(s.width, x + w);
           const uint64_t y1 = std::min<uint64_t>(s.height, y + h);
           // A mosaic is measured per filter colour: its colours differ by far more than its
           // noise, so one figure over all sites would tell neither level nor noise.
           const bool mosaic = s.format == TDRIVER_IMAGE_MOSAIC16;
           // Indexed by filter colour (TDRIVER_CFA_RED .. TDRIVER_CFA_INFRARED) or by R, G, B.
           static const char *const kMosaicColours[] = {"R", "Gr", "Gb", "B", "IR"};
           static const char *const kRgb[] = {"R", "G", "B"};
           constexpr size_t kSlots = std::size(kMosaicColours);
           std::array<double, kSlots> sum{}, squares{}, count{};
           const auto add = [&](size_t slot, double value) {
             if (slot >= kSlots) return;
             sum[slot] += value;
             squares[slot] += value * value;
             count[slot] += 1;
           };
           for (uint64_t ry = y; ry < y1; ++ry) {
             for (uint64_t rx = x; rx < x1; ++rx) {
               const int ix = static_cast<int>(rx), iy = static_cast<int>(ry);
               const std::vector<double> v = imaging::valuesAt(s, ix, iy);
               if (mosaic) {
                 add(imaging::colourAt(s, ix, iy), v[0]);
               } else {
                 for (size_t c = 0; c < 3; ++c) add(c, v[c]);
               }
             }
           }
           std::vector<double> mean, deviation;
           std::string colours = "[";
           for (size_t c = 0; c < (mosaic ? kSlots : 3); ++c) {
             if (count[c] == 0) continue;
             const double m = sum[c] / count[c];
             mean.push_back(m);
             deviation.push_back(std::sqrt(std::max(0.0, squares[c] / count[c] - m * m)));
             if (colours.size() > 1) colours += ",";
             appendJsonString(&colours, mosaic ? kMosaicColours[c] : kRgb[c]);
           }
           colours += "]";
           body += ",\"region\":{\"x\":" + std::to_string(x) + ",\"y\":" + std::to_string(y) +
                   ",\"w\":" + std::to_string(x1 - x) + ",\"h\":" + std::to_string(y1 - y) +
                   ",\"colours\":" + colours + ",\"mean\":" + numbers(mean) +
                   ",\"stddev\":" + numbers(deviation) + "}";
         }
         body += "}";
         sendJson(res, 200, std::move(body));
       }});
}

}  // namespace tshell_server
