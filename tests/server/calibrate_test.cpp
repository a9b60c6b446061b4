// The calibration routes: every bad input refused with a JSON error and nothing changed, the
// list of uploaded captures, and calibrations of the simulated camera through HTTP whose
// results, applied through the shell, change the ISP.
#include <array>
#include <chrono>
#include <cmath>
#include <thread>

#include "imaging.h"
#include "server_process.h"

namespace {

constexpr char kToken[] = "Bearer s3cret";

// A dark frame of a 10-bit sensor as DNG: pedestal 64 with a little noise.
std::string darkDng(int width, int height) {
  imaging::RawFrame raw;
  raw.width = width;
  raw.height = height;
  raw.whiteLevel = 1023;
  raw.blackLevel = {64, 64, 64, 64};
  raw.data.resize(size_t(width) * height);
  for (size_t i = 0; i < raw.data.size(); ++i) raw.data[i] = uint16_t(63 + (i * 7919 % 13) / 4);
  std::string out, error;
  EXPECT_TRUE(imaging::encodeDng(raw, &out, &error)) << error;
  return out;
}

class CalibrateTest : public ServerTest {
 protected:
  void start(std::vector<std::string> args) {
    ServerTest::start(std::move(args));
    if (client_ != nullptr) client_->set_read_timeout(120, 0);
  }
  httplib::Result send(const char *method, const std::string &target, const std::string &body = {},
                       const char *type = "application/json", bool token = true,
                       const char *origin = nullptr) {
    httplib::Headers headers;
    if (token) headers.emplace("Authorization", kToken);
    if (origin != nullptr) headers.emplace("Origin", origin);
    const std::string method_(method);
    if (method_ == "GET") return client_->Get(target, headers);
    if (method_ == "DELETE") return client_->Delete(target, headers);
    if (method_ == "PUT") return client_->Put(target, headers, body, type);
    return client_->Post(target, headers, body, type);
  }
  std::string shell(const std::string &request) {
    auto res = send("POST", "/api/request", request);
    return res && res->status == 200 ? res->body : "";
  }
};

TEST_F(CalibrateTest, BadInputIsRefusedWithJsonErrors) {
  start({"--stream", "--token", "s3cret", "--max-upload", "3000000"});
  const std::string scene = send("GET", "/api/scene")->body;
  const std::string dng = darkDng(256, 192);
  const struct {
    const char *method, *target;
    std::string body;
    int status;
    const char *type = "application/json";
    bool token = true;
    const char *origin = nullptr;
  } kCases[] = {
      {"POST", "/api/calibrate", "{", 400},
      {"POST", "/api/calibrate", "[]", 400},
      {"POST", "/api/calibrate", "{}", 400},
      {"POST", "/api/calibrate", R"({"kind":"grey"})", 400},
      {"POST", "/api/calibrate", R"({"kind":3})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","source":"disk"})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","frames":0})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","frames":17})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","frames":2.5})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","gains":[0.5]})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","gains":[]})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","lux":0})", 400},
      {"POST", "/api/calibrate", R"({"kind":"colour","illuminant":2000})", 400},
      {"POST", "/api/calibrate", R"({"kind":"colour","illuminant":"D65"})", 400},
      {"POST", "/api/calibrate", R"({"kind":"white"})", 400},
      {"POST", "/api/calibrate", R"({"kind":"white","illuminants":[5000,9000]})", 400},
      {"POST", "/api/calibrate", R"({"kind":"black","source":"uploads"})", 409},
      {"POST", "/api/calibrate", R"({"kind":"black"})", 415, "text/plain"},
      {"POST", "/api/calibrate", R"({"kind":"black"})", 401, "application/json", false},
      {"POST", "/api/calibrate", R"({"kind":"black"})", 403, "application/json", true,
       "http://evil.example"},
      {"PUT", "/api/calibrate/captures", "hello, not a picture", 415},
      {"PUT", "/api/calibrate/captures", std::string(3100000, 'x'), 413},
      {"PUT", "/api/calibrate/captures", dng, 401, "application/octet-stream", false},
      {"GET", "/api/calibrate/captures", "", 401, nullptr, false},
      {"DELETE", "/api/calibrate/captures", "", 401, nullptr, false},
      {"DELETE", "/api/calibrate/captures", "", 403, nullptr, true, "http://evil.example"},
      {"PATCH", "/api/calibrate/captures", "", 405},
  };
  for (const auto &c : kCases) {
    httplib::Result res = std::string(c.method) == "PATCH"
                              ? client_->Patch(c.target, {{"Authorization", kToken}}, "", "")
                              : send(c.method, c.target, c.body, c.type, c.token, c.origin);
    ASSERT_TRUE(res) << c.method << " " << c.body.substr(0, 60);
    EXPECT_EQ(res->status, c.status)
        << c.method << " " << c.body.substr(0, 60) << ": " << res->body;
    EXPECT_NE(Json(res->body).text("error"), "<none>") << res->body;
    if (c.status == 413) client_ = std::make_unique<httplib::Client>("127.0.0.1", port_);
  }
  // Nothing was taken, nothing changed.
  EXPECT_EQ(Json(send("GET", "/api/calibrate/captures")->body).size("captures"), 0u);
  EXPECT_EQ(send("GET", "/api/scene")->body, scene);
}

TEST_F(CalibrateTest, UploadsAreListedBoundedAndCalibrated) {
  start({"--stream", "--token", "s3cret"});
  const std::string dng = darkDng(256, 192);
  for (int i = 0; i < 8; ++i) {
    auto res = send("PUT", "/api/calibrate/captures?name=dark" + std::to_string(i) + ".dng", dng,
                    "application/octet-stream");
    ASSERT_TRUE(res);
    ASSERT_EQ(res->status, 200) << res->body;
  }
  auto res = send("PUT", "/api/calibrate/captures", dng, "application/octet-stream");
  EXPECT_EQ(res->status, 409) << res->body;
  Json list(send("GET", "/api/calibrate/captures")->body);
  ASSERT_EQ(list.size("captures"), 8u);
  EXPECT_EQ(list.text("captures.7.name"), "dark7.dng");
  EXPECT_EQ(list.integer("captures.0.width"), 256);
  EXPECT_EQ(list.integer("captures.0.height"), 192);

  const struct {
    const char *body;
    int status;
  } kCases[] = {
      {R"({"kind":"white","source":"uploads","illuminants":[5000]})", 409},
      {R"({"kind":"colour","source":"uploads"})", 409},
      {R"({"kind":"black","source":"uploads","gains":[1,2]})", 409},
      {R"({"kind":"shading","source":"uploads"})", 422},  // dark frames are no flat field
      {R"({"kind":"black","source":"uploads"})", 200},
  };
  for (const auto &c : kCases) {
    res = send("POST", "/api/calibrate", c.body);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, c.status) << c.body << ": " << res->body;
  }
  Json black(res->body);
  for (int c = 0; c < 4; ++c) {
    const std::string at = "points.0.channels." + std::to_string(c) + ".level";
    double level = 0;
    TJsonValue_asFloat(black.at(at.c_str()), &level);
    EXPECT_NEAR(level, 64, 1) << at;
  }
  EXPECT_EQ(Json(send("DELETE", "/api/calibrate/captures")->body).size("captures"), 0u);
  EXPECT_EQ(send("POST", "/api/calibrate", R"({"kind":"black","source":"uploads"})")->status, 409);
}

// The camera calibrated through HTTP: black levels at the sensor's pedestal, a shading grid
// that flattens the flat field and a colour matrix, applied with the requests the answers
// give; one calibration at a time, and the scene put back after each.
TEST_F(CalibrateTest, TwinCalibrationsApplyThroughTheShell) {
  start({"--stream", "--token", "s3cret"});
  const std::string scene = send("GET", "/api/scene")->body;

  auto res = send("POST", "/api/calibrate", R"({"kind":"black","frames":2})");
  ASSERT_TRUE(res);
  ASSERT_EQ(res->status, 200) << res->body;
  Json black(res->body);
  const int64_t depth = black.integer("bitDepth");
  ASSERT_GE(depth, 10);
  const double pedestal = 64 << (depth - 10);
  for (int c = 0; c < 4; ++c) {
    const std::string at = "points.0.channels." + std::to_string(c) + ".level";
    double level = 0;
    TJsonValue_asFloat(black.at(at.c_str()), &level);
    EXPECT_NEAR(level, pedestal, 1) << at;
  }
  EXPECT_EQ(black.text("apply.0.category"), "BLS");
  EXPECT_EQ(send("GET", "/api/scene")->body, scene);

  // Two at once: one runs, the other is told so; the server answers meanwhile.
  std::pair<int, std::string> results[2];
  const auto shade = [&](int i, httplib::Client *client) {
    auto res = client->Post("/api/calibrate", {{"Authorization", kToken}},
                            R"({"kind":"shading","frames":3})", "application/json");
    if (res) results[i] = {res->status, res->body};
  };
  std::thread second([&] {
    httplib::Client other("127.0.0.1", port_);
    other.set_read_timeout(120, 0);
    shade(1, &other);
  });
  shade(0, client_.get());
  second.join();
  const int ran = results[0].first == 200 ? 0 : 1;
  ASSERT_EQ(results[ran].first, 200) << results[ran].second;
  EXPECT_EQ(results[1 - ran].first, 409) << results[1 - ran].second;
  EXPECT_EQ(send("GET", "/api/scene")->body, scene);

  Json shading(results[ran].second);
  for (int c = 0; c < 4; ++c) {
    double before = 0, after = 0;
    const std::string at = "channels." + std::to_string(c);
    TJsonValue_asFloat(shading.at((at + ".cornerToCentreBefore").c_str()), &before);
    TJsonValue_asFloat(shading.at((at + ".cornerToCentreAfter").c_str()), &after);
    EXPECT_LT(before, 0.9) << at << ": the twin's lens darkens its corners";
    EXPECT_NEAR(after, 1, 0.02) << at;
    EXPECT_EQ(shading.size((at + ".grid").c_str()), 33u * 33u);
  }
  const std::string read = R"({"category":"LSC_3","key":"matrix"})";
  const std::string flat = shell(read);
  ASSERT_NE(flat, "");
  TJsonValue *apply = shading.at("apply");
  const char *text = nullptr;
  TJsonWriter *writer = nullptr;
  TJsonWriter_open(nullptr, &writer);
  TJsonWriter_stringify(writer, apply, &text);
  const std::string answer = shell(text);
  EXPECT_EQ(answer.find("message"), std::string::npos) << answer;
  Json grid(shell(read));
  int64_t corner = 0, centre = 0;
  TJsonValue_asInteger(grid.at("value.current.0.0"), &corner);
  TJsonValue_asInteger(grid.at("value.current.0.544"), &centre);
  EXPECT_GT(corner, centre + 50) << "the corners gain more than the centre after the import";

  // The colour matrix, applied: a second calibration measures the chart with the matrix now in
  // use ("before"), which must be the new one.
  double meanBefore = 0, meanAfter = 0, nextBefore = 0;
  for (int run = 0; run < 2; ++run) {
    res = send("POST", "/api/calibrate", R"({"kind":"colour","frames":2})");
    ASSERT_TRUE(res);
    ASSERT_EQ(res->status, 200) << res->body;
    Json colour(res->body);
    ASSERT_EQ(colour.size("patches"), 24u);
    TJsonValue_asFloat(colour.at("meanBefore"), run == 0 ? &meanBefore : &nextBefore);
    if (run == 1) break;
    TJsonValue_asFloat(colour.at("meanAfter"), &meanAfter);
    TJsonWriter_stringify(writer, colour.at("apply"), &text);
    EXPECT_EQ(shell(text).find("message"), std::string::npos);
  }
  EXPECT_LT(meanAfter, meanBefore / 2);
  EXPECT_NEAR(nextBefore, meanAfter, 0.5);

  // The flat field through the ISP: each channel's corners within 2% of its centre.
  ASSERT_EQ(send("PUT", "/api/scene", R"({"scene":"flat"})")->status, 200);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // a frame of the new scene
  const auto means = [&](int x, int y) {
    Json probe(send("GET", "/api/probe?stage=LSC_3&w=64&h=64&x=" + std::to_string(x) +
                               "&y=" + std::to_string(y))
                   ->body);
    std::array<double, 4> mean{};
    for (int c = 0; c < 4; ++c)
      TJsonValue_asFloat(probe.at(("region.mean." + std::to_string(c)).c_str()), &mean[c]);
    return mean;
  };
  const auto middle = means(928, 508);
  for (const auto &[x, y] : {std::pair{0, 0}, {1856, 0}, {0, 1016}, {1856, 1016}}) {
    const auto at = means(x, y);
    for (int c = 0; c < 4; ++c)
      EXPECT_NEAR(at[c] / middle[c], 1, 0.02) << "corner " << x << "," << y << " channel " << c;
  }
  TJsonWriter_close(&writer);
}

}  // namespace
