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
    tshell::indexKey(kPath, {"pathIndex", Access::Integer, SHELL_FIELD(pathIndex), nullptr, after}),
    tshell::inEntry(kPath, {":bayerPattern", Access::Integer, SHELL_FIELD_OF(Path, bayerPattern),
                            nullptr, after}),
    tshell::inEntry(
        kPath, {":bitsIndex", Access::Integer, SHELL_FIELD_OF(Path, bitsIndex), nullptr, after}),
    tshell::inEntry(kPath, {":bufferLength", Access::Integer, SHELL_FIELD_OF(Path, bufferLength),
                            nullptr, nullptr}),
    tshell::inEntry(kPath,
                    {":isEnable", Access::Bool, SHELL_FIELD_OF(Path, isEnable), nullptr, nullptr}),
    tshell::inEntry(kPath,
                    {":format", Access::Integer, SHELL_FIELD_OF(Path, format), nullptr, nullptr}),
    tshell::inEntry(kPath, {":rectangle.height", Access::Integer,
                            SHELL_FIELD_OF(Path, rectangle.height), nullptr, after}),
    tshell::inEntry(kPath, {":rectangle.width", Access::Integer,
                            SHELL_FIELD_OF(Path, rectangle.width), nullptr, after}),
    {"snapshotNumber", Access::Integer, SHELL_FIELD(snapshotNumber), nullptr, after},
};

constexpr tshell::About kAbout = {"Output paths", nullptr};

}  // namespace

SHELL_CATEGORY(TShellOutput_process, "OPT", kKeys, kAbout);
