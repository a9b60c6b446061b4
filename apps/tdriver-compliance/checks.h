// The contract between the tuning shell and an ISP driver, as checks that a driver library
// passes or fails one by one.
#ifndef TDRIVER_COMPLIANCE_CHECKS_H
#define TDRIVER_COMPLIANCE_CHECKS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "t_database.h"

namespace tdriver_compliance {

// The driver functions the shell calls, taken from the library under test. The driver
// handle is opaque here: the tool never assumes the layout of a driver.
struct Driver;
using OpenFunction = uint32_t (*)(TDatabase *, Driver **);
using CloseFunction = uint32_t (*)(Driver **);
using SwitchFunction = uint32_t (*)(Driver *, uint8_t);
using DeinitFunction = uint32_t (*)(Driver *);
using RegisterFunction = uint32_t (*)(Driver *, TDatabaseRegister *);

struct Block {
  const char *category;
  const char *companion;  // a measuring unit pushed and read back with the block, or nullptr
  std::string processName;
  std::string statisticsName;  // empty: the block has no _statistics function
  SwitchFunction process = nullptr;
  SwitchFunction statistics = nullptr;
};

struct DriverApi {
  OpenFunction open = nullptr;
  CloseFunction close = nullptr;
  SwitchFunction init = nullptr;
  SwitchFunction stream = nullptr;
  DeinitFunction deinit = nullptr;
  SwitchFunction inject = nullptr;
  SwitchFunction raw = nullptr;
  RegisterFunction registerTransfer = nullptr;
  std::vector<Block> blocks;
};

// Looks a function up by name; nullptr when the library lacks it.
using Resolver = std::function<void *(const char *name)>;

// One outcome: the check's name, whether it passed, and what was wrong.
struct Result {
  std::string section;
  std::string name;
  bool passed = false;
  std::string detail;
};

struct Options {
  std::string onlyCategory;  // empty: every block
};

// Runs every check on the driver whose functions resolve gives, calling report after each.
// Returns false when a check failed.
bool runChecks(const Resolver &resolve, const Options &options,
               const std::function<void(const Result &)> &report);

}  // namespace tdriver_compliance

#endif  // TDRIVER_COMPLIANCE_CHECKS_H
