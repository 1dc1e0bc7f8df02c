// Layout texts taken apart once; see format.h.
#include "icode/format.h"

#include <array>
#include <memory>

#include "ir/type.h"

namespace pelorus {

namespace {

std::vector<FIELD_LAYOUT> split_layout(std::string_view text) {
    std::vector<FIELD_LAYOUT> fields;
    while (!text.empty()) {
        const std::string_view field = text.substr(0, text.find(' '));
        fields.push_back({field[0], field.substr(2)});
        text.remove_prefix(std::min(field.size() + 1, text.size()));
    }
    return fields;
}

struct RECORD_TABLE {
    std::array<std::unique_ptr<RECORD_LAYOUT>, 256> rows;
    RECORD_TABLE() {
#define RECORD_KIND(number, name, layout, nested)                                                            \
    rows[number] =                                                                                           \
        std::make_unique<RECORD_LAYOUT>(RECORD_LAYOUT{number, #name, NESTED::nested, split_layout(layout)});
#include "icode/records.def"
#undef RECORD_KIND
    }
};

struct TYPE_TABLE {
    std::array<std::unique_ptr<std::vector<FIELD_LAYOUT>>, 256> rows;
    TYPE_TABLE() {
        for (unsigned kind = 0; kind < rows.size(); ++kind) {
            if (type_record_role(static_cast<uint8_t>(kind)) == TYPE_ROLE::NONE) continue;
            rows[kind] = std::make_unique<std::vector<FIELD_LAYOUT>>(
                split_layout(type_record_layout(static_cast<uint8_t>(kind))));
        }
    }
};

} // namespace

const RECORD_LAYOUT* record_layout(uint8_t kind) {
    static const RECORD_TABLE table;
    return table.rows[kind].get();
}

const std::vector<FIELD_LAYOUT>* type_layout(uint8_t type_kind) {
    static const TYPE_TABLE table;
    return table.rows[type_kind].get();
}

} // namespace pelorus
