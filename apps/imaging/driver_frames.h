// The simulated camera's frames (TDriverImage) as pictures and raw frames, and files as frames
// to inject: what the tuning server and the command-line tool share.
#ifndef TSHELL_IMAGING_DRIVER_FRAMES_H
#define TSHELL_IMAGING_DRIVER_FRAMES_H

#include <string>
#include <vector>

#include "imaging.h"
#include "t_driver.h"

namespace imaging {

// A frame of the driver (TDriverFrame_get) that releases itself.
struct Frame {
  TDriverImage image{};
  Frame() = default;
  Frame(const Frame &) = delete;
  Frame &operator=(const Frame &) = delete;
  ~Frame() { TDriverImage_release(&image); }
};

// An 8-bit picture to look at: a mosaic as grey, black level to white level; linear RGB with
// the sRGB curve; encoded RGB as it is.
Picture viewable(const TDriverImage &image);

// The values of the stage at (x, y), which must lie in the frame: one code for a mosaic, R, G, B
// otherwise (16-bit, or 8-bit for the output).
std::vector<double> valuesAt(const TDriverImage &image, int x, int y);
// The filter colour of a mosaic site: TDRIVER_CFA_RED .. TDRIVER_CFA_INFRARED.
uint8_t colourAt(const TDriverImage &mosaic, int x, int y);
// "R", "Gr", "Gb", "B" or "IR": the colour of a mosaic site.
const char *colourName(const TDriverImage &mosaic, int x, int y);

// The camera model our raw frames (and the DNG files made of them) name.
constexpr char kSimulatedCameraModel[] = "tshell simulated camera";

// The raw frame of a mosaic, for DNG: its codes, pattern and levels; asShotNeutral from the
// white balance the driver holds (the neutral the gains make grey), the colour matrix that of
// the simulated sensor's filters.
RawFrame rawFrameOf(TDriver *driver, const TDriverImage &mosaic);
// The mosaic's codes as a 16-bit grey picture.
Picture mosaicPicture(const TDriverImage &mosaic);

// A decoded file as a frame to inject. The image points into storage, which must outlive it.
// A raw frame with different black levels per colour is brought to the highest of them (the
// others' sites are raised by the difference), since a frame carries one pedestal.
TDriverImage injectable(const Decoded &decoded, std::vector<uint16_t> *storage);

// Reads a file and hands it to the camera (TDriverFrame_inject). status: 200 done, 415 not a
// picture or raw file, 400 corrupt or too large, 500 driver failure; *error says why.
// kind: "raw" or "picture".
int injectFile(TDriver *driver, const std::string &data, int *width, int *height, std::string *kind,
               std::string *error);

}  // namespace imaging

#endif  // TSHELL_IMAGING_DRIVER_FRAMES_H
