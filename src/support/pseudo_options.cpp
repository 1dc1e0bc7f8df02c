// The table of pseudo-options; see pseudo_options.h.
#include "support/pseudo_options.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

namespace pelorus {

namespace {

// A key in two parts, for a search that forms no text.
struct KEY_PARTS {
    std::string_view prefix; // with the colon
    std::string_view name;
};

struct KEY_ORDER {
    using is_transparent = void;

    static int compare(std::string_view key, const KEY_PARTS& parts) {
        const int order = key.substr(0, parts.prefix.size()).compare(parts.prefix);
        return order ? order : key.substr(parts.prefix.size()).compare(parts.name);
    }
    bool operator()(std::string_view a, std::string_view b) const { return a < b; }
    bool operator()(std::string_view key, const KEY_PARTS& parts) const { return compare(key, parts) < 0; }
    bool operator()(const KEY_PARTS& parts, std::string_view key) const { return compare(key, parts) > 0; }
};

using KEYS = std::map<std::string, int32_t, KEY_ORDER>;

struct PSEUDO_OPTION_TABLE {
    KEYS keys;
    KEYS saved;
    bool changed = false; // since `keys` was saved
};

// Made on first use, so that it is there for whoever asks while the program starts.
PSEUDO_OPTION_TABLE& table() {
    static PSEUDO_OPTION_TABLE pseudo_options;
    return pseudo_options;
}

// Any 32-bit pattern is accepted, signed or unsigned. A leading 0 alone does not make a number octal.
std::optional<int32_t> number_of(const std::string& text) {
    const size_t digits = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    if (digits == text.size() || !isdigit(static_cast<unsigned char>(text[digits]))) return {};
    const bool is_hexadecimal = text.compare(digits, 2, "0x") == 0 || text.compare(digits, 2, "0X") == 0;
    char* end = nullptr;
    errno = 0;
    const long long value = strtoll(text.c_str(), &end, is_hexadecimal ? 16 : 10);
    if (*end != '\0' || errno == ERANGE || value < INT32_MIN || value > UINT32_MAX) return {};
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

bool is_whole_key(std::string_view name) {
    return name.starts_with("debug:") || name.starts_with("disable:");
}

void add_item(std::string_view prefix, std::string_view item) {
    const size_t equals = item.find('=');
    if (item.empty() || equals == 0) return;
    const std::string_view name = item.substr(0, equals);
    const bool has_value = equals != std::string_view::npos;
    std::string key(name);
    if (!has_value || !is_whole_key(name)) key.insert(0, std::string(prefix) + ":");
    table().keys[key] = has_value ? number_of(std::string(item.substr(equals + 1))).value_or(0) : 1;
    table().changed = true;
}

template <class KEY>
const int32_t* find_value(const KEY& key) {
    const KEYS& keys = table().keys;
    if (keys.empty()) return nullptr;
    const auto found = keys.find(key);
    return found == keys.end() ? nullptr : &found->second;
}

int32_t value_or_0(const int32_t* value) { return value ? *value : 0; }

} // namespace

void add_pseudo_options(std::string_view prefix, std::string_view list) {
    for (;;) {
        const size_t comma = list.find(',');
        add_item(prefix, list.substr(0, comma));
        if (comma == std::string_view::npos) return;
        list.remove_prefix(comma + 1);
    }
}

bool is_pseudo_value(std::string_view text) { return number_of(std::string(text)).has_value(); }

int32_t pseudo_option(std::string_view key) { return value_or_0(find_value(key)); }

int32_t debug_switch(std::string_view name) { return value_or_0(find_value(KEY_PARTS{"debug:", name})); }

int32_t disable_switch(std::string_view name) { return value_or_0(find_value(KEY_PARTS{"disable:", name})); }

bool has_debug_switch(std::string_view name) { return find_value(KEY_PARTS{"debug:", name}) != nullptr; }

void save_pseudo_options() {
    table().saved = table().keys;
    table().changed = false;
}

void restore_pseudo_options() {
    if (!table().changed) return;
    table().keys = table().saved;
    table().changed = false;
}

void clear_pseudo_options() { table() = PSEUDO_OPTION_TABLE(); }

} // namespace pelorus
