// See words.h.
#include "common/words.h"

#include <cctype>
#include <fstream>
#include <sstream>

namespace pelorus {

namespace {

constexpr int RESPONSE_DEPTH = 20; // response files within response files

void expand_word(const std::string& word, int depth, WORDS& result) {
    std::ifstream file;
    if (word.size() > 1 && word[0] == '@' && depth < RESPONSE_DEPTH)
        file.open(word.substr(1), std::ios::binary);
    if (!file.is_open() || !file) {
        result.push_back(word);
        return;
    }
    std::ostringstream text;
    text << file.rdbuf();
    for (const std::string& inner : split_words(text.str())) expand_word(inner, depth + 1, result);
}

} // namespace

WORDS split_words(const std::string& text) {
    WORDS words;
    std::string word;
    bool in_word = false;
    char quote = 0;
    for (size_t i = 0; i < text.size(); i++) {
        char c = text[i];
        if (c == '\\' && quote != '\'' && i + 1 < text.size()) {
            word += text[++i];
            in_word = true;
        } else if (quote ? c == quote : c == '\'' || c == '"') {
            quote = quote ? char(0) : c;
            in_word = true;
        } else if (!quote && isspace(static_cast<unsigned char>(c))) {
            if (in_word) words.push_back(word);
            word.clear();
            in_word = false;
        } else {
            word += c;
            in_word = true;
        }
    }
    if (in_word) words.push_back(word);
    return words;
}

WORDS expand_response_files(const WORDS& words) {
    WORDS result;
    for (const std::string& word : words) expand_word(word, 0, result);
    return result;
}

std::string shell_quoted(const std::string& word) {
    bool plain = !word.empty();
    for (char c : word)
        plain = plain && (isalnum(static_cast<unsigned char>(c)) ||
                          std::string("-_=+.,/:@%^").find(c) != std::string::npos);
    if (plain) return word;
    std::string text = "'";
    for (char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

std::string base_name(const std::string& path) {
    std::string name = path.substr(path.rfind('/') + 1);
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string with_extension(const std::string& path, const std::string& extension) {
    return path.substr(0, path.rfind('/') + 1) + base_name(path) + extension;
}

} // namespace pelorus
