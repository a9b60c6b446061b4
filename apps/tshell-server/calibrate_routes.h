// Routes of the calibration tool: the black level, lens shading, colour matrix and white
// points of the sensor module, computed from raw frames of the simulated camera or from raw
// files the client uploaded, with the shell requests that apply each result.
#ifndef TSHELL_SERVER_CALIBRATE_ROUTES_H
#define TSHELL_SERVER_CALIBRATE_ROUTES_H

#include <cstddef>
#include <vector>

#include "http_server.h"
#include "instance.h"

namespace tshell_server {

struct CalibrateRouteOptions {
  size_t maxUpload = 64u << 20;  // largest raw file PUT /api/calibrate/captures takes
  size_t maxCaptures = 8;        // captures kept at once
};

// POST /api/calibrate: {"kind":"black"|"shading"|"colour"|"white","source":"twin"|"uploads",
//   "frames":1..16,"illuminant":K,"illuminants":[K,..],"gains":[G,..]}. From the camera, the
//   scene is set for the capture (lens cap, flat field, the chart under each light), the raw
//   frames are taken and the scene is put back as it was; the computation holds no lock.
//   200: the figures, the calibration file, the settings fragment and "apply" (the shell
//   requests that apply the result). 400 a bad body, 409 missing or mismatched captures or
//   another calibration running, 422 the captures refused (the reason in "error").
// PUT /api/calibrate/captures?name=N: one raw file (415 when it is not raw; 409 when full).
// GET /api/calibrate/captures: [{"name","width","height"},..]. DELETE: forgets them all.
void addCalibrateRoutes(std::vector<Route> *routes, Instance *instance,
                        const CalibrateRouteOptions &options);

}  // namespace tshell_server

#endif  // TSHELL_SERVER_CALIBRATE_ROUTES_H
