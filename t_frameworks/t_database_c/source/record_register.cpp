// "RGT": one raw register transfer, for engineers who poke the hardware directly.
#include "fields.h"
#include "t_database_records/register.h"

namespace tdatabase {
namespace {

// The identification register, 32 bits wide; which way a transfer goes is up to the shell.
const TDatabaseRegister kDefaults = {
    .address = "0x0000",
    .isRead = 0,
    .type = 0,
    .value = "0",
};

// isRead is not a setting: the shell sets it just before each transfer, so it is neither
// saved nor copied into the simulated hardware nor reset.
const Field kFields[] = {
    text("address", &TDatabaseRegister::address),
    field("type", &TDatabaseRegister::type),
    text("value", &TDatabaseRegister::value),
};

const Layout kLayout = layoutOf<TDatabaseRegister>(kFields);

}  // namespace

extern const RecordType kRegisterRecord = {"RGT", kLayout, &kDefaults};

}  // namespace tdatabase
