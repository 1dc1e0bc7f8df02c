// The tokens of a text form. Local to the text form.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pelorus {

enum class TOKEN : uint8_t {
    END,    // of the text
    LINE,   // end of a line, outside parentheses; empty lines give none
    WORD,   // a name, a keyword, a label of a type
    NUMBER, // begins with a digit, or with "-" and a digit
    STRING, // between quotation marks
    SYMBOL, // "@" and a name
    POINT,  // "@" in front of a number
    OTHER,  // one character: ( ) , : = ~ ! + [ ]
};

// Ends the assembly: what was wrong, and where.
struct TEXT_ERROR {
    size_t offset;
    std::string message;
};

class TEXT_LEXER {
public:
    explicit TEXT_LEXER(std::string_view text) : text_(text) { next(); }

    TOKEN kind = TOKEN::END;
    std::string_view
        word; // the characters; of SYMBOL without "@", of STRING without quotation marks and undecoded
    size_t start = 0; // offset of the token

    // Reads the next token.
    void next();
    bool is(char c) const { return kind == TOKEN::OTHER && word[0] == c; }
    // What the string that is the token stands for.
    std::string string_value() const;
    // Reads bytes in hexadecimal that stand behind the token, two digits each, with `blanks` between them or
    // not; then the next token.
    std::string hex_bytes(bool blanks);

    [[noreturn]] void fail(const std::string& message) const { throw TEXT_ERROR{start, message}; }
    // Fails with what is expected and what stands there.
    [[noreturn]] void expected(const std::string& what) const;

private:
    void skip_blanks();
    void read_string();
    void read_number();

    std::string_view text_;
    size_t at_ = 0;
    int depth_ = 0; // open parentheses
    bool line_begins_ = true;
};

// 1-based line and column of an offset.
void text_place(std::string_view text, size_t offset, size_t& line, size_t& column);

} // namespace pelorus
