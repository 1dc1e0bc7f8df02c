// The assembler: a text as the bytes of a file; see text_form.h.
//
// A text may use names before it declares them, so it is read four times over:
//   1. learn the labels of types, which say nothing about bytes yet, and find those that are used without a
//      record;
//   2. learn what the types are, now that labels have their numbers;
//   3. learn the types of symbols that stand in front of the types;
//   4. with everything known, put the bytes together and report names that mean nothing.
// Each reading forms bytes, so that there is one way through a text; those of the last one count.
#include "icode/text_as.h"

#include "icode/text_form.h"
#include "icode/text_names.h"
#include "ir/type.h"

namespace pelorus {

namespace {

constexpr int READINGS = 4;

// --- Records ---

bool is_auto_field(const ASSEMBLER& as, const TEXT_RECORD& record, size_t i) {
    const FIELD_LAYOUT& field = (*record.fields)[i];
    if (is_section_offset(record, field)) return as.bytes.empty();
    return record.kind == RK_SYMBOL && field.name == "pragmas";
}

void fill_default(ASSEMBLER& as, TEXT_RECORD& record, size_t i) {
    const FIELD_LAYOUT& field = (*record.fields)[i];
    if (const auto number = default_number(as.context, record, i))
        record.values[i].numbers[0].value = *number;
    if (field.code == 'v') record.values[i].text = keep(as, std::string(1, '\0'));
    if (field.name == "magic") record.values[i].text = ICODE_MAGIC;
}

// Remembers where a field waits for what comes later; `offset` is its place in the output.
void remember_auto_field(ASSEMBLER& as, const TEXT_RECORD& record, size_t i, size_t offset) {
    if (record.kind == RK_SYMBOL) {
        as.pragma_count = offset;
        return;
    }
    int section = 0;
    for (size_t k = 0; k < i; ++k) section += is_section_offset(record, (*record.fields)[k]);
    as.header_words[section] = offset;
}

} // namespace

void emit_record(ASSEMBLER& as, TEXT_RECORD& record, const std::vector<bool>& given) {
    std::string body;
    if (record.kind == RK_TYPE) {
        encode_uleb(record.type, body);
        body.push_back(static_cast<char>(record.type_kind));
    }
    std::vector<std::pair<size_t, size_t>> waiting; // field, place in the body
    for (size_t i = 0; i < record.values.size(); ++i) {
        if (!given[i] && is_auto_field(as, record, i))
            waiting.emplace_back(i, body.size());
        else if (!given[i])
            fill_default(as, record, i);
        encode_value((*record.fields)[i].code, record.values[i], body);
    }
    encode_trees(record, body);
    body.append(record.extra);
    std::string head(1, static_cast<char>(record.kind));
    encode_uleb({body.size(), record.width}, head);
    for (const auto& [field, place] : waiting)
        remember_auto_field(as, record, field, as.bytes.size() + head.size() + place);
    as.bytes += head;
    as.bytes += body;
    note_record(as.context, record);
}

void emit_type(ASSEMBLER& as, TEXT_RECORD& record, const std::vector<bool>& given, std::string_view label) {
    if (!record.type.value && !record.type.width && !label.empty())
        record.type.value = as.context.place.last_type + 1;
    if (!label.empty()) {
        const auto [place, added] =
            as.context.filling.labels.try_emplace(std::string(label), record.type.value);
        if (!added) as.lexer.fail("the label \"" + std::string(label) + "\" is declared twice");
    }
    emit_record(as, record, given);
}

namespace {

// --- Fields ---

struct RECORD_LINE {
    TEXT_RECORD record;
    std::vector<bool> given;
    bool after_trees = false;
};

int field_by_code(const RECORD_LINE& line, char code) {
    for (size_t i = 0; i < line.given.size(); ++i)
        if ((*line.record.fields)[i].code == code && !line.given[i]) return static_cast<int>(i);
    return -1;
}

int field_by_name(const RECORD_LINE& line, std::string_view name) {
    for (size_t i = 0; i < line.given.size(); ++i)
        if ((*line.record.fields)[i].name == name) return static_cast<int>(i);
    return -1;
}

TEXT_VALUE& take_field(ASSEMBLER& as, RECORD_LINE& line, int i) {
    const auto at = static_cast<size_t>(i);
    if (line.given[at])
        as.lexer.fail("the field \"" + std::string((*line.record.fields)[at].name) + "\" is given twice");
    line.given[at] = true;
    return line.record.values[at];
}

void parse_position(ASSEMBLER& as, TEXT_VALUE& value) {
    as.lexer.next();
    value.numbers[0] = parse_number(as);
    if (!value.numbers[0].value) return;
    expect(as, ':');
    value.numbers[1] = parse_number(as);
    expect(as, ':');
    value.numbers[2] = parse_number(as);
}

// Does the number fit the field?
void check_range(ASSEMBLER& as, char code, uint64_t value) {
    const auto number = static_cast<int64_t>(value);
    bool good = true;
    if (code == 'y' || code == 'f') good = number >= 0 && number <= UINT8_MAX;
    if (code == 'b') good = number >= INT8_MIN && number <= INT8_MAX;
    if (code == 'h') good = number >= INT16_MIN && number <= UINT16_MAX;
    if (code == 'w') good = number >= 0 && number <= UINT32_MAX;
    if (!good) as.lexer.fail("the number in front of this does not fit its field");
}

// A name of a value, or several with "+" between them, or numbers.
uint64_t parse_named_value(ASSEMBLER& as, std::string_view naming, std::string_view field) {
    uint64_t sum = 0;
    do {
        uint64_t value = 0;
        if (as.lexer.kind == TOKEN::NUMBER) {
            value = parse_number(as).value;
        } else {
            if (as.lexer.kind != TOKEN::WORD || !value_of_name(naming, field, as.lexer.word, value))
                as.lexer.expected("a number or the name of a value of \"" + std::string(field) + "\"");
            as.lexer.next();
        }
        sum |= value;
    } while (named_field(naming, field) == NAMED::BITS && accept(as, '+'));
    return sum;
}

void parse_number_field(ASSEMBLER& as, const RECORD_LINE& line, const FIELD_LAYOUT& field,
                        TEXT_VALUE& value) {
    const char* naming = naming_record(line.record.kind, line.record.type_kind);
    if (field.code == 't') {
        value.numbers[0] = parse_type(as);
        return;
    }
    const bool named = named_field(naming, field.name) != NAMED::NO;
    if (named && as.lexer.kind == TOKEN::WORD) {
        value.numbers[0].value = parse_named_value(as, naming, field.name);
    } else {
        const bool negative = as.lexer.word.starts_with('-');
        if (negative && field.code == 'u' && !named) as.lexer.expected("a number that is not negative");
        value.numbers[0] = parse_number(as);
    }
    check_range(as, field.code, value.numbers[0].value);
}

void parse_halves(ASSEMBLER& as, TEXT_VALUE& value) {
    std::string halves;
    do {
        const uint64_t number = parse_number(as).value;
        check_range(as, 'h', number);
        halves.push_back(static_cast<char>(number));
        halves.push_back(static_cast<char>(number >> 8));
    } while (accept(as, ','));
    if (halves.size() / 2 > UINT8_MAX) as.lexer.fail("more than 255 numbers");
    value.text = keep(as, halves);
}

// The value behind "name=".
void parse_named_field(ASSEMBLER& as, RECORD_LINE& line, int i) {
    const FIELD_LAYOUT& field = (*line.record.fields)[static_cast<size_t>(i)];
    TEXT_VALUE& value = take_field(as, line, i);
    if (field.code == 'r') {
        value.text = keep(as, as.lexer.hex_bytes(false));
        return;
    }
    as.lexer.next();
    switch (field.code) {
    case 's': value.text = parse_string(as, false); break;
    case 'm': parse_halves(as, value); break;
    case 'v':
        value.text = parse_encoded_number(as, text_type_is_signed(as.context.known, line.record.type.value));
        break;
    default: parse_number_field(as, line, field, value); break;
    }
}

// "name", "name=value", "name~width".
void parse_word_field(ASSEMBLER& as, RECORD_LINE& line) {
    const std::string name(as.lexer.word);
    const int i = field_by_name(line, name);
    if (i < 0 && name != "extra") as.lexer.expected("a field of the record");
    const char code = i < 0 ? 'r' : (*line.record.fields)[static_cast<size_t>(i)].code;
    if (code == 'p' || code == 'g') as.lexer.expected("a field that is written with its name");
    as.lexer.next();
    if (code == 'f' && !as.lexer.is('=')) {
        take_field(as, line, i).numbers[0].value = 1;
    } else if (code == 'n') {
        line.record.values[static_cast<size_t>(i)].numbers[0].width = parse_width(as);
    } else if (!as.lexer.is('=')) {
        as.lexer.expected("\"=\" behind the name of a field");
    } else if (i < 0) {
        line.record.extra = keep(as, as.lexer.hex_bytes(false));
    } else {
        parse_named_field(as, line, i);
    }
}

void parse_string_field(ASSEMBLER& as, RECORD_LINE& line) {
    const int unnamed = unnamed_string(line.record);
    if (unnamed >= 0) {
        take_field(as, line, unnamed).text = parse_string(as, false);
        return;
    }
    const auto& fields = *line.record.fields;
    if (fields.empty() || fields.back().code != 'n') as.lexer.expected("a field of the record");
    line.record.values.back().strings.push_back(parse_string(as, false));
}

bool at_line_end(const ASSEMBLER& as) { return as.lexer.kind == TOKEN::LINE || as.lexer.kind == TOKEN::END; }

// Does a tree begin here, in a record that holds trees?
bool at_tree(const ASSEMBLER& as, const RECORD_LINE& line) {
    if (line.after_trees) return false;
    switch (record_layout(line.record.kind)->nested) {
    case NESTED::TREE:
    case NESTED::NODE:
        return as.lexer.kind == TOKEN::WORD || as.lexer.kind == TOKEN::NUMBER ||
               as.lexer.kind == TOKEN::SYMBOL;
    case NESTED::TREES: return as.lexer.is('(');
    default: return false;
    }
}

void parse_field(ASSEMBLER& as, RECORD_LINE& line) {
    const int position = field_by_code(line, 'p');
    const int symbol = field_by_code(line, 'g');
    const bool at_symbol =
        as.lexer.kind == TOKEN::SYMBOL || (as.lexer.kind == TOKEN::WORD && as.lexer.word == "global");
    if (as.lexer.kind == TOKEN::POINT && position >= 0) {
        parse_position(as, take_field(as, line, position));
    } else if (at_symbol && symbol >= 0) {
        take_field(as, line, symbol).numbers[0] = parse_global(as);
    } else if (at_tree(as, line)) {
        parse_trees(as, line.record);
        line.after_trees = true;
    } else if (as.lexer.kind == TOKEN::STRING) {
        parse_string_field(as, line);
    } else if (as.lexer.kind == TOKEN::NUMBER && unnamed_number(line.record) == 0) {
        parse_number_field(as, line, line.record.fields->front(), take_field(as, line, 0));
    } else if (as.lexer.kind == TOKEN::WORD) {
        parse_word_field(as, line);
    } else {
        as.lexer.expected("a field of the record or the end of the line");
    }
}

void require_field(ASSEMBLER& as, const RECORD_LINE& line, char code, const char* what) {
    if (field_by_code(line, code) >= 0) as.lexer.expected(what);
}

void parse_fields(ASSEMBLER& as, RECORD_LINE& line) {
    line.given.assign(line.record.values.size(), false);
    while (!at_line_end(as)) parse_field(as, line);
    require_field(as, line, 'g', "a global symbol");
    const NESTED nested = record_layout(line.record.kind)->nested;
    if ((nested == NESTED::TREE || nested == NESTED::NODE) && !line.record.trees) as.lexer.expected("a tree");
}

// --- Lines ---

uint8_t parse_type_kind(ASSEMBLER& as) {
    if (as.lexer.kind == TOKEN::WORD) {
        for (unsigned kind = 0; kind < 256; ++kind) {
            const char* name = type_record_name(static_cast<uint8_t>(kind));
            if (!name || name != as.lexer.word) continue;
            as.lexer.next();
            return static_cast<uint8_t>(kind);
        }
    }
    as.lexer.expected("a kind of type, such as POINTER");
}

// "type label KIND", "type label=index KIND", "type index KIND"
void parse_type_line(ASSEMBLER& as) {
    RECORD_LINE line{new_record(RK_TYPE), {}};
    line.record.width = parse_width(as);
    std::string label;
    if (as.lexer.kind == TOKEN::WORD) {
        label = as.lexer.word;
        as.lexer.next();
        if (accept(as, '=')) line.record.type = parse_number(as);
    } else {
        line.record.type = parse_number(as);
    }
    choose_type_kind(line.record, parse_type_kind(as));
    if (type_record_role(line.record.type_kind) != TYPE_ROLE::TYPE)
        as.lexer.fail("a kind that describes a part of a type: write \"part\"");
    parse_fields(as, line);
    emit_used_auto_types(as);
    emit_type(as, line.record, line.given, label);
}

// "part KIND", "part of=type KIND"
void parse_part_line(ASSEMBLER& as) {
    RECORD_LINE line{new_record(RK_TYPE), {}};
    line.record.width = parse_width(as);
    line.record.type.value = as.context.place.part_owner;
    if (as.lexer.kind == TOKEN::WORD && as.lexer.word == "of") {
        as.lexer.next();
        expect(as, '=');
        line.record.type = parse_type(as);
    }
    choose_type_kind(line.record, parse_type_kind(as));
    if (type_record_role(line.record.type_kind) == TYPE_ROLE::TYPE)
        as.lexer.fail("a kind that defines a type: write \"type\"");
    parse_fields(as, line);
    emit_used_auto_types(as);
    emit_record(as, line.record, line.given);
}

void parse_record_line(ASSEMBLER& as, uint8_t kind) {
    RECORD_LINE line{new_record(kind), {}};
    line.record.width = parse_width(as);
    parse_fields(as, line);
    emit_record(as, line.record, line.given);
}

// "record kind (bytes)"
void parse_raw_record(ASSEMBLER& as) {
    const uint32_t width = parse_width(as);
    const uint64_t kind = parse_number(as).value;
    check_range(as, 'y', kind);
    if (!as.lexer.is('(')) as.lexer.expected("\"(\" and bytes");
    const std::string body = as.lexer.hex_bytes(true);
    expect(as, ')');
    as.bytes.push_back(static_cast<char>(kind));
    encode_uleb({body.size(), width}, as.bytes);
    as.bytes += body;
}

void begin_section(ASSEMBLER& as, int section) {
    as.section_offsets[section] = as.bytes.size();
    note_section(as.context, section);
}

void end_section(ASSEMBLER& as) {
    if (as.context.place.section == SECTION_TYPES) emit_all_auto_types(as);
    note_end(as.context);
    as.bytes.push_back(static_cast<char>(RK_END));
}

void parse_section(ASSEMBLER& as) {
    const int section = as.lexer.kind == TOKEN::WORD ? section_of(as.lexer.word) : -1;
    if (section < 0) as.lexer.expected("the name of a section");
    if (as.section_offsets[section]) as.lexer.fail("the section begins twice");
    as.lexer.next();
    begin_section(as, section);
}

// The count of pragmas that a symbol left out is that of the pragma lines right behind it.
void count_pragma(ASSEMBLER& as, bool is_pragma) {
    if (!as.pragma_count) return;
    if (!is_pragma)
        as.pragma_count.reset();
    else if (as.bytes[*as.pragma_count] < INT8_MAX)
        as.bytes[*as.pragma_count]++;
}

void skip_offset(ASSEMBLER& as) {
    if (!accept(as, '[')) return;
    parse_number(as);
    expect(as, ']');
}

void parse_line(ASSEMBLER& as) {
    skip_offset(as);
    as.line_labels.clear();
    if (as.lexer.kind != TOKEN::WORD) as.lexer.expected("a keyword");
    const std::string keyword(as.lexer.word);
    const int kind = record_kind_of(keyword);
    count_pragma(as, kind == RK_PRAGMA);
    if (keyword == "bytes") {
        as.bytes += as.lexer.hex_bytes(true);
    } else {
        const TEXT_LEXER at_keyword = as.lexer;
        as.lexer.next();
        if (keyword == "end")
            end_section(as);
        else if (keyword == "section")
            parse_section(as);
        else if (keyword == "record")
            parse_raw_record(as);
        else if (keyword == "type")
            parse_type_line(as);
        else if (keyword == "part")
            parse_part_line(as);
        else if (kind >= 0)
            parse_record_line(as, static_cast<uint8_t>(kind));
        else
            at_keyword.expected("a keyword");
    }
    if (!at_line_end(as)) as.lexer.expected("the end of the line");
    as.lexer.next();
}

// --- The text ---

void write_section_offsets(ASSEMBLER& as) {
    for (int section = 0; section < SECTION_COUNT; ++section) {
        const auto word = as.header_words[section];
        const auto offset = as.section_offsets[section];
        if (!word || !offset) continue;
        for (size_t i = 0; i < 4; ++i) as.bytes[*word + i] = static_cast<char>(*offset >> (8 * i));
    }
}

void read_text(ASSEMBLER& as, std::string_view text) {
    as.bytes.clear();
    as.old_strings = std::move(as.strings);
    as.strings.clear();
    as.unknown_labels.clear();
    as.pragma_count.reset();
    for (int section = 0; section < SECTION_COUNT; ++section)
        as.header_words[section] = as.section_offsets[section] = std::nullopt;
    start_pass(as.context);
    as.lexer = TEXT_LEXER(text);
    while (as.lexer.kind != TOKEN::END) parse_line(as);
    if (auto_types_wait(as) && !as.section_offsets[SECTION_TYPES]) {
        begin_section(as, SECTION_TYPES);
        end_section(as);
    }
    write_section_offsets(as);
    finish_pass(as.context);
}

} // namespace

ASSEMBLY assemble_icode(std::string_view text, std::string_view name) {
    ASSEMBLY result;
    try {
        ASSEMBLER as(text);
        for (int reading = 1; reading <= READINGS; ++reading) {
            as.last_pass = reading == READINGS;
            read_text(as, text);
            if (reading == 1) find_auto_types(as);
        }
        result.bytes = std::move(as.bytes);
        result.good = true;
    } catch (const TEXT_ERROR& error) {
        size_t line = 0, column = 0;
        text_place(text, error.offset, line, column);
        result.error = std::string(name) + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " +
                       error.message + "\n";
    }
    return result;
}

} // namespace pelorus
