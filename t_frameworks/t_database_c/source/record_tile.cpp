// "TL": the tiling of the image into a grid that the ISP processes tile by tile.
#include "fields.h"
#include "t_database_records/tile.h"

namespace tdatabase {
namespace {

// One tile: the whole frame goes through the pipeline at once.
const TDatabaseTile kDefaults = {
    .joint = 0,
    .numberX = 1,
    .numberY = 1,
    .operation = 0,
};

const Field kFields[] = {
    field("joint", &TDatabaseTile::joint),
    field("numberX", &TDatabaseTile::numberX),
    field("numberY", &TDatabaseTile::numberY),
    field("operation", &TDatabaseTile::operation),
};

const Layout kLayout = layoutOf<TDatabaseTile>(kFields);

}  // namespace

extern const RecordType kTileRecord = {"TL", kLayout, &kDefaults};

}  // namespace tdatabase
