// Calibration files: the measured colour matrix and lens shading of a sensor module,
// delivered by the calibration rig as text and imported into the blocks' records. The
// format is documented with the parsers in t_database.h.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "fields.h"
#include "t_database.h"

namespace {

enum class Number : uint8_t { F32, U16 };

// A field that a calibration file sets: its name in the file and where its numbers go.
struct Target {
  std::string_view name;
  Number number;
  void *values;
  size_t count;
  size_t filled = 0;
  bool named = false;
};

constexpr std::string_view kBlanks = " \t\r\v\f";

bool startsName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Reads the files, in order, as one calibration text into targets. A refusal returns
// TCOMMON_WRONG_CONFIGURATION with the place and the reason in error_.
class Parser {
 public:
  explicit Parser(std::span<Target> targets) : targets_(targets) {}

  uint32_t run(const TCommonBuffer *files, uint64_t fileCount) {
    for (uint64_t i = 0; i < fileCount; ++i) {
      file_ = i + 1;
      line_ = 0;
      const auto *data = reinterpret_cast<const char *>(files[i].data);
      std::string_view text(data != nullptr ? data : "", data != nullptr ? files[i].length : 0);
      while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        ++line_;
        if (!parseLine(text.substr(0, end))) return TCOMMON_WRONG_CONFIGURATION;
        text.remove_prefix(std::min(end + 1, text.size()));
      }
    }
    if (!closeField()) return TCOMMON_WRONG_CONFIGURATION;
    for (const Target &target : targets_) {
      if (!target.named) {
        error_ = "the calibration has no " + std::string(target.name);
        return TCOMMON_WRONG_CONFIGURATION;
      }
    }
    return TCOMMON_SUCCESS;
  }

  const std::string &error() const { return error_; }

 private:
  bool parseLine(std::string_view line) {
    line = line.substr(0, line.find('#'));
    bool first = true;
    for (std::string_view token; !(token = nextToken(line)).empty(); first = false) {
      if (first && startsName(token.front())) {
        if (!openField(token)) return false;
      } else if (open_ == nullptr) {
        return refuse("numbers before the first field name");
      } else if (!store(token)) {
        return false;
      }
    }
    return true;
  }

  static std::string_view nextToken(std::string_view &line) {
    const size_t begin = std::min(line.find_first_not_of(kBlanks), line.size());
    const size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
    const std::string_view token = line.substr(begin, end - begin);
    line.remove_prefix(end);
    return token;
  }

  bool openField(std::string_view name) {
    if (!closeField()) return false;
    const auto found = std::find_if(targets_.begin(), targets_.end(),
                                    [&](const Target &target) { return target.name == name; });
    if (found == targets_.end()) return refuse("unknown field '" + std::string(name) + "'");
    if (found->named) return refuse(std::string(name) + " is given twice");
    found->named = true;
    open_ = &*found;
    return true;
  }

  // The field named last must have all its numbers before another begins.
  bool closeField() {
    if (open_ != nullptr && open_->filled < open_->count) {
      return refuse(std::string(open_->name) + " has " + std::to_string(open_->filled) +
                    " numbers, expected " + std::to_string(open_->count));
    }
    open_ = nullptr;
    return true;
  }

  bool store(std::string_view token) {
    Target &target = *open_;
    if (target.filled == target.count) {
      return refuse(std::string(target.name) + " takes " + std::to_string(target.count) +
                    " numbers, found more");
    }
    const char *first = token.data();
    const char *last = first + token.size();
    if (target.number == Number::F32) {
      // Calibration tools write explicit signs; from_chars only takes the minus sign.
      if (*first == '+' && token.size() > 1 && first[1] != '-') ++first;
      float value = 0;
      const auto [end, problem] = std::from_chars(first, last, value);
      if (problem == std::errc::result_out_of_range) return refuseNumber(token, "out of range");
      if (problem != std::errc() || end != last) return refuseNumber(token, "not a number");
      if (!std::isfinite(value)) return refuseNumber(token, "not a finite number");
      static_cast<float *>(target.values)[target.filled++] = value;
      return true;
    }
    int64_t value = 0;
    const auto [end, problem] = std::from_chars(first, last, value);
    if (problem != std::errc() && problem != std::errc::result_out_of_range) {
      return refuseNumber(token, "not a number");
    }
    if (end != last) return refuseNumber(token, "not an integer");
    if (problem == std::errc::result_out_of_range || value < 0 ||
        value > std::numeric_limits<uint16_t>::max()) {
      return refuseNumber(token, "out of range for u16 (0 to 65535)");
    }
    static_cast<uint16_t *>(target.values)[target.filled++] = static_cast<uint16_t>(value);
    return true;
  }

  bool refuseNumber(std::string_view token, std::string_view problem) {
    return refuse(std::string(open_->name) + ": '" + std::string(token) + "' is " +
                  std::string(problem));
  }

  bool refuse(std::string problem) {
    error_ = "file " + std::to_string(file_) + ", line " + std::to_string(line_) + ": " +
             std::move(problem);
    return false;
  }

  std::span<Target> targets_;
  Target *open_ = nullptr;  // the field that a line beginning with a number continues
  uint64_t file_ = 0;
  uint64_t line_ = 0;
  std::string error_;
};

// Parses files onto a copy of record and keeps the copy only when every file is valid.
// makeTargets(scratch) lists the fields of scratch that the calibration sets.
template <typename Record, typename MakeTargets>
uint32_t importCalibration(const char *function, const TCommonBuffer *files, uint64_t fileCount,
                           Record *record, MakeTargets &&makeTargets) noexcept {
  try {
    if (record == nullptr || (files == nullptr && fileCount > 0)) {
      return tdatabase::reportOutcome(TCOMMON_INVALID_ARGUMENT,
                                      std::string(function) + " needs a record and its files");
    }
    auto scratch = std::make_unique<Record>(*record);
    auto targets = makeTargets(*scratch);
    Parser parser(targets);
    const uint32_t code = parser.run(files, fileCount);
    if (code != TCOMMON_SUCCESS) return tdatabase::reportOutcome(code, parser.error());
    *record = *scratch;
    return tdatabase::reportOutcome(TCOMMON_SUCCESS, {});
  } catch (const std::bad_alloc &) {
    return tdatabase::reportOutcome(TCOMMON_NO_MEMORY, "out of memory");
  }
}

}  // namespace

extern "C" {

uint32_t TDatabaseColorCorrectionMatrix_parse2(const TCommonBuffer *files, uint64_t fileCount,
                                               TDatabaseColorCorrectionMatrix *record) {
  return importCalibration(
      __func__, files, fileCount, record, [](TDatabaseColorCorrectionMatrix &scratch) {
        return std::array<Target, 2>{{
            {"ccMatrix", Number::F32, scratch.ccMatrix, std::size(scratch.ccMatrix)},
            {"ccOffset", Number::F32, scratch.ccOffset, std::size(scratch.ccOffset)},
        }};
      });
}

uint32_t TDatabaseLensShadingCorrection_3_parse2(const TCommonBuffer *files, uint64_t fileCount,
                                                 TDatabaseLensShadingCorrection_3 *record) {
  return importCalibration(
      __func__, files, fileCount, record, [](TDatabaseLensShadingCorrection_3 &scratch) {
        return std::array<Target, 6>{{
            {"matrix.r", Number::U16, scratch.matrix[0], TDATABASE_LSC_3_GRID_POINTS},
            {"matrix.gr", Number::U16, scratch.matrix[1], TDATABASE_LSC_3_GRID_POINTS},
            {"matrix.gb", Number::U16, scratch.matrix[2], TDATABASE_LSC_3_GRID_POINTS},
            {"matrix.b", Number::U16, scratch.matrix[3], TDATABASE_LSC_3_GRID_POINTS},
            {"xSize", Number::U16, scratch.xSize, std::size(scratch.xSize)},
            {"ySize", Number::U16, scratch.ySize, std::size(scratch.ySize)},
        }};
      });
}

}  // extern "C"
