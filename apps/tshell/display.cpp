#include "display.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "json_tree.h"

namespace tshell_cli {

namespace {

constexpr size_t kIndent = 2;

bool looksNumeric(const std::string &text) {
  if (text.empty()) return false;
  char *end = nullptr;
  strtod(text.c_str(), &end);
  return *end == '\0';
}

std::string cellText(TJsonValue *value) {
  return isContainer(value) ? jsonText(value) : scalarText(value);
}

bool allScalars(const std::vector<TJsonValue *> &items) {
  return std::none_of(items.begin(), items.end(), isContainer);
}

std::string oneLine(const std::vector<TJsonValue *> &items) {
  std::string line = "[";
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) line += ", ";
    line += cellText(items[i]);
  }
  return line + "]";
}

constexpr size_t kGap = 2;  // spaces between columns

size_t widestCell(const std::vector<TJsonValue *> &items) {
  size_t cell = 1;
  for (TJsonValue *item : items) cell = std::max(cell, cellText(item).size());
  return cell;
}

// A long list of scalars: as many columns of cell characters as fit in width, each line led
// by the index of its first element.
std::vector<std::string> wrapScalars(const std::vector<TJsonValue *> &items, size_t width,
                                     size_t cell) {
  const size_t lead = std::to_string(items.size() - 1).size() + 2;  // "[12]"
  const size_t perLine = std::max<size_t>(1, (width > lead ? width - lead : 0) / (cell + kGap));
  std::vector<std::vector<std::string>> rows;
  for (size_t first = 0; first < items.size(); first += perLine) {
    std::vector<std::string> row{"[" + std::to_string(first) + "]"};
    for (size_t i = first; i < std::min(items.size(), first + perLine); ++i) {
      const std::string text = cellText(items[i]);
      const std::string pad(cell - std::min(cell, text.size()), ' ');
      row.push_back(looksNumeric(text) ? pad + text : text + pad);
    }
    rows.push_back(std::move(row));
  }
  return alignColumns(rows);
}

// An array of arrays of scalars: one row a line, or, when rows are wider than the line, each
// row wrapped under its index, in columns of one width for the whole matrix.
std::vector<std::string> matrix(const std::vector<TJsonValue *> &rowsIn, size_t width) {
  std::vector<std::vector<std::string>> rows;
  size_t cell = 1;
  for (size_t r = 0; r < rowsIn.size(); ++r) {
    std::vector<std::string> row{"[" + std::to_string(r) + "]"};
    for (TJsonValue *item : jsonItems(rowsIn[r])) row.push_back(cellText(item));
    cell = std::max(cell, widestCell(jsonItems(rowsIn[r])));
    rows.push_back(std::move(row));
  }
  std::vector<std::string> lines = alignColumns(rows);
  if (std::all_of(lines.begin(), lines.end(),
                  [width](const std::string &line) { return line.size() <= width; })) {
    return lines;
  }
  lines.clear();
  for (size_t r = 0; r < rowsIn.size(); ++r) {
    lines.push_back("[" + std::to_string(r) + "]");
    const size_t inner = width > kIndent ? width - kIndent : 1;
    for (const std::string &line : wrapScalars(jsonItems(rowsIn[r]), inner, cell)) {
      lines.push_back(std::string(kIndent, ' ') + line);
    }
  }
  return lines;
}

// An array of objects: a header of member names, one row an element.
std::vector<std::string> table(const std::vector<TJsonValue *> &elements) {
  std::vector<std::string> names;
  for (TJsonValue *element : elements) {
    for (const auto &[name, member] : jsonMembers(element)) {
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
  }
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> header{"#"};
  header.insert(header.end(), names.begin(), names.end());
  rows.push_back(header);
  for (size_t r = 0; r < elements.size(); ++r) {
    std::vector<std::string> row{std::to_string(r)};
    for (const std::string &name : names) {
      TJsonValue *member = jsonMember(elements[r], name.c_str());
      row.push_back(member != nullptr ? cellText(member) : "-");
    }
    rows.push_back(std::move(row));
  }
  return alignColumns(rows);
}

std::vector<std::string> indented(const std::vector<std::string> &lines) {
  std::vector<std::string> out;
  for (const std::string &line : lines) out.push_back(std::string(kIndent, ' ') + line);
  return out;
}

}  // namespace

void shortenSingleFloats(TJsonValue *value) {
  const uint32_t type = jsonType(value);
  if (type == TJSON_TYPE_ARRAY) {
    for (TJsonValue *item : jsonItems(value)) shortenSingleFloats(item);
  } else if (type == TJSON_TYPE_OBJECT) {
    for (const auto &[name, member] : jsonMembers(value)) shortenSingleFloats(member);
  } else if (type == TJSON_TYPE_FLOAT) {
    double number = 0;
    TJsonValue_asFloat(value, &number);
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text - 1, static_cast<float>(number));
    *result.ptr = '\0';
    // Whole numbers keep a fraction, as the shell prints them.
    std::string shortest = text;
    if (shortest.find_first_of(".eEn") == std::string::npos) shortest += ".0";
    TJsonValue_assignAsString(value, shortest.c_str());
  }
}

std::vector<std::string> alignColumns(const std::vector<std::vector<std::string>> &rows,
                                      const std::string &indent) {
  std::vector<size_t> widths;
  std::vector<int> numbers;  // per column: numbers seen, or -1 once a text was seen
  for (const auto &row : rows) {
    for (size_t c = 0; c < row.size(); ++c) {
      if (c >= widths.size()) {
        widths.push_back(0);
        numbers.push_back(0);
      }
      widths[c] = std::max(widths[c], row[c].size());
    }
  }
  // A column is right-aligned when its cells below a header are numbers (or "-", none).
  for (size_t r = rows.size() > 1 ? 1 : 0; r < rows.size(); ++r) {
    for (size_t c = 0; c < rows[r].size(); ++c) {
      if (rows[r][c] == "-" || numbers[c] < 0) continue;
      numbers[c] = looksNumeric(rows[r][c]) ? numbers[c] + 1 : -1;
    }
  }
  std::vector<std::string> lines;
  for (const auto &row : rows) {
    std::string line = indent;
    for (size_t c = 0; c < row.size(); ++c) {
      const std::string pad(widths[c] - row[c].size(), ' ');
      if (c > 0) line += std::string(kGap, ' ');
      const bool last = c + 1 == row.size();
      line += numbers[c] > 0 ? pad + row[c] : row[c] + (last ? "" : pad);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> layoutValue(TJsonValue *value, size_t width) {
  const uint32_t type = jsonType(value);
  if (type == TJSON_TYPE_OBJECT) {
    std::vector<std::string> lines;
    auto members = jsonMembers(value);
    size_t nameWidth = 0;
    for (const auto &[name, member] : members) nameWidth = std::max(nameWidth, name.size());
    for (const auto &[name, member] : members) {
      std::vector<std::string> inner = layoutValue(member, width > kIndent ? width - kIndent : 1);
      if (inner.size() == 1 && !isContainer(member)) {
        lines.push_back(name + std::string(nameWidth - name.size() + 2, ' ') + inner[0]);
      } else if (inner.size() == 1 && name.size() + 2 + inner[0].size() <= width) {
        lines.push_back(name + std::string(nameWidth - name.size() + 2, ' ') + inner[0]);
      } else {
        lines.push_back(name + ":");
        for (std::string &line : indented(inner)) lines.push_back(std::move(line));
      }
    }
    if (lines.empty()) lines.push_back("{}");
    return lines;
  }
  if (type != TJSON_TYPE_ARRAY) return {scalarText(value)};

  const std::vector<TJsonValue *> items = jsonItems(value);
  if (items.empty()) return {"[]"};
  if (allScalars(items)) {
    const std::string line = oneLine(items);
    if (line.size() <= width) return {line};
    return wrapScalars(items, width, widestCell(items));
  }
  const bool rowsOfScalars = std::all_of(items.begin(), items.end(), [](TJsonValue *item) {
    return jsonType(item) == TJSON_TYPE_ARRAY && allScalars(jsonItems(item));
  });
  if (rowsOfScalars) return matrix(items, width);
  const bool objects = std::all_of(items.begin(), items.end(), [](TJsonValue *item) {
    if (jsonType(item) != TJSON_TYPE_OBJECT) return false;
    auto members = jsonMembers(item);
    return std::none_of(members.begin(), members.end(), [](const auto &member) {
      return jsonType(member.second) == TJSON_TYPE_OBJECT;
    });
  });
  if (objects) return table(items);
  // Deeper nesting (3-D arrays): one block per outer element.
  std::vector<std::string> lines;
  for (size_t i = 0; i < items.size(); ++i) {
    lines.push_back("[" + std::to_string(i) + "]");
    for (std::string &line :
         indented(layoutValue(items[i], width > kIndent ? width - kIndent : 1))) {
      lines.push_back(std::move(line));
    }
  }
  return lines;
}

void printNamedValues(const std::vector<std::pair<std::string, TJsonValue *>> &values, FILE *out) {
  constexpr size_t kWidth = 100;
  size_t nameWidth = 0;
  for (const auto &[name, value] : values) nameWidth = std::max(nameWidth, name.size());
  for (const auto &[name, value] : values) {
    const size_t room = kWidth > nameWidth + 2 ? kWidth - nameWidth - 2 : 1;
    std::vector<std::string> lines = layoutValue(value, room);
    // A matrix starts below its name even when it has one row.
    const std::vector<TJsonValue *> items = jsonItems(value);
    if (lines.size() == 1 && (items.empty() || !isContainer(items[0]))) {
      fprintf(out, "%-*s  %s\n", static_cast<int>(nameWidth), name.c_str(), lines[0].c_str());
      continue;
    }
    fprintf(out, "%s\n", name.c_str());
    for (const std::string &line : lines)
      fprintf(out, "%*s%s\n", static_cast<int>(kIndent), "", line.c_str());
  }
}

}  // namespace tshell_cli
