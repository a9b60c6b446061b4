// Calibration texts (colour matrix and lens shading) through both parsers. A form feed
// splits an input into several files, since a field may continue from one file into the
// next. A refused text leaves the record exactly as it was, and a refusal says where.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "t_common.h"
#include "t_database.h"

namespace {

template <typename Record>
void parseInto(uint32_t (*parse)(const TCommonBuffer *, uint64_t, Record *),
               const std::vector<TCommonBuffer> &files, const char *name) {
  // A pattern that no parse can produce, to see what a refusal leaves.
  Record record;
  memset(&record, 0xA5, sizeof record);
  Record before = record;
  const uint32_t code = parse(files.data(), files.size(), &record);
  if (code == TCOMMON_SUCCESS) return;
  if (code != TCOMMON_WRONG_CONFIGURATION) {
    fprintf(stderr, "calibration_fuzzer: %s answered %u\n", name, code);
    abort();
  }
  if (memcmp(&record, &before, sizeof record) != 0) {
    fprintf(stderr, "calibration_fuzzer: a refused %s text changed the record\n", name);
    abort();
  }
  if (TDatabase_lastError()[0] == '\0') {
    fprintf(stderr, "calibration_fuzzer: %s refused a text without a reason\n", name);
    abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // Each file gets its own allocation of exactly its length, so that reading past the
  // end of one is caught.
  std::vector<std::vector<uint8_t>> pieces(1);
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == '\f') {
      pieces.emplace_back();
    } else {
      pieces.back().push_back(data[i]);
    }
  }
  std::vector<TCommonBuffer> files(pieces.size());
  for (size_t i = 0; i < pieces.size(); ++i) {
    files[i].length = pieces[i].size();
    files[i].data = static_cast<uint8_t *>(malloc(pieces[i].size() + (pieces[i].empty() ? 1 : 0)));
    if (!pieces[i].empty()) memcpy(files[i].data, pieces[i].data(), pieces[i].size());
    files[i].capacity = pieces[i].size();
    files[i].isFilled = 1;
  }
  parseInto(TDatabaseColorCorrectionMatrix_parse2, files, "CCM");
  parseInto(TDatabaseLensShadingCorrection_3_parse2, files, "LSC_3");
  for (TCommonBuffer &file : files) free(file.data);
  return 0;
}
