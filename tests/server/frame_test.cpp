// The camera's frames over HTTP: still frames, streams, raw capture, probes and injected
// frames, with the token and the ISP's state applying to each route.
#include <netinet/in.h>

#include <cmath>

#include "driver_frames.h"
#include "imaging.h"
#include "server_process.h"
#include "t_driver.h"

namespace {

constexpr char kToken[] = "Bearer s3cret";

// Colour bars over a grey ramp: what the injection test sends and compares with.
constexpr uint8_t kBars[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                 {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};

imaging::Picture barsPicture(int width, int height) {
  imaging::Picture picture;
  picture.width = width;
  picture.height = height;
  picture.channels = 3;
  picture.data8.resize(size_t(width) * height * 3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t *p = &picture.data8[(size_t(y) * width + x) * 3];
      for (int c = 0; c < 3; ++c)
        p[c] =
            y < height / 2 ? kBars[x * 8 / width][c] : static_cast<uint8_t>(x * 255 / (width - 1));
    }
  }
  return picture;
}

std::string pngOf(const imaging::Picture &picture) {
  std::string bytes, error;
  EXPECT_TRUE(imaging::encodePng(picture, &bytes, &error)) << error;
  return bytes;
}

// An uncompressed 8-bit RGB TIFF of a picture, laid out by hand: header, the pixels, the
// bits per sample, then one directory.
std::string tiffOf(const imaging::Picture &picture) {
  std::string out("II*\0\0\0\0\0", 8);
  const auto put16 = [&](uint32_t v) { out += char(v & 0xff), out += char(v >> 8 & 0xff); };
  const auto put32 = [&](uint32_t v) { put16(v & 0xffff), put16(v >> 16); };
  out.append(reinterpret_cast<const char *>(picture.data8.data()), picture.data8.size());
  const uint32_t bitsAt = static_cast<uint32_t>(out.size());
  put16(8), put16(8), put16(8);
  const uint32_t directory = static_cast<uint32_t>(out.size());
  for (int i = 0; i < 4; ++i) out[4 + i] = char(directory >> (8 * i) & 0xff);
  const uint32_t entries[][4] = {{256, 4, 1, uint32_t(picture.width)},
                                 {257, 4, 1, uint32_t(picture.height)},
                                 {258, 3, 3, bitsAt},
                                 {259, 3, 1, 1},
                                 {262, 3, 1, 2},
                                 {273, 4, 1, 8},
                                 {277, 3, 1, 3},
                                 {278, 4, 1, uint32_t(picture.height)},
                                 {279, 4, 1, uint32_t(picture.data8.size())}};
  put16(std::size(entries));
  for (const auto &e : entries) {
    put16(e[0]), put16(e[1]), put32(e[2]);
    if (e[1] == 3 && e[2] == 1)
      put16(e[3]), put16(0);
    else
      put32(e[3]);
  }
  put32(0);
  return out;
}

class FrameTest : public ServerTest {
 protected:
  // A full frame takes a good part of a second to render on a busy two-core machine.
  void start(std::vector<std::string> args) {
    ServerTest::start(std::move(args));
    if (client_ != nullptr) client_->set_read_timeout(60, 0);
  }
  httplib::Result get(const std::string &target) {
    return client_->Get(target, httplib::Headers{{"Authorization", kToken}});
  }
  httplib::Result put(const std::string &body) {
    return client_->Put("/api/frame", httplib::Headers{{"Authorization", kToken}}, body,
                        "application/octet-stream");
  }
  void request(const std::string &body) {
    auto res = client_->Post("/api/request", httplib::Headers{{"Authorization", kToken}}, body,
                             "application/json");
    ASSERT_TRUE(res);
    ASSERT_EQ(res->status, 200) << res->body;
    ASSERT_EQ(res->body.find("message"), std::string::npos) << res->body;
  }
  // The output frame's size as the server reports it.
  std::pair<int, int> frameSize() {
    auto res = get("/api/frame?width=16");
    if (!res || res->status != 200) return {0, 0};
    return {std::atoi(res->get_header_value("X-Frame-Width").c_str()),
            std::atoi(res->get_header_value("X-Frame-Height").c_str())};
  }
};

TEST_F(FrameTest, RoutesAnswerEveryCaseWithJsonErrors) {
  start({"--stream", "--token", "s3cret"});
  const struct {
    const char *target;
    int status;
    const char *type;  // of a 200
    int width;         // of the decoded picture, 0: not checked
  } kCases[] = {
      {"/api/frame", 200, "image/jpeg", 1920},
      {"/api/frame?format=png&stage=BLS&width=320", 200, "image/png", 320},
      {"/api/frame?stage=DMSC_3&format=jpeg&width=1920", 200, "image/jpeg", 1920},
      {"/api/frame?stage=raw&width=1", 200, "image/jpeg", 1},
      {"/api/frame?stage=NOPE", 404, nullptr, 0},
      {"/api/frame?format=gif", 400, nullptr, 0},
      {"/api/frame?width=0", 400, nullptr, 0},
      {"/api/frame?width=1921", 400, nullptr, 0},
      {"/api/frame?width=-5", 400, nullptr, 0},
      {"/api/frame?width=12abc", 400, nullptr, 0},
      {"/api/frame/stream?stage=NOPE", 404, nullptr, 0},
      {"/api/frame/stream?width=0", 400, nullptr, 0},
      {"/api/raw", 409, nullptr, 0},
      {"/api/raw?format=tiff", 400, nullptr, 0},
      {"/api/probe?x=10", 400, nullptr, 0},
      {"/api/probe?x=-1&y=0", 400, nullptr, 0},
      {"/api/probe?x=1920&y=0", 400, nullptr, 0},
      {"/api/probe?x=0&y=0&w=4", 400, nullptr, 0},
      {"/api/probe?x=0&y=0&w=0&h=4", 400, nullptr, 0},
      {"/api/probe?x=0&y=0&stage=NOPE", 404, nullptr, 0},
  };
  for (const auto &c : kCases) {
    auto res = get(c.target);
    ASSERT_TRUE(res) << c.target;
    EXPECT_EQ(res->status, c.status) << c.target << ": " << res->body;
    if (c.status != 200) {
      EXPECT_NE(Json(res->body).text("error"), "<none>") << c.target << ": " << res->body;
      continue;
    }
    EXPECT_EQ(res->get_header_value("Content-Type"), c.type) << c.target;
    EXPECT_EQ(res->get_header_value("Cache-Control"), "no-store") << c.target;
    EXPECT_EQ(res->get_header_value("X-Frame-Width"), "1920") << c.target;
    EXPECT_EQ(res->get_header_value("X-Frame-Height"), "1080") << c.target;
    EXPECT_FALSE(res->get_header_value("X-Frame-Number").empty()) << c.target;
    imaging::Decoded decoded;
    bool unsupported = false;
    std::string error;
    ASSERT_TRUE(imaging::readFile(res->body, &decoded, &unsupported, &error)) << c.target << error;
    EXPECT_EQ(decoded.picture.width, c.width) << c.target;
  }

  auto refused = client_->Get("/api/frame");
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 401) << "the token guards the frame routes too";
  auto foreign =
      client_->Get("/api/frame", {{"Authorization", kToken}, {"Origin", "http://evil.example"}});
  ASSERT_TRUE(foreign);
  EXPECT_EQ(foreign->status, 403);

  // With the ISP off there is no frame to show.
  request(R"({"category":"IPT","key":"isStream","value":{"current":false}})");
  for (const char *target : {"/api/frame", "/api/frame/stream", "/api/probe?x=0&y=0"}) {
    auto res = get(target);
    ASSERT_TRUE(res) << target;
    EXPECT_EQ(res->status, 409) << target;
    EXPECT_NE(Json(res->body).text("error").find("isStream"), std::string::npos) << res->body;
  }
}

TEST_F(FrameTest, ProbesReadTheStagesAndClipRegions) {
  start({"--stream", "--token", "s3cret"});
  // The default sensor reads R G / G B from the top left.
  const struct {
    const char *target;
    const char *colour;
    uint64_t values;
  } kCases[] = {
      {"/api/probe?stage=raw&x=0&y=0", "R", 1},
      {"/api/probe?stage=BLS&x=1&y=0", "Gr", 1},
      {"/api/probe?stage=DMSC_3&x=0&y=1", "Gb", 3},
      {"/api/probe?x=1&y=1", "B", 3},
  };
  for (const auto &c : kCases) {
    auto res = get(c.target);
    ASSERT_TRUE(res);
    ASSERT_EQ(res->status, 200) << c.target << ": " << res->body;
    Json probe(res->body);
    EXPECT_EQ(probe.text("raw.colour"), c.colour) << c.target;
    EXPECT_EQ(probe.size("value"), c.values) << c.target;
    EXPECT_EQ(probe.size("output"), 3u) << c.target;
    EXPECT_GE(probe.integer("raw.value"), 0) << c.target;
    EXPECT_EQ(res->body.find("\"region\""), std::string::npos) << c.target;
  }
  // A region over the edge is clipped to the frame; a mosaic is measured per filter colour,
  // and the sensor's noise makes each colour's spread non-zero.
  auto edge = get("/api/probe?stage=raw&x=1910&y=1070&w=100&h=100");
  ASSERT_TRUE(edge);
  ASSERT_EQ(edge->status, 200) << edge->body;
  Json region(edge->body);
  EXPECT_EQ(region.integer("region.w"), 10);
  EXPECT_EQ(region.integer("region.h"), 10);
  ASSERT_EQ(region.size("region.colours"), 4u) << edge->body;
  EXPECT_EQ(region.size("region.mean"), 4u);
  const char *const kColours[] = {"R", "Gr", "Gb", "B"};
  for (int c = 0; c < 4; ++c) {
    const std::string index = std::to_string(c);
    EXPECT_EQ(region.text(("region.colours." + index).c_str()), kColours[c]);
    double deviation = 0;
    TJsonValue_asFloat(region.at(("region.stddev." + index).c_str()), &deviation);
    EXPECT_GT(deviation, 0.0) << kColours[c];
  }
  // Over the chart's flat grey area the raw colours lie far apart (the sensor sees grey
  // through filters of unequal strength) while each spreads with the noise alone: one figure
  // over every site would have mixed the two.
  auto grey = get("/api/probe?stage=raw&x=1300&y=700&w=200&h=100");
  ASSERT_TRUE(grey);
  Json greyRegion(grey->body);
  ASSERT_EQ(greyRegion.size("region.mean"), 4u) << grey->body;
  double greyMean[4] = {}, greySpread[4] = {};
  for (int c = 0; c < 4; ++c) {
    const std::string index = std::to_string(c);
    TJsonValue_asFloat(greyRegion.at(("region.mean." + index).c_str()), &greyMean[c]);
    TJsonValue_asFloat(greyRegion.at(("region.stddev." + index).c_str()), &greySpread[c]);
  }
  const double redToGreen = std::abs(greyMean[1] - greyMean[0]);
  for (int c = 0; c < 4; ++c) EXPECT_LT(greySpread[c] * 3, redToGreen) << kColours[c];
  EXPECT_NEAR(greyMean[1], greyMean[2], 3 * greySpread[1]) << "the two greens agree";
  // A flat patch of the chart's output stays close to its mean.
  // The flat grey area of the chart (62 % to 96 % of the width, 62 % to 76 % of the height)
  // spreads with the noise alone, far less than a region on the outer ring of the Siemens
  // star's spokes (the star is centred at 77 %, 34 %, 475 pixels across).
  const auto spreads = [&](const std::string &target, double *means) {
    std::vector<double> out;
    auto res = get(target);
    EXPECT_TRUE(res);
    if (!res) return out;
    Json answer(res->body);
    EXPECT_EQ(answer.size("region.mean"), 3u) << res->body;
    for (int c = 0; c < 3; ++c) {
      double spread = 0;
      const std::string index = std::to_string(c);
      TJsonValue_asFloat(answer.at(("region.stddev." + index).c_str()), &spread);
      TJsonValue_asFloat(answer.at(("region.mean." + index).c_str()), &means[c]);
      out.push_back(spread);
    }
    return out;
  };
  double flatMeans[3] = {}, starMeans[3] = {};
  const std::vector<double> flat = spreads("/api/probe?x=1300&y=700&w=200&h=100", flatMeans);
  const std::vector<double> star = spreads("/api/probe?x=1620&y=330&w=80&h=80", starMeans);
  ASSERT_EQ(flat.size(), 3u);
  ASSERT_EQ(star.size(), 3u);
  for (int c = 0; c < 3; ++c) {
    EXPECT_GT(flatMeans[c], 40) << c;
    EXPECT_LT(flat[c], star[c] / 2) << c;
  }
}

TEST_F(FrameTest, RawDngHoldsTheDriversRawFrame) {
  start({"--stream", "--token", "s3cret"});
  request(R"({"category":"IPT","key":"isRaw","value":{"current":true}})");
  // The same hardware state and frame number give the same frame in any driver: this one,
  // with the built-in defaults, renders the frame the server handed out.
  TDatabase *database = nullptr;
  TDriver *driver = nullptr;
  ASSERT_EQ(TDatabase_open(nullptr, &database), 0u);
  ASSERT_EQ(TDriver_open(database, &driver), 0u);
  ASSERT_EQ(TDriver_init(driver, 1), 0u);
  uint64_t local = 0;
  for (const char *format : {"dng", "png"}) {
    auto res = get(std::string("/api/raw?format=") + format);
    ASSERT_TRUE(res);
    ASSERT_EQ(res->status, 200) << res->body;
    const uint64_t number = std::stoull(res->get_header_value("X-Frame-Number"));
    EXPECT_NE(
        res->get_header_value("Content-Disposition")
            .find("attachment; filename=\"raw-frame-" + std::to_string(number) + "." + format),
        std::string::npos)
        << res->get_header_value("Content-Disposition");
    for (; local < number; ++local) ASSERT_EQ(TDriverFrame_next(driver), 0u);
    TDriverImage raw{};
    ASSERT_EQ(TDriverFrame_get(driver, "raw", &raw), 0u);
    std::string error;
    std::vector<uint16_t> codes;
    if (std::string(format) == "dng") {
      imaging::RawFrame frame;
      ASSERT_TRUE(imaging::decodeRaw(res->body, &frame, &error)) << error;
      ASSERT_EQ(frame.width, int(raw.width));
      ASSERT_EQ(frame.height, int(raw.height));
      for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(frame.cfa[i], raw.cfa[(i / 2) * 4 + i % 2]) << i;
        EXPECT_EQ(frame.blackLevel[i], raw.blackLevel) << i;
      }
      EXPECT_EQ(frame.whiteLevel, raw.whiteLevel);
      codes = frame.data;
    } else {
      imaging::Picture picture;
      ASSERT_TRUE(imaging::decodePng(res->body, &picture, &error)) << error;
      ASSERT_EQ(picture.width, int(raw.width));
      for (size_t i = 0; i < picture.data16.size(); i += 3) codes.push_back(picture.data16[i]);
    }
    const auto *expected = static_cast<const uint16_t *>(raw.data);
    ASSERT_EQ(codes.size(), size_t(raw.width) * raw.height);
    size_t differing = 0;
    for (size_t i = 0; i < codes.size(); ++i) differing += codes[i] != expected[i];
    EXPECT_EQ(differing, 0u) << format;
    TDriverImage_release(&raw);
  }
  TDriver_close(&driver);
  TDatabase_close(&database);
}

TEST_F(FrameTest, UploadsAreInjectedAndRefusedOnesChangeNothing) {
  start({"--stream", "--token", "s3cret", "--max-upload", "8000000"});
  request(R"([{"category":"IPT","key":"isRaw","value":{"current":true}},)"
          R"({"category":"IPT","key":"isInjectLive","value":{"current":true}},)"
          R"({"category":"IPT","key":"isInject","value":{"current":true}}])");
  auto dng = get("/api/raw");
  ASSERT_TRUE(dng);
  ASSERT_EQ(dng->status, 200);

  const std::string bars = pngOf(barsPicture(320, 240));
  std::string huge = bars;  // a header claiming 20000 x 20000 pixels
  huge[16] = 0, huge[17] = 0, huge[18] = 0x4e, huge[19] = 0x20;
  huge[20] = 0, huge[21] = 0, huge[22] = 0x4e, huge[23] = 0x20;
  const struct {
    std::string body;
    int status;
    const char *kind;   // of a 200
    int width, height;  // the frame afterwards
  } kCases[] = {
      {bars, 200, "picture", 320, 240},
      {"hello, not a picture", 415, nullptr, 320, 240},
      {std::string(5u << 20, 'x'), 415, nullptr, 320, 240},  // above the 4 MiB of requests
      {bars.substr(0, bars.size() / 2), 400, nullptr, 320, 240},
      {huge, 400, nullptr, 320, 240},
      {std::string("II*\0", 4) + std::string(100, '\0'), 400, nullptr, 320, 240},
      {std::string(9u << 20, 'x'), 413, nullptr, 320, 240},  // above --max-upload
      {dng->body, 200, "raw", 1920, 1080},
      {tiffOf(barsPicture(96, 64)), 200, "picture", 96, 64},
      {bars, 200, "picture", 320, 240},
  };
  for (const auto &c : kCases) {
    auto res = put(c.body);
    ASSERT_TRUE(res) << c.status;
    EXPECT_EQ(res->status, c.status) << res->body;
    Json answer(res->body);
    if (c.status == 200) {
      EXPECT_EQ(answer.text("kind"), c.kind);
      EXPECT_EQ(answer.integer("width"), c.width);
      EXPECT_EQ(answer.integer("height"), c.height);
    } else {
      EXPECT_NE(answer.text("error"), "<none>") << res->body;
    }
    if (c.status == 413) client_ = std::make_unique<httplib::Client>("127.0.0.1", port_);
    EXPECT_EQ(frameSize(), std::make_pair(c.width, c.height)) << c.status << " " << res->body;
  }

  // The picture photographed by the sensor: its white bar seen through the sensor's colour
  // filters (red and blue well below green), not as the neutral the picture holds.
  auto raw = get("/api/raw?format=png");
  ASSERT_TRUE(raw);
  imaging::Picture mosaic;
  std::string error;
  ASSERT_TRUE(imaging::decodePng(raw->body, &mosaic, &error)) << error;
  double sums[4] = {}, counts[4] = {};
  for (int y = 240 / 8; y < 3 * 240 / 8; ++y) {
    for (int x = 4; x < 36; ++x) {
      const int site = (y % 2) * 2 + x % 2;
      sums[site] += mosaic.data16[(size_t(y) * 320 + x) * 3] - 64.0;
      counts[site] += 1;
    }
  }
  const double red = sums[0] / counts[0], green = (sums[1] / counts[1] + sums[2] / counts[2]) / 2,
               blue = sums[3] / counts[3];
  EXPECT_GT(red / green, 0.5);
  EXPECT_LT(red / green, 0.75);
  EXPECT_GT(blue / green, 0.5);
  EXPECT_LT(blue / green, 0.8);

  // Balanced on that white, with the module's calibrated colour matrix and white exposed near
  // full scale, the output looks like the upload: mean absolute difference over the bars
  // below 32 of 255 in every channel (the tone curve and vignetting account for the rest).
  const std::string gains =
      "[" + std::to_string(green / red) + ",1,1," + std::to_string(green / blue) + "]";
  request(R"([{"category":"WB_1_1","key":"gain","value":{"current":)" + gains +
          R"(}},)"
          R"({"category":"CCM","key":"ccMatrix","value":{"current":)"
          R"([1.62,-0.45,-0.17,-0.28,1.51,-0.23,-0.05,-0.52,1.57]}},)"
          R"({"category":"EC_2","key":"integrationTime","value":{"current":)"
          R"([0.0125,0.0125,0.0125,0.0125]}}])");
  auto output = get("/api/frame?format=png");
  ASSERT_TRUE(output);
  imaging::Picture shown;
  ASSERT_TRUE(imaging::decodePng(output->body, &shown, &error)) << error;
  ASSERT_EQ(shown.width, 320);
  double difference[3] = {};
  for (int bar = 0; bar < 8; ++bar) {
    double sum[3] = {}, count = 0;
    for (int y = 30; y < 90; ++y) {
      for (int x = bar * 40 + 10; x < bar * 40 + 30; ++x) {
        for (int c = 0; c < 3; ++c) sum[c] += shown.data8[(size_t(y) * 320 + x) * 3 + c];
        count += 1;
      }
    }
    for (int c = 0; c < 3; ++c) difference[c] += std::abs(sum[c] / count - kBars[bar][c]) / 8;
  }
  for (int c = 0; c < 3; ++c) EXPECT_LT(difference[c], 32) << "channel " << c;

  // Not live: the injected frame once, then the chart again.
  request(R"([{"category":"IPT","key":"isInjectLive","value":{"current":false}},)"
          R"({"category":"IPT","key":"isInject","value":{"current":true}}])");
  bool chart = false;
  for (auto deadline = Clock::now() + 5s; !chart && Clock::now() < deadline;) {
    chart = frameSize() == std::make_pair(1920, 1080);
    std::this_thread::sleep_for(20ms);
  }
  EXPECT_TRUE(chart) << "the frames after the injected one show the chart";

  // The lab's injected scene shows the upload on every frame, whatever IPT says.
  const auto scene = [&](const char *body) {
    auto res = client_->Put("/api/scene", httplib::Headers{{"Authorization", kToken}}, body,
                            "application/json");
    return res ? res->status : 0;
  };
  request(R"([{"category":"IPT","key":"isInject","value":{"current":false}}])");
  ASSERT_EQ(scene(R"({"scene":"injected"})"), 200);
  for (int frame = 0; frame < 3; ++frame) {
    EXPECT_EQ(frameSize(), std::make_pair(320, 240)) << frame;
    std::this_thread::sleep_for(100ms);
  }
  ASSERT_EQ(scene(R"({"scene":"chart"})"), 200);
  EXPECT_EQ(frameSize(), std::make_pair(1920, 1080));
}

// GET /api/frame/stream on a plain socket, held open until destroyed.
class StreamSocket {
 public:
  explicit StreamSocket(int port) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) {
      const std::string request =
          "GET /api/frame/stream?width=64 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
      send(fd_, request.data(), request.size(), MSG_NOSIGNAL);
    }
  }
  ~StreamSocket() { close(fd_); }

  bool readUntil(const std::string &needle, int times = 1) {
    for (auto deadline = Clock::now() + 10s; count(needle) < times;) {
      pollfd ready{fd_, POLLIN, 0};
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) return false;
      char buffer[65536];
      const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
      if (got <= 0) return false;
      text.append(buffer, static_cast<size_t>(got));
    }
    return true;
  }

  int count(const std::string &needle) const {
    int found = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
      ++found;
    return found;
  }

  std::string text;

 private:
  int fd_ = -1;
};

TEST_F(FrameTest, StreamsSendFramesAndGiveTheirSlotBack) {
  start({"--stream"});
  std::vector<std::unique_ptr<StreamSocket>> streams;
  for (int i = 0; i < 4; ++i) {
    streams.push_back(std::make_unique<StreamSocket>(port_));
    ASSERT_TRUE(streams.back()->readUntil("--frame\r\nContent-Type: image/jpeg", 2))
        << i << ": " << streams.back()->text.substr(0, 300);
  }
  StreamSocket &first = *streams.front();
  EXPECT_NE(first.text.find("multipart/x-mixed-replace; boundary=frame"), std::string::npos);
  // Each part is one new frame: the frame numbers of two parts differ.
  const size_t a = first.text.find("X-Frame-Number: ", first.text.find("--frame"));
  const size_t b = first.text.find("X-Frame-Number: ", a + 1);
  ASSERT_NE(b, std::string::npos);
  EXPECT_NE(std::stoull(first.text.substr(a + 16)), std::stoull(first.text.substr(b + 16)));

  auto refused = client_->Get("/api/frame/stream");
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 503) << "at most 4 frame streams";
  streams.pop_back();  // the client goes away: its slot comes back
  bool again = false;
  for (auto deadline = Clock::now() + 5s; !again && Clock::now() < deadline;) {
    StreamSocket next(port_);
    again = next.readUntil("--frame\r\n");
    if (!again) std::this_thread::sleep_for(50ms);
  }
  EXPECT_TRUE(again) << "a closed stream must give its slot back";

  const auto asked = Clock::now();
  Exit exit = server_->stop(SIGTERM, 5s);
  EXPECT_EQ(exit.status, 0) << exit.err;
  EXPECT_LT(Clock::now() - asked, 3s) << "open frame streams must not hold the server up";
}

}  // namespace
