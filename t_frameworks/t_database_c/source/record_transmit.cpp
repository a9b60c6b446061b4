// "TM": where frames are sent for viewing in the tuning client.
#include "fields.h"
#include "t_database_records/transmit.h"

namespace tdatabase {
namespace {

// The frame server runs on the device itself; frames are only sent once the client asks.
const TDatabaseTransmit kDefaults = {
    .nginxIp = "127.0.0.1",
    .isStreamable = 0,
};

const Field kFields[] = {
    text("nginxIp", &TDatabaseTransmit::nginxIp),
    boolean("isStreamable", &TDatabaseTransmit::isStreamable),
};

const Layout kLayout = layoutOf<TDatabaseTransmit>(kFields);

}  // namespace

extern const RecordType kTransmitRecord = {"TM", kLayout, &kDefaults};

}  // namespace tdatabase
