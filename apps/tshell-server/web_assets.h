// The tuning client's files, embedded into the server when it is built.
#ifndef TSHELL_SERVER_WEB_ASSETS_H
#define TSHELL_SERVER_WEB_ASSETS_H

#include <cstddef>
#include <string_view>

namespace tshell_server {

struct WebAsset {
  const char *path;  // from the web root, with a leading '/': "/index.html"
  const char *contentType;
  const unsigned char *data;
  size_t size;
};

// The embedded file served at path, or null.
const WebAsset *findWebAsset(std::string_view path);

}  // namespace tshell_server

#endif  // TSHELL_SERVER_WEB_ASSETS_H
