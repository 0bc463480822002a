#include "agent/show/TextTable.h"

#include "agent/base/Text.h"

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string_view>

namespace UmoAgent {

void TextTable::print(std::ostream &out) const {
    std::vector<std::size_t> widths;
    for (Column const &column : columns_) {
        widths.push_back(width(column.title));
    }
    for (auto const &cells : rows_) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], width(cells[i]));
        }
    }
    std::string line;
    auto const append = [&](std::size_t column, std::string_view cell) {
        std::size_t const padding = widths[column] - width(cell);
        bool const right = columns_[column].align == Align::right;
        bool const last = column + 1 == widths.size();
        line.append(right ? padding : 0, ' ').append(cell);
        line.append(right || last ? 0 : padding, ' ').append(last ? "\n" : "  ");
    };
    for (std::size_t i = 0; i < widths.size(); ++i) {
        append(i, columns_[i].title);
    }
    for (auto const &cells : rows_) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            append(i, cells[i]);
        }
    }
    out << line;
}

} // namespace UmoAgent
