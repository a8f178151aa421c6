// SPDX-License-Identifier: MIT
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

// The text in at most `width` columns; an ellipsis stands for the rest.
std::string cutTo(const std::string& cell, std::size_t width) {
  if (widthOf(cell) <= width) return cell;
  std::string_view begin = cell;
  while (widthOf(begin) >= width) {
    // Off with the last character, of which all bytes but the first have these two bits.
    while ((static_cast<unsigned char>(begin.back()) & 0xC0) == 0x80) begin.remove_suffix(1);
    begin.remove_suffix(1);
  }
  return std::string(begin) + "\u2026";
}

// Takes columns away where most are, until the line fits.
void narrow(std::vector<std::size_t>& widths, std::size_t widest) {
  constexpr std::size_t kNarrowest = 6;
  std::size_t needed = 2 * (widths.size() - 1);
  for (const std::size_t width : widths) needed += width;
  std::vector<std::size_t> fitting = widths;
  while (needed > widest) {
    const auto most = std::max_element(fitting.begin(), fitting.end());
    if (*most <= kNarrowest) return;
    --*most;
    --needed;
  }
  widths = std::move(fitting);
}

std::string lineOf(const Row& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t column = 0; column < cells.size(); ++column) {
    if (column > 0) line += "  ";
    const std::string cell = cutTo(cells[column], widths[column]);
    line += cell;
    line.append(widths[column] - widthOf(cell), ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace

std::optional<std::vector<std::string>> tableOf(const orx::Array& rows, std::size_t widest) {
  const Row columns = columnsOf(rows);
  if (columns.empty()) return std::nullopt;
  std::vector<Row> lines(1);
  for (const std::string& column : columns) lines[0].push_back(printable(column, kWidestCell));
  for (const orx::Value& row : rows) {
    Row& line = lines.emplace_back();
    for (const std::string& column : columns) line.push_back(cellOf((*row.dictionary())[column]));
  }
  std::vector<std::size_t> widths(columns.size());
  for (const Row& line : lines) {
    for (std::size_t column = 0; column < columns.size(); ++column) {
      widths[column] = std::max(widths[column], widthOf(line[column]));
    }
  }
  narrow(widths, widest);
  Row rule;
  for (const std::size_t width : widths) rule.emplace_back(width, '-');
  lines.insert(lines.begin() + 1, rule);
  std::vector<std::string> table;
  table.reserve(lines.size());
  for (const Row& line : lines) table.push_back(lineOf(line, widths));
  return table;
}

}  // namespace tool
