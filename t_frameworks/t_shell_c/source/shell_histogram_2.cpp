// "HTG_2": the second histogram unit. Every key but "statistics" configures the unit and
// pushes it; "statistics" reads the unit back from the hardware and serves its bins.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseHistogram_2;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverHistogram_2_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverHistogram_2_process, SHELL_SITE);
}

// The measurement as the database writes it. A function of this file: its address is a
// constant the key table can be checked with in every build (also with sanitizers, where
// the address of another library's function is not).
uint32_t statistics(const void *record, TJsonValue *value) {
  return TDatabaseHistogram_2_statistics(record, value);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), nullptr, after},
    {"gridWeight", Access::Integer, SHELL_FIELD(gridWeight), nullptr, after},
    {"mode", Access::Integer, SHELL_FIELD(mode), nullptr, after},
    {"rectangle.height", Access::Integer, SHELL_FIELD(rectangle.height), nullptr, after},
    {"rectangle.offset.x", Access::Integer, SHELL_FIELD(rectangle.offset.x), nullptr, after},
    {"rectangle.offset.y", Access::Integer, SHELL_FIELD(rectangle.offset.y), nullptr, after},
    {"rectangle.width", Access::Integer, SHELL_FIELD(rectangle.width), nullptr, after},
    tshell::statisticsKey("statistics", statistics, before, nullptr),
};

constexpr tshell::About kAbout = {"Histogram v2", nullptr};

}  // namespace

SHELL_CATEGORY(TShellHistogram_2_process, "HTG_2", kKeys, kAbout);
