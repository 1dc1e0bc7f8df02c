// ctype.h: the classes of characters in the "C" locale, as functions and as the tables that the target's
// headers look into.
#include <cctype>
#include <ctype.h>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

// The tables have an entry for each value from -128 to 255.
constexpr int FIRST = -128, ENTRIES = 384;

// The host's tables have the same entries, as long as nobody sets a locale.
template <typename T>
void give_table(GUEST_CALL& call, int number, const char* name, const T* host_table) {
    ADDRESS& known = call.library.character_tables[number];
    if (known) return give(call, known);
    const auto* first = reinterpret_cast<const char*>(host_table + FIRST);
    const ADDRESS table =
        library_object(call.library, name, std::string_view(first, ENTRIES * sizeof(T)), alignof(T));
    const ADDRESS zero = table + static_cast<uint32_t>(-FIRST * int{sizeof(T)});
    known = library_object(call.library, std::string("the address of ") + name,
                           std::string_view(reinterpret_cast<const char*>(&zero), sizeof zero), 4);
    give(call, known);
}

void call_ctype_b_loc(GUEST_CALL& call) { give_table(call, 0, "the table of characters", *__ctype_b_loc()); }

void call_ctype_tolower_loc(GUEST_CALL& call) {
    give_table(call, 1, "the table of small letters", *__ctype_tolower_loc());
}

void call_ctype_toupper_loc(GUEST_CALL& call) {
    give_table(call, 2, "the table of capital letters", *__ctype_toupper_loc());
}

int character_argument(GUEST_CALL& call) {
    const int c = int_argument(call, 0);
    if (c < FIRST || c >= FIRST + ENTRIES) trap(call.machine, "%d is no character", c);
    return c;
}

// The bit of the table is what the target's functions return.
template <int BIT>
void call_class(GUEST_CALL& call) {
    give(call, (*__ctype_b_loc())[character_argument(call)] & BIT);
}

void call_tolower(GUEST_CALL& call) {
    const int c = int_argument(call, 0);
    give(call, c >= 'A' && c <= 'Z' ? c + 32 : c);
}

void call_toupper(GUEST_CALL& call) {
    const int c = int_argument(call, 0);
    give(call, c >= 'a' && c <= 'z' ? c - 32 : c);
}

void call_isascii(GUEST_CALL& call) { give(call, (int_argument(call, 0) & ~0x7F) == 0); }
void call_toascii(GUEST_CALL& call) { give(call, int_argument(call, 0) & 0x7F); }

const LIBRARY_ROW CHARACTER_ROWS[] = {
    {"_isupper", call_class<_ISupper>, CALL_EFFECT::NONE},
    {"_islower", call_class<_ISlower>, CALL_EFFECT::NONE},
    {"_isalpha", call_class<_ISalpha>, CALL_EFFECT::NONE},
    {"_isdigit", call_class<_ISdigit>, CALL_EFFECT::NONE},
    {"_isxdigit", call_class<_ISxdigit>, CALL_EFFECT::NONE},
    {"_isspace", call_class<_ISspace>, CALL_EFFECT::NONE},
    {"_isprint", call_class<_ISprint>, CALL_EFFECT::NONE},
    {"_isgraph", call_class<_ISgraph>, CALL_EFFECT::NONE},
    {"_isblank", call_class<_ISblank>, CALL_EFFECT::NONE},
    {"_iscntrl", call_class<_IScntrl>, CALL_EFFECT::NONE},
    {"_ispunct", call_class<_ISpunct>, CALL_EFFECT::NONE},
    {"_isalnum", call_class<_ISalnum>, CALL_EFFECT::NONE},
    {"_isascii", call_isascii, CALL_EFFECT::NONE},
    {"_toascii", call_toascii, CALL_EFFECT::NONE},
    {"_tolower", call_tolower, CALL_EFFECT::NONE},
    {"_toupper", call_toupper, CALL_EFFECT::NONE},
    {"___ctype_b_loc", call_ctype_b_loc, CALL_EFFECT::NONE},
    {"___ctype_tolower_loc", call_ctype_tolower_loc, CALL_EFFECT::NONE},
    {"___ctype_toupper_loc", call_ctype_toupper_loc, CALL_EFFECT::NONE},
};

} // namespace

std::span<const LIBRARY_ROW> character_functions() { return CHARACTER_ROWS; }

} // namespace pelorus
