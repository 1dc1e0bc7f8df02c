// Words of command lines: splitting, quoting, response files, file names.
#pragma once

#include <string>
#include <vector>

namespace pelorus {

using WORDS = std::vector<std::string>;

// Replaces each "@file" by the words in the file; a file that cannot be read stays as it is.
WORDS expand_response_files(const WORDS& words);

// The words of a text: separated by white space, quoted with ', " and \.
WORDS split_words(const std::string& text);
// A word as a shell reads it back.
std::string shell_quoted(const std::string& word);

// "dir/name.c": "name", and "dir/name.c" with "dir/name.x" for extension ".x".
std::string base_name(const std::string& path);
std::string with_extension(const std::string& path, const std::string& extension);

} // namespace pelorus
