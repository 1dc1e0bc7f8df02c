// Putting text together.
#pragma once

#include <charconv>
#include <concepts>
#include <string>
#include <string_view>

namespace pelorus {

inline void append_part(std::string& text, std::string_view part) { text.append(part); }
inline void append_part(std::string& text, char part) { text.push_back(part); }
template <std::integral T>
void append_part(std::string& text, T number) {
    char digits[24];
    auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text.append(digits, end);
}

// Appends strings and decimal numbers to `text`.
template <class... PARTS>
void put(std::string& text, const PARTS&... parts) {
    (append_part(text, parts), ...);
}

// The parts as one string.
template <class... PARTS>
std::string joined(const PARTS&... parts) {
    std::string text;
    put(text, parts...);
    return text;
}

} // namespace pelorus
