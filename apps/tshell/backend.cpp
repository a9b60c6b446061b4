#include "backend.h"

#include "t_common.h"
#include "t_database.h"
#include "t_driver.h"
#include "t_shell.h"

namespace tshell_cli {

namespace {

std::string failure(const std::string &what, uint32_t code, const char *detail = nullptr) {
  std::string text = what + ": " + TCommonError_text(code) + " (" + std::to_string(code) + ")";
  if (detail != nullptr && *detail != '\0') text += std::string(": ") + detail;
  return text;
}

class LocalBackend : public Backend {
 public:
  explicit LocalBackend(const BackendOptions &options) : options_(options) {}
  ~LocalBackend() override {
    if (shell_ != nullptr) TShell_close(&shell_);
    if (driver_ != nullptr) TDriver_close(&driver_);
    if (database_ != nullptr) TDatabase_close(&database_);
    if (logger_ != nullptr) TCommonLogger_close(&logger_);
  }

  bool open(std::string *error) {
    uint32_t code = TCommonLogger_open(&logger_);
    if (code != TCOMMON_SUCCESS) {
      *error = failure("cannot open the message logger", code);
      return false;
    }
    code = TDatabase_open(options_.database, &database_);
    if (code != TCOMMON_SUCCESS) {
      *error = failure(std::string("cannot open the database ") +
                           (options_.database != nullptr ? options_.database : "(built-in)"),
                       code, TDatabase_lastError());
      return false;
    }
    code = TDriver_open(database_, &driver_);
    if (code != TCOMMON_SUCCESS) {
      *error = failure("cannot open the driver", code);
      return false;
    }
    void *handles[3] = {database_, driver_, logger_};
    code = TShell_open(handles, &shell_);
    if (code != TCOMMON_SUCCESS) {
      *error = failure("cannot open the shell", code);
      return false;
    }
    if (options_.stream) {
      code = TDriver_init(driver_, 1);
      if (code == TCOMMON_SUCCESS) code = TDriver_stream(driver_, 1);
      if (code != TCOMMON_SUCCESS) {
        *error = failure("cannot start the simulated ISP", code);
        return false;
      }
    }
    return true;
  }

  // Requests come from the subcommands, which write them with the JSON writer: always valid.
  bool process(const std::string &request, std::string *response, std::string *error) override {
    const char *text = nullptr;
    const uint32_t code = TShell_process(shell_, request.c_str(), &text);
    if (code != TCOMMON_SUCCESS) {
      *error = failure("the shell failed", code);
      return false;
    }
    *response = text;
    return true;
  }

  bool schema(std::string *text, std::string *error) override {
    const char *schema = nullptr;
    const uint32_t code = TShell_schema(&schema);
    if (code != TCOMMON_SUCCESS) {
      *error = failure("no schema", code);
      return false;
    }
    *text = schema;
    return true;
  }

  std::unique_ptr<FrameLink> frames(std::string *error) override {
    return localFrameLink(driver_, error);
  }

  bool finish(std::string *error) override {
    if (options_.save == nullptr) return true;
    const uint32_t code = TDatabase_save(database_, options_.save);
    if (code == TCOMMON_SUCCESS) return true;
    *error = failure(std::string("cannot save the database to ") + options_.save, code,
                     TDatabase_lastError());
    return false;
  }

 private:
  BackendOptions options_;
  TCommonLogger *logger_ = nullptr;
  TDatabase *database_ = nullptr;
  TDriver *driver_ = nullptr;
  TShell *shell_ = nullptr;
};

}  // namespace

std::unique_ptr<Backend> openLocalBackend(const BackendOptions &options, std::string *error) {
  auto backend = std::make_unique<LocalBackend>(options);
  if (!backend->open(error)) return nullptr;
  return backend;
}

#ifndef TSHELL_CLI_REMOTE
std::unique_ptr<Backend> openRemoteBackend(const BackendOptions &, std::string *error) {
  *error = "this tshell was built without the HTTP client: --connect is not available";
  return nullptr;
}
#endif

}  // namespace tshell_cli
