#include <algorithm>
#include <clocale>
#include <cwchar>
#include <vector>

#include "JSON.h"
#include "Output.h"

namespace tool {
namespace {

using Row = std::vector<std::string>;

// The columns that the text takes on a terminal: wide characters take two, combining ones none.
std::size_t widthOf(const std::string& text) {
  static const bool utf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  if (!utf8) return text.size();
  std::mbstate_t state = {};
  std::size_t width = 0;
  for (std::size_t at = 0; at < text.size();) {
    wchar_t letter = 0;
    const std::size_t length = std::mbrtowc(&letter, &text[at], text.size() - at, &state);
    if (length == 0 || length > text.size() - at) return text.size();
    width += static_cast<std::size_t>(std::max(0, wcwidth(letter)));
    at += length;
  }
  return width;
}

std::string cellOf(const orx::Value& value) {
  if (value.isNull()) return "";
  const auto text = value.text();
  return printable(text ? *text : jsonFromValue(value));
}

Row columnsOf(const orx::Array& rows) {
  Row columns;
  for (const orx::Value& row : rows) {
    for (const auto& [key, value] : *row.dictionary()) {
      if (std::find(columns.begin(), columns.end(), key) == columns.end()) columns.push_back(key);
    }
  }
  return columns;
}

void appendLine(std::string& table, const Row& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t column = 0; column < cells.size(); ++column) {
    if (column > 0) line += "  ";
    line += cells[column];
    line.append(widths[column] - widthOf(cells[column]), ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  table += line + '\n';
}

}  // namespace

std::string tableOf(const orx::Array& rows) {
  const Row columns = columnsOf(rows);
  std::vector<Row> lines;
  for (const orx::Value& row : rows) {
    Row& line = lines.emplace_back();
    for (const std::string& column : columns) line.push_back(cellOf((*row.dictionary())[column]));
  }
  Row head;
  for (const std::string& column : columns) head.push_back(printable(column));
  std::vector<std::size_t> widths;
  for (std::size_t column = 0; column < columns.size(); ++column) {
    std::size_t width = widthOf(head[column]);
    for (const Row& line : lines) width = std::max(width, widthOf(line[column]));
    widths.push_back(width);
  }
  Row rule;
  for (const std::size_t width : widths) rule.emplace_back(width, '-');
  std::string table;
  appendLine(table, head, widths);
  appendLine(table, rule, widths);
  for (const Row& line : lines) appendLine(table, line, widths);
  return table;
}

}  // namespace tool
