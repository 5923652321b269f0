// Plain-text tables in the manner storage administrators know from DiskRAID: a header row, a
// dashed rule under it, one row per object, and a two-character left margin that carries "*" on
// the row of the selected object.
#ifndef VELA_TOOLS_VDSCTL_TABLE_H_
#define VELA_TOOLS_VDSCTL_TABLE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace vdsctl {

// A byte count in the largest of B, KB, MB, GB, TB (powers of 1024) that keeps the number at or
// above 1. Below 10 units one decimal is shown unless the value is whole: "512 B", "1.5 KB",
// "68 GB", "2 TB".
std::string HumanSize(uint64_t bytes);

enum class Align { kLeft, kRight };

struct Column {
  std::string header;
  Align align = Align::kLeft;
};

class Table {
 public:
  explicit Table(std::vector<Column> columns);

  // Cells beyond the column count are dropped; missing cells print empty.
  void AddRow(std::vector<std::string> cells, bool selected = false);

  // Every line ends with "\n"; trailing blanks are trimmed.
  std::string Render() const;

 private:
  struct Row {
    std::vector<std::string> cells;
    bool selected;
  };
  std::vector<Column> columns_;
  std::vector<Row> rows_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_TABLE_H_
