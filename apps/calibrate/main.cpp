// tshell-calibrate: calibration files and settings fragments from raw captures.
//
// Exit status: 0 written, 1 a calibration refused (or a file that cannot be read or written),
// 2 a usage error. Nothing is written unless the whole calibration succeeds: outputs go to a
// temporary file beside their place and are renamed over it at the end.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "calibrate.h"

namespace {

constexpr const char *kUsage =
    R"(Usage: tshell-calibrate COMMAND [OPTIONS] RAW... -o FILE

Calibrates a sensor module from raw captures (DNG or any camera raw file).

Commands:
  black     black level per channel from dark frames (lens covered);
            -o: a settings fragment (BLS, and the ABLS table with several gains)
  shading   lens shading grid from flat fields (averaged); -o: the LSC_3 calibration file
  colour    colour correction matrix from a 24-patch chart; -o: the CCM calibration file
  white     white-balance gains per light from the chart's grey patches;
            -o: a settings fragment (WB_1_1)

Options:
  -o FILE              where the result goes (required)
  --fragment FILE      also write the settings fragment of the result (any command)
  --gains G1,G2,...    black: the sensor gain of each file (files at one gain are averaged)
  --black R,Gr,Gb,B    black level per channel in raw codes, instead of the files' own
  --shading LSC_FILE   colour, white: apply this lens shading grid first;
                       shading: keep this file's sector sizes
  --chart X0,Y0,X1,Y1  colour, white: centres (pixels) of the top-left and bottom-right
                       patches; found in the picture if not given
  --kelvin K1,K2,...   white: colour temperature of each file;
                       colour: of the calibration light (for the report)
  --apply-kelvin K     white: the light whose gains go into WB_1_1 (default: the first)
  --help               this text

Exit status: 0 written, 1 calibration refused or a file unreadable (nothing written),
2 usage error.
)";

struct UsageError {
  std::string message;
};

struct Options {
  std::string command;
  std::vector<std::string> inputs;
  std::string output, fragment, shading;
  std::vector<double> gains, kelvins;
  std::optional<std::array<double, 4>> black;
  std::optional<calibrate::ChartPlace> chart;
  std::optional<double> applyKelvin;
};

std::vector<double> numberList(const std::string &option, const std::string &text, size_t count) {
  std::vector<double> values;
  std::stringstream stream(text);
  for (std::string item; std::getline(stream, item, ',');) {
    char *end = nullptr;
    errno = 0;
    const double value = std::strtod(item.c_str(), &end);
    if (item.empty() || *end != '\0' || errno != 0 || !std::isfinite(value))
      throw UsageError{option + ": '" + item + "' is not a number"};
    values.push_back(value);
  }
  if (values.empty() || (count > 0 && values.size() != count))
    throw UsageError{option + " takes " +
                     (count > 0 ? std::to_string(count) : std::string("one or more")) +
                     " comma-separated numbers"};
  return values;
}

Options parseArguments(int argc, char **argv) {
  Options options;
  std::vector<std::string> args(argv + 1, argv + argc);
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string &arg = args[i];
    const auto value = [&]() -> const std::string & {
      if (i + 1 >= args.size()) throw UsageError{arg + " needs a value"};
      return args[++i];
    };
    if (arg == "--help" || arg == "-h") {
      options.command = "help";
      return options;
    } else if (arg == "-o") {
      options.output = value();
    } else if (arg == "--fragment") {
      options.fragment = value();
    } else if (arg == "--gains") {
      options.gains = numberList(arg, value(), 0);
    } else if (arg == "--black") {
      const auto levels = numberList(arg, value(), 4);
      options.black = std::array<double, 4>{levels[0], levels[1], levels[2], levels[3]};
    } else if (arg == "--shading") {
      options.shading = value();
    } else if (arg == "--chart") {
      const auto place = numberList(arg, value(), 4);
      options.chart = calibrate::ChartPlace{place[0], place[1], place[2], place[3]};
    } else if (arg == "--kelvin") {
      options.kelvins = numberList(arg, value(), 0);
    } else if (arg == "--apply-kelvin") {
      options.applyKelvin = numberList(arg, value(), 1)[0];
    } else if (arg.size() > 1 && arg[0] == '-') {
      throw UsageError{"unknown option " + arg};
    } else if (options.command.empty()) {
      options.command = arg;
    } else {
      options.inputs.push_back(arg);
    }
  }
  if (options.command.empty()) throw UsageError{"no command given"};
  if (options.command != "black" && options.command != "shading" && options.command != "colour" &&
      options.command != "white")
    throw UsageError{"unknown command '" + options.command + "'"};
  if (options.inputs.empty()) throw UsageError{"no raw file given"};
  if (options.output.empty()) throw UsageError{"no output file given (-o FILE)"};
  if (!options.gains.empty() && options.command != "black")
    throw UsageError{"--gains is for black"};
  if (!options.gains.empty() && options.gains.size() != options.inputs.size())
    throw UsageError{"--gains gives " + std::to_string(options.gains.size()) + " gains for " +
                     std::to_string(options.inputs.size()) + " files"};
  if (options.command == "colour" && options.inputs.size() != 1)
    throw UsageError{"colour takes one chart capture"};
  if (options.command == "white" && options.kelvins.size() != options.inputs.size())
    throw UsageError{"white needs --kelvin with one colour temperature per file"};
  if (options.command == "colour" && options.kelvins.size() > 1)
    throw UsageError{"colour takes one --kelvin (the calibration light)"};
  if ((options.black || !options.shading.empty()) && options.command == "black")
    throw UsageError{"--black and --shading are for shading, colour and white"};
  if ((options.chart || options.applyKelvin) && options.command != "colour" &&
      options.command != "white")
    throw UsageError{"--chart and --apply-kelvin are for colour and white"};
  return options;
}

// Thrown for a file that cannot be read or written, and for a refused calibration.
struct Refusal {
  std::string message;
};

std::string readFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Refusal{path + ": " + std::strerror(errno)};
  std::stringstream data;
  data << in.rdbuf();
  return data.str();
}

// Outputs written to temporary files first, renamed into place together at the end.
class Outputs {
 public:
  ~Outputs() {
    for (const auto &[temporary, path] : pending_) std::remove(temporary.c_str());
  }
  void add(const std::string &path, const std::string &text) {
    if (path.empty()) return;
    const std::string temporary = path + ".tmp-calibrate";
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) {
      std::remove(temporary.c_str());
      throw Refusal{path + ": cannot write (" + std::strerror(errno) + ")"};
    }
    pending_.push_back({temporary, path});
  }
  void commit() {
    for (const auto &[temporary, path] : pending_)
      if (std::rename(temporary.c_str(), path.c_str()) != 0)
        throw Refusal{path + ": cannot write (" + std::strerror(errno) + ")"};
    pending_.clear();
  }

 private:
  std::vector<std::pair<std::string, std::string>> pending_;
};

// One line of a report, printf-formatted.
template <typename... Args>
void line(const char *format, Args... args) {
  char text[256];
  std::snprintf(text, sizeof text, format, args...);
  std::cout << text << "\n";
}

std::string fixed(double value, int decimals) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

void check(bool ok, const std::string &error) {
  if (!ok) throw Refusal{error};
}

std::vector<calibrate::Capture> loadAll(const std::vector<std::string> &paths) {
  std::vector<calibrate::Capture> captures(paths.size());
  std::string error;
  for (size_t i = 0; i < paths.size(); ++i)
    check(calibrate::loadCapture(readFile(paths[i]), paths[i], &captures[i], &error), error);
  return captures;
}

std::optional<calibrate::ShadingGrid> shadingOf(const Options &options) {
  if (options.shading.empty()) return std::nullopt;
  calibrate::ShadingGrid grid;
  std::string error;
  check(calibrate::parseShadingFile(readFile(options.shading), &grid, &error),
        options.shading + ": " + error);
  return grid;
}

std::string describe(const calibrate::Capture &capture) {
  const auto &raw = capture.raw;
  std::string model = raw.cameraModel.empty() ? "an unnamed camera" : raw.cameraModel;
  return model + ", " + std::to_string(raw.width) + " x " + std::to_string(raw.height) + ", " +
         std::to_string(calibrate::bitDepthOf(raw)) + " bits";
}

void runBlack(const Options &options, Outputs &outputs) {
  const auto captures = loadAll(options.inputs);
  calibrate::BlackResult result;
  std::string error;
  check(calibrate::calibrateBlack(captures, options.gains, &result, &error), error);
  std::cout << "Black level of " << describe(captures.front()) << " (raw codes)\n";
  line("%-8s %-7s %-8s %8s %8s", "gain", "frames", "channel", "level", "noise");
  for (const auto &point : result.points)
    for (int c = 0; c < 4; ++c)
      line("%-8s %-7s %-8s %8.2f %8.2f", c == 0 ? fixed(point.gain, 2).c_str() : "",
           c == 0 ? std::to_string(point.frames).c_str() : "", calibrate::kChannelNames[c],
           point.channel[c].level, point.channel[c].noise);
  const std::string fragment = calibrate::blackFragment(result);
  outputs.add(options.output, fragment);
  outputs.add(options.fragment, fragment);
}

void runShading(const Options &options, Outputs &outputs) {
  const auto captures = loadAll(options.inputs);
  calibrate::ShadingOptions shading;
  shading.sectors = shadingOf(options);
  shading.black = options.black;
  calibrate::ShadingResult result;
  std::string error;
  check(calibrate::calibrateShading(captures, shading, &result, &error), error);
  std::cout << "Lens shading of " << describe(captures.front()) << ", " << captures.size()
            << " flat field(s)\n";
  line("%-8s %8s %8s %14s %11s %13s", "channel", "centre", "noise", "corner/centre", "after grid",
       "largest gain");
  for (int c = 0; c < 4; ++c) {
    const auto &gains = result.grid.matrix[c];
    const int largest = *std::max_element(gains.begin(), gains.end());
    line("%-8s %8.1f %8.2f %14.3f %11.3f %13.3f", calibrate::kChannelNames[c],
         result.centreLevel[c], result.centreNoise[c], result.cornerToCentreBefore[c],
         result.cornerToCentreAfter[c], largest / double(calibrate::kUnityGain));
  }
  const std::vector<std::string> header = {
      "Lens shading of " + describe(captures.front()) + " from " + std::to_string(captures.size()) +
          " flat field(s), by tshell-calibrate.",
      "Per Bayer channel a 33 x 33 grid of gains (1024 = 1.0), unity at the centre.",
      "Corner/centre before: R " + fixed(result.cornerToCentreBefore[0], 3) + ", Gr " +
          fixed(result.cornerToCentreBefore[1], 3) + ", Gb " +
          fixed(result.cornerToCentreBefore[2], 3) + ", B " +
          fixed(result.cornerToCentreBefore[3], 3) + "."};
  outputs.add(options.output, calibrate::shadingFile(result.grid, header));
  outputs.add(options.fragment, calibrate::shadingFragment(result));
}

// How the command line says chart captures are to be read.
calibrate::ChartOptions chartOptionsOf(const Options &options) {
  calibrate::ChartOptions chart;
  chart.chart = options.chart;
  chart.shading = shadingOf(options);
  chart.black = options.black;
  return chart;
}

void runColour(const Options &options, Outputs &outputs) {
  const auto captures = loadAll(options.inputs);
  calibrate::ColourOptions colour;
  static_cast<calibrate::ChartOptions &>(colour) = chartOptionsOf(options);
  calibrate::ColourResult result;
  std::string error;
  check(calibrate::calibrateColour(captures.front(), colour, &result, &error), error);
  std::cout << "Colour of " << describe(captures.front());
  if (!options.kelvins.empty()) std::cout << " under " << fixed(options.kelvins[0], 0) << " K";
  std::cout << "\nchart at " << fixed(result.chart.x0, 1) << "," << fixed(result.chart.y0, 1)
            << " - " << fixed(result.chart.x1, 1) << "," << fixed(result.chart.y1, 1) << "\n";
  line("%-18s %7s %7s %7s %10s %9s", "patch", "L*ref", "a*ref", "b*ref", "dE before", "dE after");
  for (size_t i = 0; i < result.patches.size(); ++i) {
    const auto &patch = result.patches[i];
    line("%-18s %7.1f %7.1f %7.1f %10.2f %9.2f", calibrate::chartPatchNames()[i], patch.reference.L,
         patch.reference.a, patch.reference.b, patch.deltaEBefore, patch.deltaEAfter);
  }
  std::cout << "dE2000 mean " << fixed(result.meanAfter, 2) << " max " << fixed(result.maxAfter, 2)
            << " (before: mean " << fixed(result.meanBefore, 2) << ")\n";
  std::vector<std::string> header = {"Colour correction of " + describe(captures.front()) +
                                     ", by tshell-calibrate."};
  if (!options.kelvins.empty())
    header.push_back("Calibration light " + fixed(options.kelvins[0], 0) + " K.");
  header.push_back("dE2000 mean " + fixed(result.meanAfter, 2) + ", max " +
                   fixed(result.maxAfter, 2) + " on the chart.");
  outputs.add(options.output, calibrate::colourFile(result, header));
  outputs.add(options.fragment, calibrate::colourFragment(result));
}

void runWhite(const Options &options, Outputs &outputs) {
  const auto captures = loadAll(options.inputs);
  const calibrate::WhiteOptions white = chartOptionsOf(options);
  std::vector<calibrate::WhitePoint> points;
  std::string error;
  check(calibrate::calibrateWhite(captures, options.kelvins, white, &points, &error), error);
  std::cout << "White points of " << describe(captures.front()) << "\n";
  line("%-7s %7s %7s %7s %7s %11s", "kelvin", "R gain", "B gain", "R/G", "B/G", "grey error");
  for (const auto &point : points)
    line("%-7.0f %7.3f %7.3f %7.3f %7.3f %10.2f%%", point.kelvin, point.gains[0], point.gains[3],
         point.rg, point.bg, 100 * point.neutralError);
  const double apply = options.applyKelvin ? *options.applyKelvin : options.kelvins.front();
  const std::string fragment = calibrate::whiteFragment(points, apply);
  outputs.add(options.output, fragment);
  outputs.add(options.fragment, fragment);
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  try {
    options = parseArguments(argc, argv);
  } catch (const UsageError &usage) {
    std::cerr << "tshell-calibrate: " << usage.message << " (--help for usage)\n";
    return 2;
  }
  if (options.command == "help") {
    std::cout << kUsage;
    return 0;
  }
  try {
    Outputs outputs;
    if (options.command == "black") runBlack(options, outputs);
    if (options.command == "shading") runShading(options, outputs);
    if (options.command == "colour") runColour(options, outputs);
    if (options.command == "white") runWhite(options, outputs);
    outputs.commit();
  } catch (const Refusal &refusal) {
    std::cerr << "tshell-calibrate: " << refusal.message << "\n";
    return 1;
  }
  return 0;
}
