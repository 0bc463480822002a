#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace UmoAgent {

/// A table for people: its columns are as wide as their widest cell.
class TextTable {
  public:
    enum class Align : bool { left, right };
    struct Column {
        std::string_view title; // outlives the table
        Align align = Align::left;
    };

    explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

    /// `cells` has a printable text for each column.
    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    [[nodiscard]] bool empty() const { return rows_.empty(); }

    /// The titles, then the rows in the order in which they were added.
    void print(std::ostream &out) const;

  private:
    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace UmoAgent
