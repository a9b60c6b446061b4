// The field table of the image window that the input, output and sensor records share.
#ifndef T_DATABASE_FRAME_WINDOW_H
#define T_DATABASE_FRAME_WINDOW_H

#include "fields.h"
#include "t_database_records/frame_window.h"

namespace tdatabase {

inline const Field kFrameOffsetFields[] = {
    field("x", &TDatabaseFrameOffset::x),
    field("y", &TDatabaseFrameOffset::y),
};

inline const Layout kFrameOffsetLayout = layoutOf<TDatabaseFrameOffset>(kFrameOffsetFields);

inline const Field kFrameWindowFields[] = {
    field("height", &TDatabaseFrameWindow::height),
    group("offset", &TDatabaseFrameWindow::offset, kFrameOffsetLayout),
    field("width", &TDatabaseFrameWindow::width),
};

inline const Layout kFrameWindowLayout = layoutOf<TDatabaseFrameWindow>(kFrameWindowFields);

}  // namespace tdatabase

#endif  // T_DATABASE_FRAME_WINDOW_H
