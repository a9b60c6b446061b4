// Where the subcommands of tshell send their requests: a shell in this process, over the
// built-in database (or a settings file) and the simulated ISP, or a tuning server.
#ifndef TSHELL_CLI_BACKEND_H
#define TSHELL_CLI_BACKEND_H

#include <memory>
#include <string>

#include "frames.h"

namespace tshell_cli {

struct BackendOptions {
  // Local shell.
  const char *database = nullptr;  // settings document to open, nullptr: built-in defaults
  const char *save = nullptr;      // where to save the database when done
  bool stream = false;             // start the simulated ISP first
  // Tuning server.
  const char *url = nullptr;  // http://HOST:PORT; nullptr: local shell
  const char *token = nullptr;
};

class Backend {
 public:
  virtual ~Backend() = default;
  // Runs one JSON request; false with *error when no response came back.
  virtual bool process(const std::string &request, std::string *response, std::string *error) = 0;
  // The shell's key schema (TShell_schema's text).
  virtual bool schema(std::string *text, std::string *error) = 0;
  // Ends the session (a local shell saves its database when asked to).
  virtual bool finish(std::string *error) = 0;
  // The camera's frames; nullptr with *error when they cannot be had.
  virtual std::unique_ptr<FrameLink> frames(std::string *error) = 0;
};

// nullptr with *error when the backend cannot be opened.
std::unique_ptr<Backend> openLocalBackend(const BackendOptions &options, std::string *error);
std::unique_ptr<Backend> openRemoteBackend(const BackendOptions &options, std::string *error);

}  // namespace tshell_cli

#endif  // TSHELL_CLI_BACKEND_H
