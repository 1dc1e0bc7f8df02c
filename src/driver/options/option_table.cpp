// The option table, made from options.def while the program is compiled; see option_table.h.
//
// The names pass through consteval functions only, so the compiler has no reason to keep their plain text.
#include "driver/options/option_table.h"

namespace pelorus {

namespace {

// Differs from byte to byte, so that equal letters look different, and has the top bit set, so that no
// scrambled byte is a printable character. Scrambling twice gives the plain byte.
constexpr unsigned char scramble(unsigned char byte, size_t position) {
    return static_cast<unsigned char>(byte ^ (0x80u | ((position * 29 + 71) & 0x7f)));
}

constexpr char lower_case(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

constexpr char plain_character(const OPTION_ROW& row, size_t position) {
    return static_cast<char>(scramble(row.scrambled_name[position], position));
}

struct LEFT_OUT_ARGUMENT {
    int code;
    int value;
};

constexpr LEFT_OUT_ARGUMENT LEFT_OUT_ARGUMENTS[] = {
#define OPTION_LEFT_OUT(id, value) {OPT_##id, value},
#include "driver/options/options.def"
};

constexpr int argument_left_out(int code) {
    for (const LEFT_OUT_ARGUMENT& argument : LEFT_OUT_ARGUMENTS)
        if (argument.code == code) return argument.value;
    return -1;
}

consteval OPTION_ROW make_row(int code, std::string_view name, OPTION_KIND kind, const char* argument,
                              int64_t minimum, int64_t maximum, int radix) {
    OPTION_ROW row{code,    kind,     static_cast<uint8_t>(name.size()),
                   {},      argument, minimum,
                   maximum, radix,    argument_left_out(code)};
    for (size_t i = 0; i < name.size(); ++i) {
        row.scrambled_name[i] = scramble(static_cast<unsigned char>(name[i]), i);
    }
    return row;
}

constexpr OPTION_ROW OPTION_ROWS[] = {
#define OPTION(code, id, name, kind, argument, minimum, maximum, radix, effect, status, help)                \
    make_row(code, name, OPTION_KIND::kind, argument, minimum, maximum, radix),
#include "driver/options/options.def"
};

constexpr OPTION_VALUE VALUES[] = {
#define OPTION_VALUE(id, mark, text, value) {OPT_##id, mark, text, value},
#include "driver/options/options.def"
};

using CONFLICT_MATRIX = std::array<std::array<CONFLICT, OPTION_COUNT>, OPTION_COUNT>;

consteval CONFLICT_MATRIX make_conflict_matrix() {
    CONFLICT_MATRIX matrix{};
#define OPTION_CONFLICT(id, earlier, effect) matrix[OPT_##id][OPT_##earlier] = CONFLICT::effect;
#include "driver/options/options.def"
    return matrix;
}

constexpr CONFLICT_MATRIX CONFLICTS = make_conflict_matrix();

// The characters with which an option may begin: "#", "-", "?" and the letters but L, M, V and W.
constexpr bool may_begin_option(char c) {
    const char letter = lower_case(c);
    return c == '#' || c == '-' || c == '?' ||
           (letter >= 'a' && letter <= 'z' &&
            std::string_view("lmvw").find(letter) == std::string_view::npos);
}

constexpr bool same_name(const OPTION_ROW& a, const OPTION_ROW& b) {
    if (a.name_length != b.name_length) return false;
    for (size_t i = 0; i < a.name_length; ++i) {
        if (lower_case(plain_character(a, i)) != lower_case(plain_character(b, i))) return false;
    }
    return true;
}

constexpr bool takes_number(OPTION_KIND kind) {
    return kind == OPTION_KIND::NUMBER || kind == OPTION_KIND::HEXNUM || kind == OPTION_KIND::NUMBER_LIST;
}

consteval bool row_is_sound(const OPTION_ROW& row) {
    const bool has_argument = row.kind != OPTION_KIND::NONE;
    return row.name_length > 0 && may_begin_option(plain_character(row, 0)) &&
           has_argument == (*row.argument != '\0') && takes_number(row.kind) == (row.radix != 0) &&
           row.minimum <= row.maximum && (row.argument_left_out < 0 || row.kind == OPTION_KIND::NUMBER) &&
           (row.kind != OPTION_KIND::HEXNUM || row.minimum >= 0);
}

consteval bool rows_are_sound() {
    for (size_t i = 0; i < std::size(OPTION_ROWS); ++i) {
        if (OPTION_ROWS[i].code != static_cast<int>(i) || !row_is_sound(OPTION_ROWS[i])) return false;
        for (size_t j = 0; j < i; ++j) {
            if (same_name(OPTION_ROWS[i], OPTION_ROWS[j])) return false;
        }
    }
    return true;
}

consteval bool values_are_sound() {
    for (const OPTION_VALUE& value : VALUES) {
        if (OPTION_ROWS[value.code].kind != OPTION_KIND::ENUMERATED) return false;
    }
    return true;
}

static_assert(std::size(OPTION_ROWS) == OPTION_COUNT);
static_assert(rows_are_sound(), "a row of options.def is out of order, contradicts itself or repeats a name");
static_assert(values_are_sound(), "options.def gives a value to an option that is not enumerated");

bool begins_with_name(std::string_view text, const OPTION_ROW& row) {
    if (text.size() < row.name_length) return false;
    for (size_t i = 0; i < row.name_length; ++i) {
        if (lower_case(text[i]) != lower_case(plain_character(row, i))) return false;
    }
    return true;
}

} // namespace

std::span<const OPTION_ROW> option_rows() { return OPTION_ROWS; }

std::span<const OPTION_VALUE> option_values() { return VALUES; }

const OPTION_ROW& option_row(int code) { return OPTION_ROWS[code]; }

OPTION_NAME option_name(const OPTION_ROW& row) {
    OPTION_NAME name{};
    name.length = row.name_length;
    for (size_t i = 0; i < name.length; ++i) name.text[i] = plain_character(row, i);
    return name;
}

CONFLICT option_conflict(int code, int earlier) {
    return CONFLICTS[static_cast<size_t>(code)][static_cast<size_t>(earlier)];
}

int match_option_name(std::string_view text) {
    if (text.empty() || !may_begin_option(text.front())) return -1;
    const OPTION_ROW* best = nullptr;
    for (const OPTION_ROW& row : OPTION_ROWS) {
        if (begins_with_name(text, row) && (!best || row.name_length > best->name_length)) best = &row;
    }
    return best ? best->code : -1;
}

} // namespace pelorus
