// "TL": the tiling of the image into a grid. Stored only; the pipeline set-up reads it.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseTile;

constexpr KeyRow kKeys[] = {
    {"joint", Access::Integer, SHELL_FIELD(joint), nullptr, nullptr},
    {"numberX", Access::Integer, SHELL_FIELD(numberX), nullptr, nullptr},
    {"numberY", Access::Integer, SHELL_FIELD(numberY), nullptr, nullptr},
    {"operation", Access::Integer, SHELL_FIELD(operation), nullptr, nullptr},
};

constexpr tshell::About kAbout = {"Tiling", nullptr};

}  // namespace

SHELL_CATEGORY(TShellTile_process, "TL", kKeys, kAbout);
