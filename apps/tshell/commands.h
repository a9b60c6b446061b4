// The subcommands of tshell for a person at a terminal, in the manner of v4l2-ctl:
//   tshell [OPTION]... list [CATEGORY]
//   tshell [OPTION]... get CATEGORY [KEY]...
//   tshell [OPTION]... set CATEGORY KEY=VALUE...
//   tshell [OPTION]... schema
//   tshell [OPTION]... completion bash
// against a shell in this process or, with --connect, a tuning server.
#ifndef TSHELL_CLI_COMMANDS_H
#define TSHELL_CLI_COMMANDS_H

namespace tshell_cli {

// True when the first argument that is neither an option nor an option's value names a
// subcommand; otherwise the tool reads JSON-lines requests.
bool isCommandLine(int argc, char **argv);

// Runs the subcommand of the command line; returns the exit status.
int runCommandLine(int argc, char **argv);

}  // namespace tshell_cli

#endif  // TSHELL_CLI_COMMANDS_H
