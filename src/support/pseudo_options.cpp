// The table of pseudo-options; see pseudo_options.h.
#include "support/pseudo_options.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <string>

namespace pelorus {

namespace {

using PSEUDO_OPTION_TABLE = std::map<std::string, int32_t, std::less<>>;

// Made on first use, so that it is there for whoever asks while the program starts.
PSEUDO_OPTION_TABLE& table() {
    static PSEUDO_OPTION_TABLE pseudo_options;
    return pseudo_options;
}

// Any 32-bit pattern is accepted, signed or unsigned. A leading 0 alone does not make a number octal.
int32_t number_of(const std::string& text) {
    const size_t digits = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    if (digits == text.size() || !isdigit(static_cast<unsigned char>(text[digits]))) return 0;
    const bool is_hexadecimal = text.compare(digits, 2, "0x") == 0 || text.compare(digits, 2, "0X") == 0;
    char* end = nullptr;
    errno = 0;
    const long long value = strtoll(text.c_str(), &end, is_hexadecimal ? 16 : 10);
    if (*end != '\0' || errno == ERANGE || value < INT32_MIN || value > UINT32_MAX) return 0;
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

void add_item(std::string_view prefix, std::string_view item) {
    const size_t equals = item.find('=');
    if (item.empty() || equals == 0) return;
    if (equals == std::string_view::npos) {
        table()[std::string(prefix) + ":" + std::string(item)] = 1;
    } else {
        table()[std::string(item.substr(0, equals))] = number_of(std::string(item.substr(equals + 1)));
    }
}

// Passes ask often and users give few keys: the common answer needs no key text.
int32_t prefixed_option(std::string_view prefix, std::string_view name) {
    if (table().empty()) return 0;
    std::string key(prefix);
    key += name;
    return pseudo_option(key);
}

} // namespace

void add_pseudo_options(std::string_view prefix, std::string_view list) {
    for (;;) {
        const size_t comma = list.find(',');
        add_item(prefix, list.substr(0, comma));
        if (comma == std::string_view::npos) return;
        list.remove_prefix(comma + 1);
    }
}

int32_t pseudo_option(std::string_view key) {
    const auto found = table().find(key);
    return found == table().end() ? 0 : found->second;
}

int32_t debug_switch(std::string_view name) { return prefixed_option("debug:", name); }

int32_t disable_switch(std::string_view name) { return prefixed_option("disable:", name); }

void clear_pseudo_options() { table().clear(); }

} // namespace pelorus
