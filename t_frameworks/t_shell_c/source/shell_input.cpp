// "IPT": the image input. Besides the frame rate and the three input paths, this is where
// a client starts and stops streaming and switches frame injection and raw capture: the
// only keys of the shell that drive the ISP's stream control.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseInput;
using Path = TDatabaseInputPath;

// Switching on programs every block and then starts the sensor; switching off stops the
// sensor and then releases the ISP. A failed step stops the sequence: a stream that could
// not be initialised is never started.
uint32_t stream(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  const uint8_t isStream = static_cast<Record *>(record)->isStream;
  uint32_t code = TCOMMON_SUCCESS;
  if (isStream != 0 && (code = TDriver_init(shell->driver, isStream)) != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  if ((code = TDriver_stream(shell->driver, isStream)) != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  if (isStream == 0 && (code = TDriver_deinit(shell->driver)) != TCOMMON_SUCCESS) {
    SHELL_TRACE(code);
    return code;
  }
  return TCOMMON_SUCCESS;
}

uint32_t inject(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  const uint32_t code = TDriver_inject(shell->driver, static_cast<Record *>(record)->isInject);
  if (code != TCOMMON_SUCCESS) SHELL_TRACE(code);
  return code;
}

uint32_t raw(TShell *shell, void *record) {
  if (shell->readFlag) return TCOMMON_SUCCESS;
  const uint32_t code = TDriver_raw(shell->driver, static_cast<Record *>(record)->isRaw);
  if (code != TCOMMON_SUCCESS) SHELL_TRACE(code);
  return code;
}

constexpr tshell::Selection kPath = SHELL_SELECTION("pathIndex", pathIndex, paths);

// Reads never ask the hardware: the record is what the input was set up with.
constexpr KeyRow kKeys[] = {
    {"framerate", Access::Float, SHELL_FIELD(framerate), nullptr, nullptr,
     "Frames per second the input delivers (30 as shipped). The server advances the simulated "
     "camera's frames at this rate while streaming (held to 1..240), and auto exposure keeps the "
     "integration time within one frame. Stored only: it takes effect when streaming next starts."},
    tshell::indexKey(
        kPath, {"pathIndex", Access::Integer, SHELL_FIELD(pathIndex), nullptr, nullptr,
                "Input path, 0 to 2, that the \":\" keys address and that the simulated sensor "
                "uses; an index outside is refused. Path 0 is the 1080p path as shipped."}),
    tshell::inEntry(
        kPath,
        {":bayerPattern", Access::Integer, SHELL_FIELD_OF(Path, bayerPattern), nullptr, nullptr,
         "Colour filter order of the selected path: 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR (0 as shipped). "
         "The simulated sensor lays its mosaic out in this order."}),
    tshell::inEntry(
        kPath,
        {":bufferLength", Access::Integer, SHELL_FIELD_OF(Path, bufferLength), nullptr, nullptr,
         "Frame buffer size of the selected path in bytes (width x height x 2 for raw deeper than "
         "8 bits as shipped). Stored only; the simulated camera allocates its own."}),
    tshell::inEntry(kPath,
                    {":isEnable", Access::Bool, SHELL_FIELD_OF(Path, isEnable), nullptr, nullptr,
                     "Whether the selected path is in use (only path 0 as shipped). Stored only; "
                     "the simulated camera renders the path pathIndex selects."}),
    tshell::inEntry(kPath,
                    {":format", Access::Integer, SHELL_FIELD_OF(Path, format), nullptr, nullptr,
                     "Raw format code of the selected path: 0 RAW8, 1 RAW10, 2 RAW12 (as shipped), "
                     "higher codes wider. The simulated sensor delivers 10-bit data for RAW8/RAW10 "
                     "and 12-bit data from RAW12 on."}),
    tshell::inEntry(kPath,
                    {":rectangle.height", Access::Integer, SHELL_FIELD_OF(Path, rectangle.height),
                     nullptr, nullptr,
                     "Frame height of the selected path in lines (1080 on path 0 as shipped). The "
                     "simulated sensor renders this many lines, at most 3072."}),
    tshell::inEntry(
        kPath, {":rectangle.width", Access::Integer, SHELL_FIELD_OF(Path, rectangle.width), nullptr,
                nullptr,
                "Frame width of the selected path in pixels (1920 on path 0 as shipped). The "
                "simulated sensor renders this many columns, at most 4096."}),
    tshell::inEntry(
        kPath,
        {":stitchingMode", Access::Integer, SHELL_FIELD_OF(Path, stitchingMode), nullptr, nullptr,
         "How the sensor's exposures reach the path: 0 linear, a single exposure (as shipped); any "
         "other value a two-exposure (digital overlap) HDR stream, for which the simulated sensor "
         "adds the short exposure that HDR_3_2DOL merges."}),
    {"isInject", Access::Bool, SHELL_FIELD(isInject), nullptr, inject,
     "Frame injection: while true the sensor delivers the frame uploaded with PUT /api/frame or "
     "tshell --inject instead of the test chart (a raw file as it is, a picture photographed by "
     "the sensor model). Writing calls the driver at once; keep it last in its request."},
    {"isInjectLive", Access::Bool, SHELL_FIELD(isInjectLive), nullptr, nullptr,
     "With injection on, true repeats the injected frame as a live stream (every frame is made "
     "from it); false delivers it once and then shows the chart again. The driver takes it when "
     "injection or streaming is switched on: write it before isInject."},
    {"isRaw", Access::Bool, SHELL_FIELD(isRaw), nullptr, raw,
     "Raw capture: while true the sensor's Bayer frame can be taken, through GET /api/raw of the "
     "server or tshell --raw (DNG or 16-bit PNG). Writing calls the driver at once; keep it last "
     "in its request."},
    {"isStream", Access::Bool, SHELL_FIELD(isStream), nullptr, stream,
     "Streaming switch. Writing true initialises the ISP (programs every block, latches the input "
     "path and sensor mode) and starts the sensor; false stops the sensor and releases the ISP. "
     "Reading answers the last written value. Keep the write last in its request."},
    {"type", Access::Integer, SHELL_FIELD(type), nullptr, nullptr,
     "Input type code as the driver interprets it (0 as shipped). Stored only."},
};

constexpr tshell::About kAbout = {
    "Image input and streaming",
    "The ISP's image input: frame rate, three input paths (format, Bayer order, geometry, "
    "stitching) and the switches that start streaming, frame injection and raw capture. In the "
    "simulated camera the path selected by pathIndex sets the sensor's frame size, Bayer order and "
    "bit depth; it is latched when streaming starts. Reads answer what the record holds."};

}  // namespace

SHELL_CATEGORY(TShellInput_process, "IPT", kKeys, kAbout);
