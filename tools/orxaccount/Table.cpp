#include <algorithm>
#include <vector>

#include "JSON.h"
#include "Output.h"
#include "Printable.h"

namespace tool {
namespace {

using Row = std::vector<std::string>;

constexpr std::size_t kMostColumns = 64;
constexpr std::size_t kWidestCell = 1000;

std::string cellOf(const orx::Value& value) {
  if (value.isNull()) return "";
  const auto text = value.text();
  return printable(text ? *text : jsonFromValue(value, JSONLayout::OneLine), kWidestCell);
}

// Empty when the rows make no table.
Row columnsOf(const orx::Array& rows) {
  Row columns;
  for (const orx::Value& row : rows) {
    if (row.dictionary() == nullptr || row.dictionary()->empty()) return {};
    for (const auto& [key, value] : *row.dictionary()) {
      if (std::find(columns.begin(), columns.end(), key) == columns.end()) columns.push_back(key);
      if (columns.size() > kMostColumns) return {};
    }
  }
  return columns;
}

std::string lineOf(const Row& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t column = 0; column < cells.size(); ++column) {
    if (column > 0) line += "  ";
    line += cells[column];
    line.append(widths[column] - widthOf(cells[column]), ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace

std::optional<std::vector<std::string>> tableOf(const orx::Array& rows) {
  const Row columns = columnsOf(rows);
  if (columns.empty()) return std::nullopt;
  std::vector<Row> lines(1);
  for (const std::string& column : columns) lines[0].push_back(printable(column, kWidestCell));
  for (const orx::Value& row : rows) {
    Row& line = lines.emplace_back();
    for (const std::string& column : columns) line.push_back(cellOf((*row.dictionary())[column]));
  }
  std::vector<std::size_t> widths;
  Row rule;
  for (std::size_t column = 0; column < columns.size(); ++column) {
    std::size_t width = 0;
    for (const Row& line : lines) width = std::max(width, widthOf(line[column]));
    widths.push_back(width);
    rule.emplace_back(width, '-');
  }
  lines.insert(lines.begin() + 1, rule);
  std::vector<std::string> table;
  for (const Row& line : lines) table.push_back(lineOf(line, widths));
  return table;
}

}  // namespace tool
