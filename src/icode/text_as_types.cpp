// Types that a text uses without describing them; see text_as.h.
//
// A label of the form that icode-dis gives to types says what the type is: "uint", "char.const*",
// "int[3][4]", "struct.list*". When no record declares such a label, its record is put in: in front of the
// first type record that uses it, or at the end of the section of types. What it is made of is declared, or
// put in likewise.
#include "icode/text_as.h"
#include "icode/text_names.h"
#include "ir/type.h"

namespace pelorus {

namespace {

constexpr size_t LONGEST_AUTO_LABEL = 120; // characters; each step towards the basic type takes at least one

bool is_known(const ASSEMBLER& as, const std::string& label) {
    return as.context.known.labels.contains(label) || as.auto_places.contains(label);
}

bool read_basic(AUTO_TYPE& type) {
    if (type.label == "char") {
        type.kind = TR_CHAR;
        type.base = "uchar";
        type.detail = 1;
        return true;
    }
    for (const BASIC_LABEL& row : basic_labels) {
        if (type.label != row.label) continue;
        type.kind = row.kind;
        type.detail = row.is_unsigned;
        return true;
    }
    return false;
}

// "int[3][4]" is an array of three "int[4]".
bool read_array(AUTO_TYPE& type) {
    const std::string& label = type.label;
    size_t first = label.size();
    while (first && label[first - 1] == ']') {
        const size_t open = label.rfind('[', first - 1);
        if (open == std::string::npos) return false;
        first = open;
    }
    const size_t close = label.find(']', first);
    const std::string count = label.substr(first + 1, close - first - 1);
    if (count.size() > 9 || count.find_first_not_of("0123456789") != std::string::npos) return false;
    type.kind = count.empty() ? TR_OPEN_ARRAY : TR_ARRAY;
    type.detail = count.empty() ? 0 : std::stoul(count);
    type.base = label.substr(0, first) + label.substr(close + 1);
    return true;
}

bool read_qualifiers(AUTO_TYPE& type) {
    type.base = type.label;
    for (;;) {
        const size_t dot = type.base.rfind('.');
        const std::string word = dot == std::string::npos ? "" : type.base.substr(dot + 1);
        const unsigned bit = word == "const"      ? Q_CONST
                             : word == "volatile" ? Q_VOLATILE
                             : word == "restrict" ? Q_RESTRICT
                                                  : 0;
        if (!bit || (type.detail & bit)) break;
        type.detail |= bit;
        type.base.resize(dot);
    }
    type.kind = TR_QUALIFIED;
    return type.detail != 0;
}

bool read_pointer(AUTO_TYPE& type) {
    type.kind = TR_POINTER;
    type.base = type.label.substr(0, type.label.size() - 1);
    return !type.base.empty();
}

bool read_label(AUTO_TYPE& type) {
    if (read_basic(type)) return true;
    if (type.label.ends_with('*')) return read_pointer(type);
    return type.label.ends_with(']') ? read_array(type) : read_qualifiers(type);
}

// Enters the type of a label, and before it what it is made of. False when the label does not say what it
// means.
bool add_auto_type(ASSEMBLER& as, const std::string& label) {
    if (is_known(as, label)) return true;
    AUTO_TYPE type;
    type.label = label;
    if (label.size() > LONGEST_AUTO_LABEL || !read_label(type)) return false;
    if (!type.base.empty() && !add_auto_type(as, type.base)) return false;
    as.auto_places[label] = as.auto_types.size();
    as.auto_types.push_back(type);
    return true;
}

class FIELDS {
public:
    explicit FIELDS(TEXT_RECORD& record) : given(record.values.size()), record_(record) {}
    void set(std::string_view name, uint64_t number) {
        for (size_t i = 0; i < record_.fields->size(); ++i) {
            if ((*record_.fields)[i].name != name) continue;
            record_.values[i].numbers[0].value = number;
            given[i] = true;
        }
    }
    std::vector<bool> given;

private:
    TEXT_RECORD& record_;
};

uint64_t label_index(const ASSEMBLER& as, const std::string& label) {
    const auto found = as.context.filling.labels.find(label);
    if (found != as.context.filling.labels.end()) return found->second;
    const auto known = as.context.known.labels.find(label);
    return known == as.context.known.labels.end() ? 0 : known->second;
}

void emit_auto_type(ASSEMBLER& as, const AUTO_TYPE& type) {
    TEXT_RECORD record = new_record(RK_TYPE);
    choose_type_kind(record, type.kind);
    FIELDS fields(record);
    for (const char* base : {"related", "target", "element", "base"})
        if (!type.base.empty() && (type.kind != TR_QUALIFIED || base != std::string_view("related")))
            fields.set(base, label_index(as, type.base));
    if (type.kind == TR_ARRAY)
        fields.set("count", type.detail);
    else if (type.kind != TR_QUALIFIED)
        fields.set("unsigned", type.detail);
    fields.set("const", (type.detail & Q_CONST) != 0);
    fields.set("volatile", (type.detail & Q_VOLATILE) != 0);
    fields.set("restrict", (type.detail & Q_RESTRICT) != 0);
    emit_type(as, record, fields.given, type.label);
}

bool is_emitted(const ASSEMBLER& as, const std::string& label) {
    return as.context.filling.labels.contains(label);
}

void emit_auto_label(ASSEMBLER& as, const std::string& label) {
    const auto place = as.auto_places.find(label);
    if (place == as.auto_places.end() || is_emitted(as, label)) return;
    const AUTO_TYPE& type = as.auto_types[place->second];
    if (!type.base.empty()) emit_auto_label(as, type.base);
    emit_auto_type(as, type);
}

} // namespace

void find_auto_types(ASSEMBLER& as) {
    for (const std::string& label : as.unknown_labels) add_auto_type(as, label);
}

void emit_used_auto_types(ASSEMBLER& as) {
    for (const std::string& label : as.line_labels) emit_auto_label(as, label);
}

void emit_all_auto_types(ASSEMBLER& as) {
    for (const AUTO_TYPE& type : as.auto_types) emit_auto_label(as, type.label);
}

bool auto_types_wait(const ASSEMBLER& as) {
    for (const AUTO_TYPE& type : as.auto_types)
        if (!is_emitted(as, type.label)) return true;
    return false;
}

} // namespace pelorus
