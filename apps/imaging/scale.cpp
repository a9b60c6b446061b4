// Area-average scaling for previews: each output pixel is the mean of the source area it
// covers, with partial pixels at its edges weighted by how much of them it covers, so that
// fine patterns (a Bayer mosaic, noise) average out instead of aliasing.
#include <algorithm>
#include <cmath>

#include "imaging.h"

namespace imaging {
namespace {

// For each output index, the source indices it covers and their weights.
struct Span {
  int first = 0;
  std::vector<float> weights;
};

std::vector<Span> spans(int source, int target) {
  std::vector<Span> result(target);
  const double step = double(source) / target;
  for (int i = 0; i < target; ++i) {
    const double begin = i * step, end = (i + 1) * step;
    Span &span = result[i];
    span.first = static_cast<int>(std::floor(begin));
    const int last = std::min(source - 1, static_cast<int>(std::ceil(end)) - 1);
    for (int s = span.first; s <= last; ++s) {
      const double cover = std::min(end, s + 1.0) - std::max(begin, double(s));
      span.weights.push_back(static_cast<float>(cover / step));
    }
  }
  return result;
}

template <typename Sample>
void scale(const std::vector<Sample> &in, int width, int height, int channels, int outWidth,
           int outHeight, std::vector<Sample> &out) {
  const std::vector<Span> columns = spans(width, outWidth), rows = spans(height, outHeight);
  const size_t inStride = size_t(width) * channels;
  out.assign(size_t(outWidth) * outHeight * channels, 0);
  std::vector<float> line(inStride);
  for (int y = 0; y < outHeight; ++y) {
    std::fill(line.begin(), line.end(), 0.0f);
    const Span &rowSpan = rows[y];
    for (size_t k = 0; k < rowSpan.weights.size(); ++k) {
      const Sample *src = &in[size_t(rowSpan.first + k) * inStride];
      const float w = rowSpan.weights[k];
      for (size_t i = 0; i < inStride; ++i) line[i] += w * src[i];
    }
    Sample *dst = &out[size_t(y) * outWidth * channels];
    for (int x = 0; x < outWidth; ++x) {
      const Span &columnSpan = columns[x];
      for (int c = 0; c < channels; ++c) {
        float sum = 0;
        for (size_t k = 0; k < columnSpan.weights.size(); ++k)
          sum += columnSpan.weights[k] * line[(columnSpan.first + k) * channels + c];
        dst[x * channels + c] = static_cast<Sample>(std::lround(sum));
      }
    }
  }
}

}  // namespace

Picture scaleToWidth(const Picture &picture, int width) {
  if (width <= 0 || width >= picture.width) return picture;
  Picture result;
  result.width = width;
  result.height =
      std::max(1, static_cast<int>(std::lround(double(picture.height) * width / picture.width)));
  result.channels = picture.channels;
  result.bits = picture.bits;
  result.linear = picture.linear;
  if (picture.bits == 16)
    scale(picture.data16, picture.width, picture.height, picture.channels, result.width,
          result.height, result.data16);
  else
    scale(picture.data8, picture.width, picture.height, picture.channels, result.width,
          result.height, result.data8);
  return result;
}

}  // namespace imaging
