// What differs between two texts, line by line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pelorus {

// The lines that only the first text has begin with "-", those that only the second one has with "+", and
// three lines around each of them with a blank. In front of lines that were left out stands "@@" and the last
// line before them that `is_heading` takes for one. Empty when the texts are equal.
std::string difference_text(std::string_view first, std::string_view second,
                            bool (*is_heading)(std::string_view line));

std::vector<std::string_view> split_lines(std::string_view text);

} // namespace pelorus
