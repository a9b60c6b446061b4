// "MISC": switches that belong to no single block.
#include "fields.h"
#include "t_database_records/misc.h"

namespace tdatabase {
namespace {

// Noise reduction on the raw Bayer data, before demosaicing spreads the noise over
// neighbouring pixels.
const TDatabaseMisc kDefaults = {
    .nrReloc = 0,
};

const Field kFields[] = {
    boolean("nrReloc", &TDatabaseMisc::nrReloc),
};

const Layout kLayout = layoutOf<TDatabaseMisc>(kFields);

}  // namespace

extern const RecordType kMiscRecord = {"MISC", kLayout, &kDefaults};

}  // namespace tdatabase
