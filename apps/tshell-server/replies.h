// Answers the routes send: JSON bodies and errors.
#ifndef TSHELL_SERVER_REPLIES_H
#define TSHELL_SERVER_REPLIES_H

#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>

#include "http_server.h"
#include "json_text.h"

namespace tshell_server {

inline constexpr char kJson[] = "application/json";

inline void sendJson(HttpResponse &res, int status, std::string body) {
  res.status = status;
  res.contentType = kJson;
  res.body = std::move(body);
}

// {"error":"<text>"} with the status.
inline void sendError(HttpResponse &res, int status, std::string_view text) {
  sendJson(res, status, errorBody(text));
}

// A measured figure: six significant digits, null when not finite.
inline std::string figure(double value) {
  if (!std::isfinite(value)) return "null";
  char text[32];
  snprintf(text, sizeof text, "%.6g", value);
  return text;
}

}  // namespace tshell_server

#endif  // TSHELL_SERVER_REPLIES_H
