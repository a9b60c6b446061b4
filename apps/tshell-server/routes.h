// The server's HTTP routes: the JSON API under /api/, the event stream, the health check
// and the embedded tuning client.
#ifndef TSHELL_SERVER_ROUTES_H
#define TSHELL_SERVER_ROUTES_H

#include <httplib.h>

#include <cstddef>
#include <string>

#include "events.h"
#include "instance.h"

namespace tshell_server {

struct RouteOptions {
  std::string token;  // empty: no token needed
  size_t maxRequest = 0;
};

// instance and events must outlive the server.
void installRoutes(httplib::Server *server, Instance *instance, EventHub *events,
                   const RouteOptions &options);

}  // namespace tshell_server

#endif  // TSHELL_SERVER_ROUTES_H
