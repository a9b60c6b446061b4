// The tuning server as a client sees it: the real binary started on a free port, driven
// over HTTP, stopped with a signal.
#include "server_process.h"

namespace {

TEST_F(ServerTest, RequestsRoundTripThroughTheShell) {
  start({"--stream"});
  auto written = post(R"({"category":"DG","key":"r","value":{"current":1.5}})");
  ASSERT_TRUE(written);
  EXPECT_EQ(written->status, 200);
  EXPECT_EQ(written->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(written->body, R"({"category":"DG","key":"r"})");

  auto both =
      post(R"([{"category":"DG","key":"r"},{"category":"DG","key":"gb","value":{"current":2}}])");
  ASSERT_TRUE(both);
  EXPECT_EQ(
      both->body,
      R"([{"category":"DG","key":"r","value":{"current":1.5}},{"category":"DG","key":"gb"}])");

  auto saved = client_->Post("/api/save", "", "application/json");
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->status, 409) << "no --database: nothing to save to";
  EXPECT_TRUE(Json(saved->body).at("error") != nullptr);
}

TEST_F(ServerTest, MalformedBodiesAreRefusedWithTheirOffset) {
  start({});
  const struct {
    std::string body;
    int64_t offset;
  } kCases[] = {
      {"", 0},
      {"{", 1},
      {R"({"category":"DG",})", 17},
      {R"([{"category":"DG","key":"r"}] x)", 30},
      {std::string("{\"category\":\"DG\"\0}", 18), 16},
  };
  for (const auto &c : kCases) {
    auto res = post(c.body);
    ASSERT_TRUE(res) << c.body;
    EXPECT_EQ(res->status, 400) << c.body;
    Json error(res->body);
    ASSERT_TRUE(error.valid()) << res->body;
    EXPECT_EQ(error.integer("offset"), c.offset) << c.body;
    EXPECT_NE(error.text("error"), "<none>") << res->body;
  }
  auto res = post(R"({"category":"DG","key":"r"})");
  ASSERT_TRUE(res) << "the server stopped answering";
  EXPECT_EQ(res->status, 200) << "a refused body must leave the shell usable";
}

TEST_F(ServerTest, BodiesOverTheLimitAre413) {
  start({"--max-request", "64"});
  const std::string fits = R"({"category":"DG","key":"r"})";
  const std::string large = "[" + fits + std::string(80, ' ') + "]";
  auto res = post(large);
  ASSERT_TRUE(res) << "the server must answer, not drop the connection";
  EXPECT_EQ(res->status, 413);
  EXPECT_NE(Json(res->body).text("error"), "<none>") << res->body;
  res = post(fits);
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);
}

TEST_F(ServerTest, TokenGuardsTheApiOnly) {
  start({"--token", "s3cret"});
  EXPECT_NE(server_->out().find("/#token=s3cret\n"), std::string::npos) << server_->out();
  const struct {
    const char *path;
    const char *authorization;  // null: no header
    int status;
  } kCases[] = {
      {"/api/schema", nullptr, 401},
      {"/api/schema", "Bearer s3cre", 401},
      {"/api/schema", "Bearer s3cret!", 401},
      {"/api/journal", "Basic s3cret", 401},
      {"/api/schema", "Bearer s3cret", 200},
      {"/api/journal", "Bearer s3cret", 200},
      {"/healthz", nullptr, 200},
      {"/no-such-file", nullptr, 404},
  };
  for (const auto &c : kCases) {
    httplib::Headers headers;
    if (c.authorization != nullptr) headers.emplace("Authorization", c.authorization);
    auto res = client_->Get(c.path, headers);
    ASSERT_TRUE(res) << c.path;
    EXPECT_EQ(res->status, c.status) << c.path << " " << (c.authorization ? c.authorization : "");
    if (c.status != 200) {
      EXPECT_NE(Json(res->body).text("error"), "<none>") << res->body;
    }
  }
  auto res = post(R"({"category":"DG","key":"r"})");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 401);
}

TEST_F(ServerTest, SchemaListsEveryKeyTheShellServes) {
  start({});
  auto res = client_->Get("/api/schema");
  ASSERT_TRUE(res);
  const char *own = nullptr;
  ASSERT_EQ(TShell_schema(&own), 0u);
  EXPECT_EQ(res->body, own);

  struct Walk {
    std::string request = "[";
    size_t categories = 0;
    size_t keys = 0;
    std::vector<std::string> problems;
  } walk;
  Json schema(res->body);
  ASSERT_EQ(
      TJsonValue_forEachMember(
          schema.root(),
          [](void *context, const char *category, TJsonValue *about) -> uint32_t {
            auto *walk = static_cast<Walk *>(context);
            ++walk->categories;
            TJsonValue *keys = nullptr;
            TJsonValue_member(about, "keys", &keys);
            uint64_t count = 0;
            TJsonValue_size(keys, &count);
            for (uint64_t i = 0; i < count; ++i) {
              TJsonValue *entry = nullptr, *key = nullptr, *shape = nullptr;
              const char *name = nullptr;
              uint32_t type = 0;
              TJsonValue_item(keys, i, &entry);
              TJsonValue_member(entry, "key", &key);
              TJsonValue_member(entry, "shape", &shape);
              TJsonValue_type(shape, &type);
              if (TJsonValue_asString(key, &name) != 0 || type != TJSON_TYPE_ARRAY) {
                walk->problems.push_back(std::string(category) + " entry " + std::to_string(i));
                continue;
              }
              walk->request += std::string(walk->keys++ ? "," : "") + "{\"category\":\"" +
                               category + "\",\"key\":\"" + name + "\"}";
            }
            return 0;
          },
          &walk),
      0u);
  EXPECT_EQ(walk.categories, 51u);
  EXPECT_EQ(walk.keys, 759u);
  EXPECT_TRUE(walk.problems.empty()) << walk.problems.front();

  // Every listed key is one the shell knows.
  auto read = post(walk.request + "]");
  ASSERT_TRUE(read);
  ASSERT_EQ(read->status, 200);
  EXPECT_EQ(Json(read->body).size(""), walk.keys);
  EXPECT_EQ(read->body.find("is never registered"), std::string::npos);
}

TEST_F(ServerTest, JournalPagesBySinceAndKeepsTheLastCalls) {
  start({"--stream"});
  auto first = client_->Get("/api/journal");
  ASSERT_TRUE(first);
  Json start(first->body);
  EXPECT_EQ(start.text("calls.0"), "TDriver_init(1)") << first->body;
  const int64_t next = start.integer("next");

  ASSERT_TRUE(post(R"({"category":"DG","key":"r","value":{"current":3}})"));
  auto page = client_->Get("/api/journal?since=" + std::to_string(next));
  ASSERT_TRUE(page);
  EXPECT_EQ(page->body, "{\"next\":" + std::to_string(next + 1) +
                            ",\"calls\":[\"TDriverDigitalGain_process(0)\"]}");
  page = client_->Get("/api/journal?since=" + std::to_string(next + 1));
  EXPECT_EQ(Json(page->body).size("calls"), 0u) << page->body;
  EXPECT_EQ(client_->Get("/api/journal?since=-1")->status, 400);

  // Alternating blocks push once per command: far more calls than the server keeps.
  std::string many = "[";
  for (int i = 0; i < 2500; ++i) {
    many += std::string(i ? "," : "") + R"({"category":"DG","key":"r","value":{"current":1}},)" +
            R"({"category":"GE","key":"state","value":{"current":1}})";
  }
  ASSERT_TRUE(post(many + "]"));
  page = client_->Get("/api/journal?since=0");
  Json kept(page->body);
  EXPECT_EQ(kept.size("calls"), 4096u);
  EXPECT_EQ(kept.integer("next"), next + 1 + 5000);
  EXPECT_EQ(kept.text("calls.4095"), "TDriverGreenEquilibration_process(0)");
}

TEST_F(ServerTest, EventStreamsSeeRequestsAndEndWithTheServer) {
  start({"--stream"});
  std::vector<std::unique_ptr<EventSocket>> streams;
  for (int i = 0; i < 16; ++i) {
    streams.push_back(std::make_unique<EventSocket>(port_));
    ASSERT_TRUE(streams.back()->readUntil(": connected")) << i << ": " << streams.back()->text;
  }
  auto refused = client_->Get("/api/events");
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 503) << "at most 16 event streams";

  ASSERT_TRUE(
      post(R"([{"category":"NOPE","key":"k"},{"category":"DG","key":"r","value":{"current":2}}])"));
  EventSocket &stream = *streams.front();
  ASSERT_TRUE(stream.readUntil("event: driver")) << stream.text;
  EXPECT_NE(stream.text.find("event: request\ndata: "
                             R"({"seq":1,"commands":[{"category":"NOPE","key":"k","write":false,)"
                             R"("message":["Shell: NOPE is never registered"]},)"
                             R"({"category":"DG","key":"r","write":true}]})"
                             "\n\n"),
            std::string::npos)
      << stream.text;
  EXPECT_NE(stream.text.find(R"x("calls":["TDriverDigitalGain_process(0)"]})x"), std::string::npos)
      << stream.text;

  // What counts as a write: anything but an empty value; a member name spelled with an
  // escape is still "value" to the shell.
  const char *kValues[][2] = {
      {R"("value":{})", "false"},           {R"("value":null)", "false"},
      {R"("value":[ ])", "false"},          {R"("value":"")", "false"},
      {R"("value":{"current":0})", "true"}, {R"("value":false)", "true"},
      {R"("\u0076alue":[1])", "true"},      {R"("value":{},"value":[2])", "true"},
  };
  std::string request = "[";
  std::string expected = "event: request\ndata: {\"seq\":2,\"commands\":[";
  for (size_t i = 0; i < std::size(kValues); ++i) {
    request +=
        std::string(i > 0 ? "," : "") + R"({"category":"GE","key":"state",)" + kValues[i][0] + "}";
    expected += std::string(i > 0 ? "," : "") + R"({"category":"GE","key":"state","write":)" +
                kValues[i][1] + "}";
  }
  ASSERT_TRUE(post(request + "]"));
  ASSERT_TRUE(stream.readUntil(R"("seq":2)")) << stream.text;
  EXPECT_NE(stream.text.find(expected + "]}"), std::string::npos) << stream.text;

  const auto asked = Clock::now();
  Exit exit = server_->stop(SIGTERM, 5s);
  EXPECT_EQ(exit.status, 0) << exit.err;
  EXPECT_LT(Clock::now() - asked, 3s) << "open event streams must not hold the server up";
}

TEST_F(ServerTest, WritesAreSavedCoalescedAndOnExit) {
  const std::string file = path("tuned.json");
  start({"--database", file, "--verbose"});
  EXPECT_NE(server_->out().find("database " + file + " (saved after every write)"),
            std::string::npos);
  // 20 writes in well under a second.
  for (int i = 1; i <= 20; ++i) {
    auto res = post(R"({"category":"DG","key":"r","value":{"current":)" + std::to_string(i) + "}}");
    ASSERT_TRUE(res && res->status == 200);
  }
  std::this_thread::sleep_for(1200ms);
  EXPECT_EQ(savedGain(file), 20.0f) << "every acknowledged write is on disk within a second";
  std::string out = server_->out();
  size_t saves = 0;
  for (size_t at = 0; (at = out.find("tshell-server: saved", at)) != std::string::npos; ++at) {
    ++saves;
  }
  EXPECT_GE(saves, 1u);
  EXPECT_LE(saves, 3u) << out;

  auto res = client_->Post("/api/save", "", "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(Json(res->body).text("saved"), file) << res->body;

  // The last write is still inside the saver's second when the server is told to stop.
  ASSERT_TRUE(post(R"({"category":"DG","key":"r","value":{"current":42}})"));
  Exit exit = server_->stop();
  EXPECT_EQ(exit.status, 0) << exit.err;
  EXPECT_EQ(savedGain(file), 42.0f);

  start({"--database", file});
  res = post(R"({"category":"DG","key":"r"})");
  ASSERT_TRUE(res);
  EXPECT_EQ(Json(res->body).integer("value.current"), 42) << res->body;
}

TEST_F(ServerTest, BadOptionsAndStartUpFailures) {
  start({});
  const std::string taken = "127.0.0.1:" + std::to_string(port_);
  std::ofstream(path("broken.json")) << "{\"DG\": {\"r\": \"loud\"}}";
  const struct {
    std::vector<std::string> args;
    int status;
    const char *err;  // part of the standard error text
  } kCases[] = {
      {{"--bogus"}, 2, "--help"},
      {{"--listen", "8080"}, 2, "--listen takes HOST:PORT"},
      {{"--listen", "127.0.0.1:70000"}, 2, "--listen"},
      {{"--max-request", "0"}, 2, "--max-request"},
      {{"--trace", "9"}, 2, "--trace"},
      {{"extra"}, 2, "unexpected argument"},
      {{"--listen", taken}, 1, "cannot listen on"},
      {{"--listen", "127.0.0.1:0", "--database", path("broken.json")},
       1,
       "cannot open the database"},
      {{"--listen", "127.0.0.1:0", "--database", path("no/dir/db.json")}, 1, "cannot save"},
  };
  for (const auto &c : kCases) {
    ServerProcess process(dir_, c.args, false);
    Exit exit = process.stop(0, 5s);
    EXPECT_EQ(exit.status, c.status) << c.args[0] << " " << exit.err;
    EXPECT_NE(exit.err.find(c.err), std::string::npos) << exit.err;
  }
  Exit help = ServerProcess(dir_, {"--help"}, false).stop(0, 5s);
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("--max-request"), std::string::npos);
}

TEST_F(ServerTest, ServesTheEmbeddedClient) {
  start({});
  const std::string index = slurp(std::string(TSHELL_WEB_DIR) + "/index.html");
  auto res = client_->Get("/");
  ASSERT_TRUE(res);
  if (index.empty()) {
    EXPECT_EQ(res->status, 404) << "no client in this build";
  } else {
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->get_header_value("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(res->body, index);
  }
  EXPECT_EQ(client_->Get("/healthz")->body, "ok");
}

}  // namespace

namespace {

TEST_F(ServerTest, SceneControlsAreCheckedAsAWholeAndControlStateIsReported) {
  start({"--stream", "--token", "lab"});
  const httplib::Headers auth{{"Authorization", "Bearer lab"}};
  const auto scene = [&] {
    auto res = client_->Get("/api/scene", auth);
    EXPECT_TRUE(res && res->status == 200);
    return res ? res->body : std::string();
  };
  const std::string shipped = scene();
  EXPECT_EQ(shipped, R"({"lux":400,"illuminant":5000,"scene":"chart"})");
  const struct {
    const char *body;
    int status;
    const char *after;  // the scene then
  } kCases[] = {
      {R"({"lux":100,"illuminant":2800,"scene":"flat"})", 200,
       R"({"lux":100,"illuminant":2800,"scene":"flat"})"},
      {R"({"lux":1600})", 200, R"({"lux":1600,"illuminant":2800,"scene":"flat"})"},
      {R"({"lux":50,"illuminant":9000})", 400, nullptr},  // range: the lux stays too
      {R"({"lux":-1})", 400, nullptr},
      {R"({"lux":"bright"})", 400, nullptr},
      {R"({"scene":"beach"})", 400, nullptr},
      {R"({"scene":1})", 400, nullptr},
      {R"({"scene":"injected"})", 409, nullptr},  // nothing uploaded yet
      {R"({"colour":1})", 400, nullptr},
      {R"([{"lux":1}])", 400, nullptr},
      {R"({"lux":)", 400, nullptr},
      {R"({})", 200, R"({"lux":1600,"illuminant":2800,"scene":"flat"})"},
  };
  std::string expected = shipped;
  for (const auto &c : kCases) {
    auto res = client_->Put("/api/scene", auth, c.body, "application/json");
    ASSERT_TRUE(res) << c.body;
    EXPECT_EQ(res->status, c.status) << c.body;
    if (c.status == 200) {
      expected = c.after;
      EXPECT_EQ(res->body, expected) << c.body;
    } else {
      EXPECT_NE(Json(res->body).text("error"), "<none>") << res->body;
    }
    EXPECT_EQ(scene(), expected) << c.body;
  }
  // The token guards these routes as every other, and the body must be JSON.
  auto res = client_->Put("/api/scene", R"({"lux":1})", "application/json");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 401);
  res = client_->Put("/api/scene", auth, R"({"lux":1})", "text/plain");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 415);
  EXPECT_EQ(scene(), expected);

  res = client_->Get("/api/control", auth);
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);
  Json control(res->body);
  ASSERT_TRUE(control.valid()) << res->body;
  EXPECT_EQ(control.text("exposure.state"), "off") << res->body;  // EC_2 as shipped: manual
  EXPECT_EQ(control.size("whiteBalance.gains"), 4u) << res->body;
  EXPECT_EQ(control.integer("focus.position"), 512) << res->body;
}

}  // namespace
