// The small parts of a text: numbers, types, symbols, strings; see text_as.h.
#include "icode/text_as.h"
#include "icode/text_names.h"

namespace pelorus {

std::string_view keep(ASSEMBLER& as, std::string text) { return as.strings.emplace_back(std::move(text)); }

bool accept(ASSEMBLER& as, char c) {
    if (!as.lexer.is(c)) return false;
    as.lexer.next();
    return true;
}

void expect(ASSEMBLER& as, char c) {
    if (!accept(as, c)) as.lexer.expected(std::string("\"") + c + "\"");
}

namespace {

// A decimal or "0x" number of at most 64 bits, with a sign perhaps.
bool read_integer(std::string_view text, uint64_t& value) {
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative);
    const unsigned base = text.starts_with("0x") ? 16 : 10;
    if (base == 16) text.remove_prefix(2);
    value = 0;
    for (const char c : text) {
        const char lower = static_cast<char>(c | 0x20);
        const unsigned digit =
            c <= '9' ? static_cast<unsigned>(c - '0') : static_cast<unsigned>(lower - 'a') + 10;
        if (c < '0' || digit >= base || value > (UINT64_MAX - digit) / base) return false;
        value = value * base + digit;
    }
    if (negative && value > uint64_t{1} << 63) return false;
    if (negative) value = 0 - value;
    return !text.empty();
}

} // namespace

uint32_t parse_width(ASSEMBLER& as) {
    if (!accept(as, '~')) return 0;
    uint64_t width = 0;
    if (as.lexer.kind != TOKEN::NUMBER || !read_integer(as.lexer.word, width) || !width ||
        width > LONGEST_NUMBER)
        as.lexer.expected("a number of bytes from 1 to " + std::to_string(LONGEST_NUMBER));
    as.lexer.next();
    return static_cast<uint32_t>(width);
}

TEXT_NUMBER parse_number(ASSEMBLER& as) {
    TEXT_NUMBER number;
    if (as.lexer.kind != TOKEN::NUMBER || !read_integer(as.lexer.word, number.value))
        as.lexer.expected("an integer of at most 64 bits");
    as.lexer.next();
    number.width = parse_width(as);
    return number;
}

TEXT_NUMBER parse_type(ASSEMBLER& as) {
    if (as.lexer.kind == TOKEN::NUMBER) return parse_number(as);
    if (as.lexer.kind != TOKEN::WORD) as.lexer.expected("a type: an index or a label");
    const std::string label(as.lexer.word);
    as.line_labels.push_back(label);
    TEXT_NUMBER index;
    const auto found = as.context.filling.labels.find(label);
    const auto known = as.context.known.labels.find(label);
    if (found != as.context.filling.labels.end())
        index.value = found->second;
    else if (known != as.context.known.labels.end())
        index.value = known->second;
    else if (as.last_pass)
        as.lexer.fail("no type has the label \"" + label + "\"");
    else
        as.unknown_labels.push_back(label);
    as.lexer.next();
    index.width = parse_width(as);
    return index;
}

void check_name(ASSEMBLER& as, const TEXT_SYMBOL* symbol) {
    if (as.lexer.kind != TOKEN::STRING) return;
    const std::string name = as.lexer.string_value();
    if (as.last_pass && !symbol) as.lexer.fail("there is no symbol with this number");
    if (as.last_pass && symbol->name != name)
        as.lexer.fail("the symbol with this number is " + quoted(symbol->name));
    as.lexer.next();
}

TEXT_NUMBER parse_global(ASSEMBLER& as) {
    if (as.lexer.kind == TOKEN::WORD && as.lexer.word == "global") {
        as.lexer.next();
        const TEXT_NUMBER index = parse_number(as);
        check_name(as, as.context.known.global(index.value));
        return index;
    }
    if (as.lexer.kind != TOKEN::SYMBOL)
        as.lexer.expected("a global symbol: \"@\" and its name, or \"global\" and its number");
    const auto& names = as.context.known.global_names;
    const auto found = names.find(as.lexer.word);
    TEXT_NUMBER index;
    if (found != names.end())
        index.value = found->second;
    else if (as.last_pass)
        as.lexer.fail("no global symbol has the name \"" + std::string(as.lexer.word) + "\"");
    if (as.last_pass && index.value == TEXT_TABLES::NOT_UNIQUE)
        as.lexer.fail("several global symbols have this name: write \"global\" and the number");
    as.lexer.next();
    return index;
}

std::string_view parse_string(ASSEMBLER& as, bool may_hold_zero) {
    if (as.lexer.kind != TOKEN::STRING) as.lexer.expected("a string");
    const std::string value = as.lexer.string_value();
    if (!may_hold_zero && value.find('\0') != std::string::npos)
        as.lexer.fail("a zero byte inside a text that ends with one");
    as.lexer.next();
    return keep(as, value);
}

std::string_view encode_number(ASSEMBLER& as, const TEXT_NUMBER& number, bool is_signed) {
    std::string encoding;
    (is_signed ? encode_sleb : encode_uleb)(number, encoding);
    return keep(as, encoding);
}

std::string_view parse_encoded_number(ASSEMBLER& as, bool is_signed) {
    if (as.lexer.kind != TOKEN::WORD || as.lexer.word != "leb") {
        const bool negative = as.lexer.word.starts_with('-');
        if (as.last_pass && negative && !is_signed) as.lexer.fail("a negative number of an unsigned type");
        return encode_number(as, parse_number(as), is_signed);
    }
    as.lexer.next();
    if (!as.lexer.is(':')) as.lexer.expected("\":\" behind \"leb\"");
    return keep(as, as.lexer.hex_bytes(false));
}

} // namespace pelorus
