// The camera of the in-process driver as frame files, through the imaging library.
#include "frames.h"

#include "driver_frames.h"
#include "imaging.h"

namespace tshell_cli {
namespace {

constexpr int kJpegQuality = 85;

using imaging::Frame;

bool take(TDriver *driver, const std::string &stage, Frame *frame, std::string *error) {
  const uint32_t code = TDriverFrame_get(driver, stage.c_str(), &frame->image);
  if (code == TCOMMON_SUCCESS) return true;
  if (code == TCOMMON_NOT_FOUND)
    *error = "the camera has no stage '" + stage +
             "': use raw, output or a block's category such as BLS or DMSC_3";
  else if (code == TCOMMON_NOT_INITIALIZED)
    *error = "the ISP is off: start streaming first (--stream)";
  else
    *error = std::string("the camera failed: ") + TCommonError_text(code);
  return false;
}

class LocalFrameLink : public FrameLink {
 public:
  explicit LocalFrameLink(TDriver *driver) : driver_(driver) {}

  bool frame(const std::string &stage, bool png, std::string *bytes, std::string *error) override {
    Frame frame;
    if (!take(driver_, stage, &frame, error)) return false;
    const imaging::Picture picture = imaging::viewable(frame.image);
    return png ? imaging::encodePng(picture, bytes, error)
               : imaging::encodeJpeg(picture, kJpegQuality, bytes, error);
  }

  bool raw(bool png, std::string *bytes, std::string *error) override {
    TDriverStatus status{};
    if (TDriver_status(driver_, &status) != TCOMMON_SUCCESS || status.isRaw == 0) {
      *error = "raw capture is off: write true to \"IPT\" \"isRaw\" first";
      return false;
    }
    Frame frame;
    if (!take(driver_, "raw", &frame, error)) return false;
    return png ? imaging::encodePng(imaging::mosaicPicture(frame.image), bytes, error)
               : imaging::encodeDng(imaging::rawFrameOf(driver_, frame.image), bytes, error);
  }

  bool inject(const std::string &data, std::string *summary, std::string *error) override {
    int width = 0, height = 0;
    std::string kind;
    if (imaging::injectFile(driver_, data, &width, &height, &kind, error) != 200) return false;
    *summary = std::to_string(width) + " x " + std::to_string(height) + " " + kind;
    return true;
  }

 private:
  TDriver *driver_;
};

}  // namespace

std::unique_ptr<FrameLink> localFrameLink(TDriver *driver, std::string *) {
  return std::make_unique<LocalFrameLink>(driver);
}

}  // namespace tshell_cli
