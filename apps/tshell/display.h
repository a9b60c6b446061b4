// How tshell lays values out for a person at a terminal: scalars as they are, short arrays
// on one line, matrices row by row with aligned columns, tables of rows under a header.
#ifndef TSHELL_CLI_DISPLAY_H
#define TSHELL_CLI_DISPLAY_H

#include <string>
#include <vector>

#include "t_json.h"

namespace tshell_cli {

// Replaces every number of a tree of 32-bit floats by the shortest text that reads back as
// the same float ("1.62" rather than the double 1.6200000047683716), for display.
void shortenSingleFloats(TJsonValue *value);

// The lines of a value; a value that fits one line of width gives exactly one.
std::vector<std::string> layoutValue(TJsonValue *value, size_t width);

// Rows of cells printed as aligned columns (numbers to the right, text to the left), each
// line starting with indent.
std::vector<std::string> alignColumns(const std::vector<std::vector<std::string>> &rows,
                                      const std::string &indent = "");

// Prints name/value pairs one a line, names aligned; a value of several lines starts on
// the line below its name, indented.
void printNamedValues(const std::vector<std::pair<std::string, TJsonValue *>> &values, FILE *out);

}  // namespace tshell_cli

#endif  // TSHELL_CLI_DISPLAY_H
