// The server's HTTP routes: the JSON API under /api/, the event stream, the health check
// and the embedded tuning client. Who may call them is decided by the request policy
// (policy.h), which every route passes through; a route only says what body it takes.
#ifndef TSHELL_SERVER_ROUTES_H
#define TSHELL_SERVER_ROUTES_H

#include <vector>

#include "events.h"
#include "http_server.h"
#include "instance.h"

namespace tshell_server {

// instance and events must outlive the server.
std::vector<Route> makeRoutes(Instance *instance, EventHub *events);

}  // namespace tshell_server

#endif  // TSHELL_SERVER_ROUTES_H
