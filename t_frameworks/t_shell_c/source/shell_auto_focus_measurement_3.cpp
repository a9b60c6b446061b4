// "AFM_3": the focus measurement unit of the focus control block, which the driver pushes
// and reads back with that block. "statistics" serves the unit's measurement.
#include "shell_keys.h"

namespace {

using tshell::Access;
using tshell::KeyRow;
using Record = TDatabaseAutoFocusMeasurement_3;

uint32_t before(TShell *shell, void *) {
  return shellReadBack(shell, TDriverFocusControl_statistics, SHELL_SITE);
}

uint32_t after(TShell *shell, void *) {
  return shellPush(shell, TDriverFocusControl_process, SHELL_SITE);
}

// The measurement as the database writes it. A function of this file: its address is a
// constant the key table can be checked with in every build (also with sanitizers, where
// the address of another library's function is not).
uint32_t statistics(const void *record, TJsonValue *value) {
  return TDatabaseAutoFocusMeasurement_3_statistics(record, value);
}

constexpr KeyRow kKeys[] = {
    {"isEnable", Access::Bool, SHELL_FIELD(isEnable), nullptr, after,
     "Turns the focus measurement on (true as shipped); while false every statistics value reads "
     "0."},
    {"coring.firHighPass", Access::Integer, SHELL_FIELD(coring.firHighPass), nullptr, after,
     "Coring level of the FIR high-pass filter per window (left, centre, right), subtracted from "
     "each response, codes (2 as shipped)."},
    {"coring.firLowPass", Access::Integer, SHELL_FIELD(coring.firLowPass), nullptr, after,
     "Coring level of the FIR low-pass (band) filter per window, subtracted from each response, "
     "codes (2 as shipped)."},
    {"coring.iirHighPass", Access::Integer, SHELL_FIELD(coring.iirHighPass), nullptr, after,
     "Coring level of the IIR high-pass filter per window, subtracted from each response, codes (2 "
     "as shipped)."},
    {"coring.iirLowPass", Access::Integer, SHELL_FIELD(coring.iirLowPass), nullptr, after,
     "Coring level of the IIR low-pass (band) filter per window, subtracted from each response, "
     "codes (2 as shipped)."},
    {"fir.dataShift", Access::Integer, SHELL_FIELD(fir.dataShift), nullptr, after,
     "Right shift applied to the FIR sharpness sums (0 as shipped), to keep them in range."},
    {"fir.highPassWeight", Access::Float, SHELL_FIELD(fir.highPassWeight), nullptr, after,
     "Weight of the FIR high-pass response in the FIR sharpness value (1.0 as shipped)."},
    {"fir.lowPassWeight", Access::Float, SHELL_FIELD(fir.lowPassWeight), nullptr, after,
     "Weight of the FIR low-pass (band) response in the FIR sharpness value (0.5 as shipped)."},
    {"gamma", Access::Float, SHELL_FIELD(gamma), nullptr, after,
     "Exponent applied to the luminance before filtering, no unit (1.0 = linear as shipped)."},
    {"histThreshold", Access::Integer, SHELL_FIELD(histThreshold), nullptr, after,
     "8-bit luminance above which a sample counts as a highlight (235 as shipped)."},
    {"hwRoi", Access::Integer, SHELL_FIELD(hwRoi), nullptr, after,
     "Measuring region: x, y, width, height in pixels of the frame (the centre half of 1080p as "
     "shipped); its left, centre and right thirds are the three windows."},
    {"iir.dataShift", Access::Integer, SHELL_FIELD(iir.dataShift), nullptr, after,
     "Right shift applied to the IIR sharpness sums (0 as shipped)."},
    {"iir.highPassWeight", Access::Float, SHELL_FIELD(iir.highPassWeight), nullptr, after,
     "Weight of the IIR high-pass response in the IIR sharpness value (1.0 as shipped)."},
    {"iir.highPassCoeff", Access::Float, SHELL_FIELD(iir.highPassCoeff), nullptr, after,
     "IIR high-pass filter: three cascaded sections, each {b0, b1, b2, a1} (a second difference as "
     "shipped)."},
    {"iir.lowPassWeight", Access::Float, SHELL_FIELD(iir.lowPassWeight), nullptr, after,
     "Weight of the IIR low-pass (band) response in the IIR sharpness value (0.5 as shipped)."},
    {"iir.lowPassCoeff", Access::Float, SHELL_FIELD(iir.lowPassCoeff), nullptr, after,
     "IIR low-pass (band) filter: three cascaded sections, each {b0, b1, b2, a1} (a smoothed first "
     "difference as shipped)."},
    {"ldg.firHighPassX", Access::Integer, SHELL_FIELD(ldg.firHighPass.x), nullptr, after,
     "Luminance-dependent gain of the FIR high-pass: 4 rising 8-bit luminance points (0, 32, 192, "
     "255 as shipped)."},
    {"ldg.firHighPassY", Access::Float, SHELL_FIELD(ldg.firHighPass.y), nullptr, after,
     "Luminance-dependent gain of the FIR high-pass: the gain on the 3 segments between the X "
     "points (dark and bright weigh less as shipped)."},
    {"ldg.firLowPassX", Access::Integer, SHELL_FIELD(ldg.firLowPass.x), nullptr, after,
     "Luminance-dependent gain of the FIR low-pass: 4 rising 8-bit luminance points."},
    {"ldg.firLowPassY", Access::Float, SHELL_FIELD(ldg.firLowPass.y), nullptr, after,
     "Luminance-dependent gain of the FIR low-pass: the gain on the 3 segments between the X "
     "points."},
    {"ldg.iirHighPassX", Access::Integer, SHELL_FIELD(ldg.iirHighPass.x), nullptr, after,
     "Luminance-dependent gain of the IIR high-pass: 4 rising 8-bit luminance points."},
    {"ldg.iirHighPassY", Access::Float, SHELL_FIELD(ldg.iirHighPass.y), nullptr, after,
     "Luminance-dependent gain of the IIR high-pass: the gain on the 3 segments between the X "
     "points."},
    {"ldg.iirLowPassX", Access::Integer, SHELL_FIELD(ldg.iirLowPass.x), nullptr, after,
     "Luminance-dependent gain of the IIR low-pass: 4 rising 8-bit luminance points."},
    {"ldg.iirLowPassY", Access::Float, SHELL_FIELD(ldg.iirLowPass.y), nullptr, after,
     "Luminance-dependent gain of the IIR low-pass: the gain on the 3 segments between the X "
     "points."},
    tshell::statisticsKey("statistics", statistics, before,
                          "The measurement, read back from the hardware, per window (left, centre, "
                          "right third of hwRoi): FIR and IIR sharpness, mean luminance and the "
                          "count of highlight samples. Writing it changes nothing."),
};

constexpr tshell::About kAbout = {
    "Focus measurement",
    "The focus measurement unit of the focus control block: band-pass FIR and IIR filters measure "
    "the sharpness of three windows, weighted by luminance and cored against noise, for the "
    "auto-focus loop to climb. It is pushed and read back with FC. In the simulated camera it "
    "measures the current frame, whose blur follows the lens position; without a stream, "
    "statistics answers the last measurement held."};

}  // namespace

SHELL_CATEGORY(TShellAutoFocusMeasurement_3_process, "AFM_3", kKeys, kAbout);
