// "FC": the lens focus motor. Unlike the other blocks, reading "state" reads the
// motor back first: a client polls it to see when the lens has settled.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseFocusControl;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverFocusControl_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverFocusControl_process, SHELL_SITE);
}

constexpr KeyRow kKeys[] = {
    {"state", Access::Integer, SHELL_FIELD(state), before, after},
    {"mode", Access::Integer, SHELL_FIELD(mode), before, after},
    {"position", Access::Integer, SHELL_FIELD(position), before, after},
};

constexpr tshell::About kAbout = {"Focus motor", nullptr};

}  // namespace

SHELL_CATEGORY(TShellFocusControl_process, "FC", kKeys, kAbout);
