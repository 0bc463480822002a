#include "agent/show/TextTable.h"

#include "agent/base/Text.h"

#include <algorithm>
#include <cstddef>
#include <ostream>

namespace UmoAgent {

void TextTable::print(std::ostream &out) const {
    auto rows = rows_;
    auto &titles = *rows.emplace(rows.begin());
    for (Column const &column : columns_) {
        titles.push_back(column.title);
    }
    std::vector<std::size_t> widths(columns_.size());
    for (auto const &cells : rows) {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            widths[i] = std::max(widths[i], width(cells[i]));
        }
    }
    for (auto const &cells : rows) {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            bool const right = columns_[i].align == Align::right;
            bool const last = i + 1 == columns_.size();
            std::string const padding(widths[i] - width(cells[i]), ' ');
            out << (i == 0 ? "" : "  ") << (right ? padding : "") << cells[i]
                << (right || last ? "" : padding);
        }
        out << '\n';
    }
}

} // namespace UmoAgent
