// See difference.h.
//
//   1. Equal lines at both ends are set aside.
//   2. A longest common subsequence of the rest tells which lines stay. Where the rest is so large that its
//      table would not be worth its memory, all of the rest counts as changed.
//   3. The lines are printed with those around them.
#include "common/difference.h"

#include <algorithm>
#include <cstdint>

namespace pelorus {

namespace {

using LINES = std::vector<std::string_view>;

enum class SIDE : char { BOTH = ' ', FIRST = '-', SECOND = '+' };
struct MARKED_LINE {
    SIDE side;
    std::string_view text;
};

constexpr size_t LARGEST_TABLE = 16'000'000; // cells
constexpr size_t AROUND = 3;

// Lengths of the longest common subsequences of the ends of both, row by row.
struct TABLE {
    size_t width;
    std::vector<uint32_t> cells;
    TABLE(size_t rows, size_t columns) : width(columns + 1), cells((rows + 1) * (columns + 1)) {}
    uint32_t& at(size_t row, size_t column) { return cells[row * width + column]; }
};

void fill(TABLE& table, const LINES& a, const LINES& b) {
    for (size_t i = a.size(); i--;)
        for (size_t j = b.size(); j--;)
            table.at(i, j) =
                a[i] == b[j] ? table.at(i + 1, j + 1) + 1 : std::max(table.at(i + 1, j), table.at(i, j + 1));
}

void mark(const LINES& lines, SIDE side, std::vector<MARKED_LINE>& marked) {
    for (const std::string_view line : lines) marked.push_back({side, line});
}

void mark_middle(const LINES& a, const LINES& b, std::vector<MARKED_LINE>& marked) {
    if ((a.size() + 1) * (b.size() + 1) > LARGEST_TABLE) {
        mark(a, SIDE::FIRST, marked);
        return mark(b, SIDE::SECOND, marked);
    }
    TABLE table(a.size(), b.size());
    fill(table, a, b);
    size_t i = 0, j = 0;
    while (i < a.size() || j < b.size()) {
        if (i < a.size() && j < b.size() && a[i] == b[j])
            marked.push_back({SIDE::BOTH, a[i++]}), ++j;
        else if (j == b.size() || (i < a.size() && table.at(i + 1, j) >= table.at(i, j + 1)))
            marked.push_back({SIDE::FIRST, a[i++]});
        else
            marked.push_back({SIDE::SECOND, b[j++]});
    }
}

std::vector<MARKED_LINE> compare(const LINES& a, const LINES& b) {
    const size_t shorter = std::min(a.size(), b.size());
    size_t head = 0, tail = 0;
    while (head < shorter && a[head] == b[head]) ++head;
    while (tail < shorter - head && a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) ++tail;
    const auto part = [](const LINES& lines, size_t from, size_t to) {
        return LINES(lines.begin() + static_cast<std::ptrdiff_t>(from),
                     lines.begin() + static_cast<std::ptrdiff_t>(to));
    };
    std::vector<MARKED_LINE> marked;
    mark(part(a, 0, head), SIDE::BOTH, marked);
    mark_middle(part(a, head, a.size() - tail), part(b, head, b.size() - tail), marked);
    mark(part(a, a.size() - tail, a.size()), SIDE::BOTH, marked);
    return marked;
}

// Which lines are printed: those that differ and those around them.
std::vector<bool> shown_lines(const std::vector<MARKED_LINE>& marked) {
    std::vector<bool> shown(marked.size());
    for (size_t i = 0; i < marked.size(); ++i) {
        if (marked[i].side == SIDE::BOTH) continue;
        const size_t end = std::min(marked.size(), i + AROUND + 1);
        for (size_t near = i < AROUND ? 0 : i - AROUND; near < end; ++near) shown[near] = true;
    }
    return shown;
}

} // namespace

std::vector<std::string_view> split_lines(std::string_view text) {
    LINES lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string difference_text(std::string_view first, std::string_view second,
                            bool (*is_heading)(std::string_view line)) {
    const std::vector<MARKED_LINE> marked = compare(split_lines(first), split_lines(second));
    const std::vector<bool> shown = shown_lines(marked);
    std::string text;
    std::string_view heading;
    for (size_t i = 0; i < marked.size(); ++i) {
        if (shown[i] && (i == 0 || !shown[i - 1])) text.append("@@ ").append(heading).append("\n");
        if (marked[i].side != SIDE::SECOND && is_heading(marked[i].text)) heading = marked[i].text;
        if (shown[i]) text.append(1, static_cast<char>(marked[i].side)).append(marked[i].text).append("\n");
    }
    return text;
}

} // namespace pelorus
