// "TL": the tiling of the image into a grid. Stored only; the pipeline set-up reads it.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseTile;

constexpr KeyRow kKeys[] = {
    {"joint", Access::Integer, SHELL_FIELD(joint), nullptr, nullptr,
     "How neighbouring tiles are joined, as the driver codes it (0 as shipped). Stored only."},
    {"numberX", Access::Integer, SHELL_FIELD(numberX), nullptr, nullptr,
     "Tiles across the frame, 16 bits (1 as shipped). Stored only."},
    {"numberY", Access::Integer, SHELL_FIELD(numberY), nullptr, nullptr,
     "Tiles down the frame, 16 bits (1 as shipped). Stored only."},
    {"operation", Access::Integer, SHELL_FIELD(operation), nullptr, nullptr,
     "Tiling operation code for the driver (0 as shipped). Stored only."},
};

constexpr tshell::About kAbout = {
    "Tiling",
    "Tiling of the frame into a grid that the ISP processes tile by tile. As shipped the frame is "
    "one tile. The codes are stored for the driver; the simulated camera always renders the whole "
    "frame at once."};

}  // namespace

SHELL_CATEGORY(TShellTile_process, "TL", kKeys, kAbout);
