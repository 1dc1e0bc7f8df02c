// The library's functions on texts: string.h's str..., with the names that headers put in their place.
#include <algorithm>
#include <cerrno>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

std::string_view text_argument(GUEST_CALL& call, uint32_t index) {
    return read_text(call.machine, word_argument(call, index));
}

uint32_t length_of(std::string_view text) { return static_cast<uint32_t>(text.size()); }

uint8_t lower(uint8_t c) { return c >= 'A' && c <= 'Z' ? static_cast<uint8_t>(c + 32) : c; }

// --- Lengths, copies ---

void call_strlen(GUEST_CALL& call) { give(call, length_of(text_argument(call, 0))); }

void call_strnlen(GUEST_CALL& call) {
    give(call, length_of(read_text_within(call.machine, word_argument(call, 0), word_argument(call, 1))));
}

// Copies a text of `length` bytes and gives where its zero byte went.
ADDRESS copy_text(GUEST_CALL& call, const char* name, ADDRESS to, ADDRESS from) {
    const std::string_view text = read_text(call.machine, from);
    need_apart(call.machine, name, to, length_of(text) + 1, from, length_of(text) + 1);
    write_text(call.machine, to, text);
    return to + length_of(text);
}

// The same for at most `size` bytes; what is left of them is filled with zero bytes.
ADDRESS copy_text_within(GUEST_CALL& call, const char* name, ADDRESS to, ADDRESS from, uint32_t size) {
    if (size == 0) return to;
    const std::string_view text = read_text_within(call.machine, from, size);
    need_apart(call.machine, name, to, size, from, std::min(length_of(text) + 1, size));
    uint8_t* place = write_place(call.machine, to, size);
    std::copy(text.begin(), text.end(), place);
    std::fill(place + text.size(), place + size, uint8_t{0});
    return to + length_of(text);
}

// Appends at most `limit` bytes of a text to another.
void append_text(GUEST_CALL& call, const char* name, uint32_t limit) {
    const ADDRESS to = word_argument(call, 0), from = word_argument(call, 1);
    const uint32_t before = length_of(read_text(call.machine, to));
    const std::string_view text = read_text_within(call.machine, from, limit);
    need_apart(call.machine, name, to, before + length_of(text) + 1, from, std::max(length_of(text), 1u));
    write_text(call.machine, to + before, text);
    give(call, to);
}

void call_strcpy(GUEST_CALL& call) {
    copy_text(call, "strcpy", word_argument(call, 0), word_argument(call, 1));
    give(call, word_argument(call, 0));
}

void call_stpcpy(GUEST_CALL& call) {
    give(call, copy_text(call, "stpcpy", word_argument(call, 0), word_argument(call, 1)));
}

void call_strncpy(GUEST_CALL& call) {
    copy_text_within(call, "strncpy", word_argument(call, 0), word_argument(call, 1), word_argument(call, 2));
    give(call, word_argument(call, 0));
}

void call_stpncpy(GUEST_CALL& call) {
    give(call, copy_text_within(call, "stpncpy", word_argument(call, 0), word_argument(call, 1),
                                word_argument(call, 2)));
}

void call_strcat(GUEST_CALL& call) { append_text(call, "strcat", UINT32_MAX); }
void call_strncat(GUEST_CALL& call) { append_text(call, "strncat", word_argument(call, 2)); }

// The checked forms: how many bytes would be written against the room, which is the last argument.
void check_room(GUEST_CALL& call, const char* name, uint64_t size, uint32_t room) {
    if (size > room)
        trap(call.machine, "%s: %llu bytes do not fit into %u", name, static_cast<unsigned long long>(size),
             room);
}

void call_strcpy_chk(GUEST_CALL& call) {
    check_room(call, "strcpy", text_argument(call, 1).size() + 1, word_argument(call, 2));
    call_strcpy(call);
}

void call_stpcpy_chk(GUEST_CALL& call) {
    check_room(call, "stpcpy", text_argument(call, 1).size() + 1, word_argument(call, 2));
    call_stpcpy(call);
}

void call_strncpy_chk(GUEST_CALL& call) {
    check_room(call, "strncpy", word_argument(call, 2), word_argument(call, 3));
    call_strncpy(call);
}

void call_strcat_chk(GUEST_CALL& call) {
    const size_t size = text_argument(call, 0).size() + text_argument(call, 1).size() + 1;
    check_room(call, "strcat", size, word_argument(call, 2));
    call_strcat(call);
}

void call_strncat_chk(GUEST_CALL& call) {
    const size_t added =
        read_text_within(call.machine, word_argument(call, 1), word_argument(call, 2)).size();
    check_room(call, "strncat", text_argument(call, 0).size() + added + 1, word_argument(call, 3));
    call_strncat(call);
}

void call_strdup(GUEST_CALL& call) { give(call, allocate_text(call.library, text_argument(call, 0))); }

void call_strndup(GUEST_CALL& call) {
    const std::string_view text =
        read_text_within(call.machine, word_argument(call, 0), word_argument(call, 1));
    give(call, allocate_text(call.library, text));
}

// --- Comparisons ---

// The difference of the first bytes that differ, at most `limit` of them looked at: what lies behind a
// difference or an end need not be there.
int compare_texts(GUEST_CALL& call, uint32_t limit, bool fold) {
    const ADDRESS a = word_argument(call, 0), b = word_argument(call, 1);
    for (uint32_t i = 0; i < limit; ++i) {
        uint8_t x = load_byte(call.machine, a + i), y = load_byte(call.machine, b + i);
        if (fold) {
            x = lower(x);
            y = lower(y);
        }
        if (x != y) return x - y;
        if (x == 0) return 0;
    }
    return 0;
}

void call_strcmp(GUEST_CALL& call) { give(call, compare_texts(call, UINT32_MAX, false)); }
void call_strncmp(GUEST_CALL& call) { give(call, compare_texts(call, word_argument(call, 2), false)); }
void call_strcasecmp(GUEST_CALL& call) { give(call, compare_texts(call, UINT32_MAX, true)); }
void call_strncasecmp(GUEST_CALL& call) { give(call, compare_texts(call, word_argument(call, 2), true)); }

void call_strxfrm(GUEST_CALL& call) {
    const std::string text(text_argument(call, 1));
    const uint32_t room = word_argument(call, 2);
    if (text.size() < room) write_text(call.machine, word_argument(call, 0), text);
    give(call, length_of(text));
}

// --- Searches ---

void call_strchr(GUEST_CALL& call) {
    const auto wanted = static_cast<uint8_t>(int_argument(call, 1));
    for (ADDRESS place = word_argument(call, 0);; ++place) {
        const uint8_t byte = load_byte(call.machine, place);
        if (byte == wanted) return give(call, place);
        if (byte == 0) return give(call, 0);
    }
}

void call_strchrnul(GUEST_CALL& call) {
    const auto wanted = static_cast<uint8_t>(int_argument(call, 1));
    ADDRESS place = word_argument(call, 0);
    for (uint8_t byte = load_byte(call.machine, place); byte && byte != wanted;)
        byte = load_byte(call.machine, ++place);
    give(call, place);
}

void call_strrchr(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0);
    const auto wanted = static_cast<char>(int_argument(call, 1));
    const std::string_view text = read_text(call.machine, place);
    if (wanted == 0) return give(call, place + length_of(text));
    const size_t found = text.rfind(wanted);
    give(call, found == std::string_view::npos ? 0 : place + static_cast<uint32_t>(found));
}

// What lies `found` bytes into the first argument; null for npos.
void give_found(GUEST_CALL& call, size_t found) {
    give(call, found == std::string_view::npos ? 0 : word_argument(call, 0) + static_cast<uint32_t>(found));
}

void call_strstr(GUEST_CALL& call) { give_found(call, text_argument(call, 0).find(text_argument(call, 1))); }

void call_strcasestr(GUEST_CALL& call) {
    std::string text(text_argument(call, 0)), wanted(text_argument(call, 1));
    for (std::string* folded : {&text, &wanted})
        for (char& c : *folded) c = static_cast<char>(lower(static_cast<uint8_t>(c)));
    give_found(call, text.find(wanted));
}

void call_strpbrk(GUEST_CALL& call) {
    give_found(call, text_argument(call, 0).find_first_of(text_argument(call, 1)));
}

void call_strspn(GUEST_CALL& call) {
    const std::string_view text = text_argument(call, 0);
    give(call, length_of(text.substr(0, text.find_first_not_of(text_argument(call, 1)))));
}

void call_strcspn(GUEST_CALL& call) {
    const std::string_view text = text_argument(call, 0);
    give(call, length_of(text.substr(0, text.find_first_of(text_argument(call, 1)))));
}

// --- Tokens ---

// The next token at `place`, 0 when there is none; `rest` becomes where the next search begins.
ADDRESS next_token(GUEST_CALL& call, ADDRESS place, ADDRESS separators_at, ADDRESS& rest) {
    const std::string separators(read_text(call.machine, separators_at));
    const std::string_view text = read_text(call.machine, place);
    const size_t first = text.find_first_not_of(separators);
    if (first == std::string_view::npos) {
        rest = place + length_of(text);
        return 0;
    }
    const size_t end = text.find_first_of(separators, first);
    if (end == std::string_view::npos) {
        rest = place + length_of(text);
    } else {
        rest = place + static_cast<uint32_t>(end) + 1;
        store<uint8_t>(call.machine, rest - 1, 0);
    }
    return place + static_cast<uint32_t>(first);
}

void call_strtok(GUEST_CALL& call) {
    ADDRESS place = word_argument(call, 0);
    if (!place) place = call.library.token_rest;
    if (!place) return give(call, 0);
    give(call, next_token(call, place, word_argument(call, 1), call.library.token_rest));
}

void call_strtok_r(GUEST_CALL& call) {
    const ADDRESS state = word_argument(call, 2);
    ADDRESS place = word_argument(call, 0);
    if (!place) place = load<ADDRESS>(call.machine, state);
    ADDRESS rest = 0;
    const ADDRESS token = place ? next_token(call, place, word_argument(call, 1), rest) : 0;
    store(call.machine, state, rest);
    give(call, token);
}

void call_strsep(GUEST_CALL& call) {
    const ADDRESS state = word_argument(call, 0);
    const auto place = load<ADDRESS>(call.machine, state);
    if (!place) return give(call, 0);
    const size_t end = read_text(call.machine, place).find_first_of(text_argument(call, 1));
    ADDRESS rest = 0;
    if (end != std::string_view::npos) {
        rest = place + static_cast<uint32_t>(end) + 1;
        store<uint8_t>(call.machine, rest - 1, 0);
    }
    store(call.machine, state, rest);
    give(call, place);
}

// --- Messages ---

void call_strerror(GUEST_CALL& call) {
    const int number = int_argument(call, 0);
    const std::string text = std::strerror(number);
    const std::string name = "the message of error " + std::to_string(number);
    give(call, library_object(call.library, name, std::string_view(text.c_str(), text.size() + 1), 1));
}

const LIBRARY_ROW STRING_ROWS[] = {
    {"_strlen", call_strlen, CALL_EFFECT::NONE},
    {"_strnlen", call_strnlen, CALL_EFFECT::NONE},
    {"_strcpy", call_strcpy, CALL_EFFECT::INSIDE},
    {"_stpcpy", call_stpcpy, CALL_EFFECT::INSIDE},
    {"___stpcpy", call_stpcpy, CALL_EFFECT::INSIDE},
    {"_strncpy", call_strncpy, CALL_EFFECT::INSIDE},
    {"_stpncpy", call_stpncpy, CALL_EFFECT::INSIDE},
    {"___stpncpy", call_stpncpy, CALL_EFFECT::INSIDE},
    {"_strcat", call_strcat, CALL_EFFECT::INSIDE},
    {"_strncat", call_strncat, CALL_EFFECT::INSIDE},
    {"___strcpy_chk", call_strcpy_chk, CALL_EFFECT::INSIDE},
    {"___stpcpy_chk", call_stpcpy_chk, CALL_EFFECT::INSIDE},
    {"___strncpy_chk", call_strncpy_chk, CALL_EFFECT::INSIDE},
    {"___strcat_chk", call_strcat_chk, CALL_EFFECT::INSIDE},
    {"___strncat_chk", call_strncat_chk, CALL_EFFECT::INSIDE},
    {"_strdup", call_strdup, CALL_EFFECT::INSIDE},
    {"___strdup", call_strdup, CALL_EFFECT::INSIDE},
    {"_strndup", call_strndup, CALL_EFFECT::INSIDE},
    {"___strndup", call_strndup, CALL_EFFECT::INSIDE},
    {"_strcmp", call_strcmp, CALL_EFFECT::NONE},
    {"_strcoll", call_strcmp, CALL_EFFECT::NONE},
    {"_strncmp", call_strncmp, CALL_EFFECT::NONE},
    {"_strcasecmp", call_strcasecmp, CALL_EFFECT::NONE},
    {"_strncasecmp", call_strncasecmp, CALL_EFFECT::NONE},
    {"_strxfrm", call_strxfrm, CALL_EFFECT::INSIDE},
    {"_strchr", call_strchr, CALL_EFFECT::NONE},
    {"_index", call_strchr, CALL_EFFECT::NONE},
    {"_strchrnul", call_strchrnul, CALL_EFFECT::NONE},
    {"_strrchr", call_strrchr, CALL_EFFECT::NONE},
    {"_rindex", call_strrchr, CALL_EFFECT::NONE},
    {"_strstr", call_strstr, CALL_EFFECT::NONE},
    {"_strcasestr", call_strcasestr, CALL_EFFECT::NONE},
    {"_strpbrk", call_strpbrk, CALL_EFFECT::NONE},
    {"_strspn", call_strspn, CALL_EFFECT::NONE},
    {"_strcspn", call_strcspn, CALL_EFFECT::NONE},
    {"_strtok", call_strtok, CALL_EFFECT::INSIDE},
    {"_strtok_r", call_strtok_r, CALL_EFFECT::INSIDE},
    {"___strtok_r", call_strtok_r, CALL_EFFECT::INSIDE},
    {"_strsep", call_strsep, CALL_EFFECT::INSIDE},
    {"___strsep", call_strsep, CALL_EFFECT::INSIDE},
    {"_strerror", call_strerror, CALL_EFFECT::NONE},
};

} // namespace

std::span<const LIBRARY_ROW> string_functions() { return STRING_ROWS; }

} // namespace pelorus
