// "FC": the lens focus motor.
#include "fields.h"
#include "t_database_records/focus_control.h"

namespace tdatabase {
namespace {

const TDatabaseFocusControl kDefaults = {
    .state = 0,       // idle
    .mode = 0,        // manual: the lens stays where position puts it
    .position = 512,  // mid travel, between infinity and macro
};

const Field kFields[] = {
    field("state", &TDatabaseFocusControl::state),
    field("mode", &TDatabaseFocusControl::mode),
    field("position", &TDatabaseFocusControl::position),
};

const Layout kLayout = layoutOf<TDatabaseFocusControl>(kFields);

}  // namespace

extern const RecordType kFocusControlRecord = {"FC", kLayout, &kDefaults};

}  // namespace tdatabase
