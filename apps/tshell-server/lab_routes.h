// Routes of the lab controls: the scene the simulated camera looks at (brightness, light,
// what is in front of it) and the state of the camera's control loop, for testing exposure,
// white balance and focus from the client.
#ifndef TSHELL_SERVER_LAB_ROUTES_H
#define TSHELL_SERVER_LAB_ROUTES_H

#include <vector>

#include "http_server.h"
#include "instance.h"

namespace tshell_server {

// GET /api/scene: {"lux":L,"illuminant":K,"scene":"chart"|"flat"|"injected"}.
// PUT /api/scene: a JSON object with any of those members; all are checked before any is
// applied, and a bad one (unknown, wrong type, out of range) answers 400 with nothing changed.
// Answers the scene as it then is.
// GET /api/control: the control loop's state (exposure, white balance, focus).
void addLabRoutes(std::vector<Route> &routes, Instance *instance);

}  // namespace tshell_server

#endif  // TSHELL_SERVER_LAB_ROUTES_H
