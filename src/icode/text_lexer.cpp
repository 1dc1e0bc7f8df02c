// The tokens of a text form; see text_lexer.h.
#include "icode/text_lexer.h"

#include <algorithm>
#include <cstring>

#include "icode/text_names.h"

namespace pelorus {

namespace {

int hex_digit(char c) {
    if (is_digit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

} // namespace

// Comments, blanks, and ends of lines that mean nothing.
void TEXT_LEXER::skip_blanks() {
    for (; at_ < text_.size(); ++at_) {
        const char c = text_[at_];
        if (c == ';') {
            at_ = std::min(text_.find('\n', at_), text_.size());
            if (at_ == text_.size()) return;
            --at_;
        } else if (c != ' ' && c != '\t' && c != '\r' && (c != '\n' || (!depth_ && !line_begins_))) {
            return;
        }
    }
}

void TEXT_LEXER::next() {
    skip_blanks();
    start = at_;
    if (at_ == text_.size()) {
        kind = line_begins_ ? TOKEN::END : TOKEN::LINE; // the last line need not be ended
        line_begins_ = true;
        word = {};
        if (depth_) fail("the text ends inside parentheses");
        return;
    }
    const char c = text_[at_];
    line_begins_ = c == '\n';
    const char after = at_ + 1 < text_.size() ? text_[at_ + 1] : '\0';
    if (c == '"') return read_string();
    if (is_digit(c) || (c == '-' && is_digit(after))) return read_number();
    if (is_word_start(c) || (c == '@' && is_word_start(after))) {
        kind = c == '@' ? TOKEN::SYMBOL : TOKEN::WORD;
        const size_t first = at_ += c == '@';
        while (at_ < text_.size() && is_word_part(text_[at_])) ++at_;
        word = text_.substr(first, at_ - first);
        return;
    }
    kind = c == '\n' ? TOKEN::LINE : c == '@' ? TOKEN::POINT : TOKEN::OTHER;
    word = text_.substr(at_++, 1);
    if (kind == TOKEN::OTHER && !strchr("(),:=~!+[]", c)) fail("a character that means nothing here");
    if (c == '(') ++depth_;
    if (c == ')' && --depth_ < 0) fail("a \")\" without \"(\"");
}

void TEXT_LEXER::read_string() {
    const size_t first = ++at_;
    for (; at_ < text_.size() && text_[at_] != '"'; ++at_) {
        if (text_[at_] == '\n') break;
        if (text_[at_] == '\\') ++at_;
    }
    if (at_ >= text_.size() || text_[at_] != '"') fail("a string without end");
    kind = TOKEN::STRING;
    word = text_.substr(first, at_++ - first);
}

// A sign, then letters and digits; "+" and "-" only behind the exponent's "e".
void TEXT_LEXER::read_number() {
    const size_t first = at_;
    const bool is_hex = text_.substr(at_ + (text_[at_] == '-'), 2) == "0x";
    for (++at_; at_ < text_.size(); ++at_) {
        const char c = text_[at_];
        const bool exponent_sign = (c == '+' || c == '-') && text_[at_ - 1] == 'e' && !is_hex;
        if (!is_digit(c) && !(c >= 'a' && c <= 'z') && c != '.' && !(is_hex && hex_digit(c) >= 0) &&
            !exponent_sign)
            break;
    }
    kind = TOKEN::NUMBER;
    word = text_.substr(first, at_ - first);
}

std::string TEXT_LEXER::string_value() const {
    static constexpr std::string_view letters = "nt0\"\\";
    static constexpr std::string_view values("\n\t\0\"\\", 5);
    std::string value;
    for (size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '\\') {
            value += word[i];
            continue;
        }
        const char c = word[++i];
        const size_t letter = letters.find(c);
        if (letter != std::string_view::npos) {
            value += values[letter];
        } else if (c == 'x' && i + 2 < word.size() && hex_digit(word[i + 1]) >= 0 &&
                   hex_digit(word[i + 2]) >= 0) {
            value += static_cast<char>(hex_digit(word[i + 1]) * 16 + hex_digit(word[i + 2]));
            i += 2;
        } else {
            throw TEXT_ERROR{start + i, "an escape that is none of \\n \\t \\0 \\\" \\\\ \\xHH"};
        }
    }
    return value;
}

std::string TEXT_LEXER::hex_bytes(bool blanks) {
    std::string bytes;
    for (;; at_ += 2) {
        if (blanks) skip_blanks();
        if (at_ + 1 >= text_.size() || hex_digit(text_[at_]) < 0 || hex_digit(text_[at_ + 1]) < 0) break;
        bytes += static_cast<char>(hex_digit(text_[at_]) * 16 + hex_digit(text_[at_ + 1]));
    }
    next();
    return bytes;
}

void TEXT_LEXER::expected(const std::string& what) const {
    std::string found = "\"" + std::string(word.substr(0, 40)) + "\"";
    if (kind == TOKEN::END) found = "the end of the text";
    if (kind == TOKEN::LINE) found = "the end of the line";
    fail("expected " + what + ", found " + found);
}

void text_place(std::string_view text, size_t offset, size_t& line, size_t& column) {
    line = column = 1;
    for (size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n')
            line++, column = 1;
        else
            column++;
    }
}

} // namespace pelorus
