// "OPT": the output paths of the ISP and the snapshot size. The buffer length, the enable
// switch and the format of a path are stored only: they reach the hardware with the next
// push that another key of this category causes, which sends the whole record.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseOutput;
using Path = TDatabaseOutputPath;

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverOutput_process, SHELL_SITE);
}

constexpr tshell::Selection kPath = SHELL_SELECTION("pathIndex", pathIndex, paths);

constexpr KeyRow kKeys[] = {
    tshell::indexKey(
        kPath, {"pathIndex", Access::Integer, SHELL_FIELD(pathIndex), nullptr, after,
                "Output path, 0 to 3, that the \":\" keys address (0 main, 1 self, 2 raw, 3 spare "
                "as shipped); an index outside is refused. Writing pushes the output record."}),
    tshell::inEntry(kPath, {":bayerPattern", Access::Integer, SHELL_FIELD_OF(Path, bayerPattern),
                            nullptr, after,
                            "Colour filter order of a raw output on the selected path: 0 RGGB, 1 "
                            "GRBG, 2 GBRG, 3 BGGR. Writing pushes the output record."}),
    tshell::inEntry(
        kPath,
        {":bitsIndex", Access::Integer, SHELL_FIELD_OF(Path, bitsIndex), nullptr, after,
         "Bit-depth code of the selected path's samples (0 on the 8-bit YUV paths, 2 on the raw "
         "path as shipped); the codes belong to the driver. Writing pushes the output record."}),
    tshell::inEntry(
        kPath,
        {":bufferLength", Access::Integer, SHELL_FIELD_OF(Path, bufferLength), nullptr, nullptr,
         "Output buffer size of the selected path in bytes (1.5 bytes a pixel for YUV 4:2:0 as "
         "shipped). Stored only: it reaches the hardware with the next push of another OPT key."}),
    tshell::inEntry(
        kPath, {":isEnable", Access::Bool, SHELL_FIELD_OF(Path, isEnable), nullptr, nullptr,
                "Whether the selected path delivers frames (main and self paths as shipped). "
                "Stored only: it reaches the hardware with the next push of another OPT key."}),
    tshell::inEntry(kPath,
                    {":format", Access::Integer, SHELL_FIELD_OF(Path, format), nullptr, nullptr,
                     "Output format code of the selected path (0 YUV 4:2:0 on the main and self "
                     "paths, 3 on the raw path as shipped). Stored only: it reaches the hardware "
                     "with the next push of another OPT key."}),
    tshell::inEntry(
        kPath,
        {":rectangle.height", Access::Integer, SHELL_FIELD_OF(Path, rectangle.height), nullptr,
         after, "Output height of the selected path in lines. Writing pushes the output record."}),
    tshell::inEntry(
        kPath,
        {":rectangle.width", Access::Integer, SHELL_FIELD_OF(Path, rectangle.width), nullptr, after,
         "Output width of the selected path in pixels. Writing pushes the output record."}),
    {"snapshotNumber", Access::Integer, SHELL_FIELD(snapshotNumber), nullptr, after,
     "Frames a snapshot captures (1 as shipped). Writing pushes the output record."},
};

constexpr tshell::About kAbout = {
    "Output paths",
    "The ISP's four output paths (format, bit depth, Bayer order, window) and the number of frames "
    "a snapshot takes. As shipped the main path delivers 1080p and the self path a 720p preview, "
    "both 8-bit YUV 4:2:0; the raw and spare paths are off. The simulated camera renders its own "
    "8-bit sRGB output and does not read this record."};

}  // namespace

SHELL_CATEGORY(TShellOutput_process, "OPT", kKeys, kAbout);
