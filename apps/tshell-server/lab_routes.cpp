#include "lab_routes.h"

#include <cmath>
#include <string>
#include <string_view>

#include "json_text.h"
#include "json_tree.h"
#include "replies.h"
#include "t_driver.h"
#include "t_json.h"

namespace tshell_server {

namespace {

const char *const kSceneNames[] = {"chart", "flat", "injected"};  // by the driver's number
constexpr const char *kStates[] = {"off", "searching", "settled", "limited"};

std::string stateName(uint32_t state) {
  return state < std::size(kStates) ? kStates[state] : "unknown";
}

std::string sceneBody(TDriver *driver) {
  double lux = 0, kelvin = 0, scene = 0;
  TDriverScene_get(driver, "lux", &lux);
  TDriverScene_get(driver, "illuminant", &kelvin);
  TDriverScene_get(driver, "scene", &scene);
  const auto index = static_cast<size_t>(scene);
  std::string body =
      "{\"lux\":" + figure(lux) + ",\"illuminant\":" + figure(kelvin) + ",\"scene\":";
  appendJsonString(&body, index < std::size(kSceneNames) ? kSceneNames[index] : "unknown");
  body += "}";
  return body;
}

std::string controlBody(TDriver *driver) {
  TDriverControlStatus s{};
  if (TDriverControl_status(driver, &s) != TCOMMON_SUCCESS) return errorBody("no driver");
  std::string body = "{\"frames\":" + std::to_string(s.frames);
  body += ",\"exposure\":{\"state\":\"" + stateName(s.exposureState) +
          "\",\"luma\":" + figure(s.luma) + ",\"target\":" + figure(s.target) +
          ",\"time\":" + figure(s.exposureTime) + ",\"analogGain\":" + figure(s.analogGain) +
          ",\"digitalGain\":" + figure(s.digitalGain) + "}";
  body += ",\"whiteBalance\":{\"state\":\"" + stateName(s.whiteBalanceState) +
          "\",\"kelvin\":" + figure(s.kelvin) + ",\"gains\":[";
  for (int c = 0; c < 4; ++c) body += (c ? "," : "") + figure(s.gains[c]);
  body += "]},\"focus\":{\"state\":\"" + stateName(s.focusState) +
          "\",\"position\":" + std::to_string(s.lensPosition) +
          ",\"value\":" + figure(s.focusValue) + "}}";
  return body;
}

// One member of a PUT body, checked: the driver's name and value.
struct Change {
  const char *name;
  double value;
};

struct Parsed {
  std::vector<Change> changes;
  std::string error;
};

uint32_t visitMember(void *context, const char *name, TJsonValue *member) {
  auto &parsed = *static_cast<Parsed *>(context);
  if (!parsed.error.empty()) return TCOMMON_SUCCESS;
  const uint32_t type = tshell_cli::jsonType(member);
  const std::string_view key(name);
  if (key == "lux" || key == "illuminant") {
    double value = 0;
    if (type != TJSON_TYPE_INTEGER && type != TJSON_TYPE_FLOAT) {
      parsed.error = std::string(key) + " must be a number";
    } else {
      TJsonValue_asFloat(member, &value);
      parsed.changes.push_back({key == "lux" ? "lux" : "illuminant", value});
    }
  } else if (key == "scene") {
    const char *text = nullptr;
    if (type != TJSON_TYPE_STRING || TJsonValue_asString(member, &text) != TCOMMON_SUCCESS) {
      parsed.error = "scene must be one of \"chart\", \"flat\", \"injected\"";
      return TCOMMON_SUCCESS;
    }
    for (size_t i = 0; i < std::size(kSceneNames); ++i)
      if (std::string_view(text) == kSceneNames[i]) {
        parsed.changes.push_back({"scene", static_cast<double>(i)});
        return TCOMMON_SUCCESS;
      }
    parsed.error = "scene must be one of \"chart\", \"flat\", \"injected\"";
  } else {
    parsed.error = "unknown member \"" + std::string(key) + "\" (lux, illuminant, scene)";
  }
  return TCOMMON_SUCCESS;
}

const char *rangeOf(std::string_view name) {
  if (name == "lux") return "lux must lie in 0..100000";
  if (name == "illuminant") return "illuminant must lie in 2800..7500 (kelvin)";
  return "this scene is not available in this build";
}

void putScene(TDriver *driver, const HttpRequest &req, HttpResponse &res) {
  tshell_cli::JsonDocument body;
  std::string ignored;
  if (!body.parse(req.body, &ignored) || tshell_cli::jsonType(body.root()) != TJSON_TYPE_OBJECT) {
    sendJson(res, 400,
             errorBody("the body must be a JSON object: {\"lux\":..,\"illuminant\":..,"
                       "\"scene\":..}"));
    return;
  }
  Parsed parsed;
  TJsonValue_forEachMember(body.root(), visitMember, &parsed);
  if (!parsed.error.empty()) {
    sendJson(res, 400, errorBody(parsed.error));
    return;
  }
  // The driver checks the ranges; what was applied before a refusal is put back.
  std::vector<Change> before;
  for (const Change &change : parsed.changes) {
    double old = 0;
    TDriverScene_get(driver, change.name, &old);
    if (const uint32_t refused = TDriverScene_set(driver, change.name, change.value);
        refused != TCOMMON_SUCCESS) {
      for (auto it = before.rbegin(); it != before.rend(); ++it)
        TDriverScene_set(driver, it->name, it->value);
      if (refused == TCOMMON_NOT_FOUND && change.name == std::string_view("scene"))
        sendJson(res, 409,
                 errorBody("no frame has been injected yet: upload one with PUT /api/frame"));
      else
        sendJson(res, 400, errorBody(rangeOf(change.name)));
      return;
    }
    before.push_back({change.name, old});
  }
  sendJson(res, 200, sceneBody(driver));
}

}  // namespace

void addLabRoutes(std::vector<Route> &routes, Instance *instance) {
  const RouteRule noBody{};
  const RouteRule jsonBody{{kJson}};
  routes.push_back({"GET", "/api/scene", false, noBody, false,
                    [instance](const HttpRequest &, HttpResponse &res) {
                      sendJson(res, 200, sceneBody(instance->driver()));
                    }});
  routes.push_back({"PUT", "/api/scene", false, jsonBody, false,
                    [instance](const HttpRequest &req, HttpResponse &res) {
                      putScene(instance->driver(), req, res);
                    }});
  routes.push_back({"GET", "/api/control", false, noBody, false,
                    [instance](const HttpRequest &, HttpResponse &res) {
                      sendJson(res, 200, controlBody(instance->driver()));
                    }});
}

}  // namespace tshell_server
