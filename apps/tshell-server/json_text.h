// Small helpers for the JSON texts the server writes itself (errors, journal pages).
#ifndef TSHELL_SERVER_JSON_TEXT_H
#define TSHELL_SERVER_JSON_TEXT_H

#include <cstdio>
#include <string>
#include <string_view>

namespace tshell_server {

// Appends text as a JSON string. Bytes from 0x80 up are copied as they are: the texts
// the server quotes are ASCII or already UTF-8.
inline void appendJsonString(std::string *out, std::string_view text) {
  out->push_back('"');
  for (const char c : text) {
    switch (c) {
      case '"':
        out->append("\\\"");
        break;
      case '\\':
        out->append("\\\\");
        break;
      case '\n':
        out->append("\\n");
        break;
      case '\r':
        out->append("\\r");
        break;
      case '\t':
        out->append("\\t");
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
          out->append(escape);
        } else {
          out->push_back(c);
        }
    }
  }
  out->push_back('"');
}

// {"error":"<text>"}
inline std::string errorBody(std::string_view text) {
  std::string body = "{\"error\":";
  appendJsonString(&body, text);
  body.push_back('}');
  return body;
}

}  // namespace tshell_server

#endif  // TSHELL_SERVER_JSON_TEXT_H
