// "3AI_2": the interface between the ISP and the 3A controls (exposure, white balance,
// focus): where their statistics come from, how often they run, and which corrections
// they drive.
#include "fields.h"
#include "t_database_records/3a_interface_2.h"

namespace tdatabase {
namespace {

const TDatabase3AInterface_2 kDefaults = {
    // Statistics after the digital gain, so that they see black level and gains applied.
    .statisticsSource = 1,
    .frameInterval = 1,  // every frame
    .awbEnable = 1,
    .cacEnable = 1,
    .ccEnable = 1,
    // Image stabilisation crops the frame; it stays off until a client asks for it.
    .isEnable = 0,
    .integrationTime = 0.01f,  // 10 ms, flicker-free under 50 Hz mains lighting
    .lscEnable = 1,
    .sensorGain = 1.0f,
};

const Field kFields[] = {
    field("statisticsSource", &TDatabase3AInterface_2::statisticsSource),
    field("frameInterval", &TDatabase3AInterface_2::frameInterval),
    boolean("awbEnable", &TDatabase3AInterface_2::awbEnable),
    boolean("cacEnable", &TDatabase3AInterface_2::cacEnable),
    boolean("ccEnable", &TDatabase3AInterface_2::ccEnable),
    boolean("isEnable", &TDatabase3AInterface_2::isEnable),
    field("integrationTime", &TDatabase3AInterface_2::integrationTime),
    boolean("lscEnable", &TDatabase3AInterface_2::lscEnable),
    field("sensorGain", &TDatabase3AInterface_2::sensorGain),
};

const Layout kLayout = layoutOf<TDatabase3AInterface_2>(kFields);

}  // namespace

extern const RecordType k3AInterface2Record = {"3AI_2", kLayout, &kDefaults};

}  // namespace tdatabase
