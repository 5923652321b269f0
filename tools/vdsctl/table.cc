#include "tools/vdsctl/table.h"

#include <algorithm>
#include <cstdio>

namespace vdsctl {

std::string HumanSize(uint64_t bytes) {
  static const char* const kUnits[] = {"B", "KB", "MB", "GB", "TB"};
  size_t unit = 0;
  uint64_t scale = 1;
  while (unit + 1 < std::size(kUnits) && bytes / scale >= 1024) {
    scale *= 1024;
    ++unit;
  }
  char text[48];
  if (bytes % scale == 0) {
    std::snprintf(text, sizeof(text), "%llu %s", static_cast<unsigned long long>(bytes / scale),
                  kUnits[unit]);
  } else {
    const double value = static_cast<double>(bytes) / static_cast<double>(scale);
    // "%.0f" rounds 9.96 up to "10", which still reads correctly; the decimal is only there
    // to keep small sizes from collapsing into one another.
    std::snprintf(text, sizeof(text), value < 10 ? "%.1f %s" : "%.0f %s", value, kUnits[unit]);
  }
  return text;
}

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

void Table::AddRow(std::vector<std::string> cells, bool selected) {
  cells.resize(columns_.size());
  rows_.push_back(Row{std::move(cells), selected});
}

namespace {

void AppendCell(std::string* line, const std::string& text, size_t width, Align align) {
  const size_t pad = width > text.size() ? width - text.size() : 0;
  if (align == Align::kRight) line->append(pad, ' ');
  line->append(text);
  if (align == Align::kLeft) line->append(pad, ' ');
}

void EndLine(std::string* out, std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  out->append(line);
  out->push_back('\n');
}

}  // namespace

std::string Table::Render() const {
  std::vector<size_t> widths;
  for (const Column& column : columns_) widths.push_back(column.header.size());
  for (const Row& row : rows_) {
    for (size_t i = 0; i < columns_.size(); ++i) {
      widths[i] = std::max(widths[i], row.cells[i].size());
    }
  }

  std::string out;
  std::string header = "  ";
  std::string rule = "  ";
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (i > 0) {
      header.append("  ");
      rule.append("  ");
    }
    AppendCell(&header, columns_[i].header, widths[i], columns_[i].align);
    rule.append(widths[i], '-');
  }
  EndLine(&out, header);
  EndLine(&out, rule);
  for (const Row& row : rows_) {
    std::string line = row.selected ? "* " : "  ";
    for (size_t i = 0; i < columns_.size(); ++i) {
      if (i > 0) line.append("  ");
      AppendCell(&line, row.cells[i], widths[i], columns_[i].align);
    }
    EndLine(&out, line);
  }
  return out;
}

}  // namespace vdsctl
