// --inject, --frame and --raw: the files on this side of a frame link.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "frames.h"

namespace tshell_cli {
namespace {

bool endsWith(const std::string &text, const char *end) {
  const size_t size = strlen(end);
  if (text.size() < size) return false;
  for (size_t i = 0; i < size; ++i) {
    if (tolower(static_cast<unsigned char>(text[text.size() - size + i])) != end[i]) return false;
  }
  return true;
}

bool writeFile(const std::string &path, const std::string &bytes, std::string *error) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (out) out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (out) out.close();
  if (!out) {
    *error = "cannot write " + path + ": " + strerror(errno);
    return false;
  }
  return true;
}

}  // namespace

#ifndef TSHELL_CLI_FRAMES
std::unique_ptr<FrameLink> localFrameLink(TDriver *, std::string *error) {
  *error =
      "this tshell was built without picture files: --frame, --raw and --inject need "
      "--connect";
  return nullptr;
}
#endif

bool injectBefore(FrameLink *link, const FrameOptions &options, std::string *error) {
  if (options.inject.empty()) return true;
  std::ifstream in(options.inject, std::ios::binary);
  if (!in) {
    *error = "cannot read " + options.inject + ": " + strerror(errno);
    return false;
  }
  std::ostringstream data;
  data << in.rdbuf();
  std::string summary;
  if (!link->inject(data.str(), &summary, error)) {
    *error = options.inject + ": " + *error;
    return false;
  }
  return true;
}

bool writeAfter(FrameLink *link, const FrameOptions &options, std::string *error) {
  std::string bytes;
  if (!options.frame.empty()) {
    const bool jpeg = endsWith(options.frame, ".jpg") || endsWith(options.frame, ".jpeg");
    if (!link->frame(options.stage, !jpeg, &bytes, error) ||
        !writeFile(options.frame, bytes, error))
      return false;
  }
  if (!options.raw.empty()) {
    if (!link->raw(endsWith(options.raw, ".png"), &bytes, error) ||
        !writeFile(options.raw, bytes, error))
      return false;
  }
  return true;
}

bool takeFrameOption(int code, const char *argument, FrameOptions *options) {
  std::string *const target = code == kOptionFrame    ? &options->frame
                              : code == kOptionStage  ? &options->stage
                              : code == kOptionRaw    ? &options->raw
                              : code == kOptionInject ? &options->inject
                                                      : nullptr;
  if (target == nullptr) return false;
  *target = argument;
  return true;
}

}  // namespace tshell_cli
