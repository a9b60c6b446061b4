// Frames of the camera from the command line: --inject FILE hands the camera a picture or raw
// file before the requests, --frame FILE and --raw FILE write the current frame of a stage
// and the raw frame after them, through a shell in this process or a tuning server.
#ifndef TSHELL_CLI_FRAMES_H
#define TSHELL_CLI_FRAMES_H

#include <memory>
#include <string>

#include "t_driver.h"

namespace tshell_cli {

struct FrameOptions {
  std::string frame;  // write the frame of stage here: JPEG for .jpg/.jpeg, PNG otherwise
  std::string stage = "output";
  std::string raw;     // write the raw frame here: 16-bit PNG for .png, DNG otherwise
  std::string inject;  // picture or camera raw file to inject first
};

// getopt_long codes of --frame, --stage, --raw and --inject, the same in both modes of the
// program, and what each sets.
inline constexpr int kOptionFrame = 300;
inline constexpr int kOptionStage = 301;
inline constexpr int kOptionRaw = 302;
inline constexpr int kOptionInject = 303;
// true when code is one of them, after taking its argument into *options.
bool takeFrameOption(int code, const char *argument, FrameOptions *options);

// Where frames come from and go to.
class FrameLink {
 public:
  virtual ~FrameLink() = default;
  // The encoded file of a stage's frame (png: PNG, else JPEG).
  virtual bool frame(const std::string &stage, bool png, std::string *bytes,
                     std::string *error) = 0;
  // The raw frame as a file (png: 16-bit PNG, else DNG); refused while "IPT" "isRaw" is off.
  virtual bool raw(bool png, std::string *bytes, std::string *error) = 0;
  // Injects a picture or raw file; *summary: its size and kind.
  virtual bool inject(const std::string &data, std::string *summary, std::string *error) = 0;
};

// The camera of a driver in this process; nullptr with *error when this build has no picture
// files (a cross build).
std::unique_ptr<FrameLink> localFrameLink(TDriver *driver, std::string *error);

// --inject, when given: reads the file and injects it. false with *error (one line).
bool injectBefore(FrameLink *link, const FrameOptions &options, std::string *error);
// --frame and --raw, when given.
bool writeAfter(FrameLink *link, const FrameOptions &options, std::string *error);

}  // namespace tshell_cli

#endif  // TSHELL_CLI_FRAMES_H
