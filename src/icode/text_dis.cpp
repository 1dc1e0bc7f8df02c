// The disassembler: the bytes of a file as text; see text_form.h.
//
//   1. Find where the sections begin from the header.
//   2. Walk over the records once and gather types, symbols and file names.
//   3. Walk again and print.
//
// A walk takes the file from front to back; no record may pass the beginning of a section. A record that has
// a good length but cannot be taken apart is printed as its bytes. Where no length can be trusted, single
// bytes are passed until a record can be taken apart again; the work that such attempts may cost together is
// limited, so that the whole stays linear.
#include <algorithm>
#include <cstring>

#include "icode/text_dis.h"
#include "icode/text_form.h"
#include "icode/text_names.h"
#include "ir/type.h"

namespace pelorus {

namespace {

// How much of a file is tried again and again after damage, as a multiple of its size.
constexpr size_t RESYNC_EFFORT = 8;
constexpr size_t BYTES_A_LINE = 32;
constexpr size_t DEEPEST_BLOCK = 20; // levels of indentation

struct BOUNDARY {
    size_t offset;
    int section;
};

class DISASSEMBLER {
public:
    DISASSEMBLER(std::string_view bytes, bool offsets) : bytes_(bytes), offsets_(offsets) {}

    DISASSEMBLY run() {
        find_sections();
        walk(false);
        make_labels(context_.known);
        walk(true);
        return std::move(result_);
    }

private:
    // --- The walk ---

    void find_sections() {
        TEXT_RECORD header;
        size_t end = 0;
        if (bytes_.empty() || bytes_[0] != RK_HEADER || decode_record(bytes_, 0, bytes_.size(), header, end))
            return;
        int section = 0;
        for (size_t i = 0; i < header.values.size(); ++i) {
            if (!is_section_offset(header, (*header.fields)[i])) continue;
            const uint64_t offset = header.values[i].numbers[0].value;
            if (offset >= end && offset <= bytes_.size()) boundaries_.push_back({offset, section});
            ++section;
        }
        std::stable_sort(boundaries_.begin(), boundaries_.end(),
                         [](const BOUNDARY& a, const BOUNDARY& b) { return a.offset < b.offset; });
    }

    void walk(bool printing) {
        printing_ = printing;
        at_ = next_boundary_ = 0;
        effort_ = RESYNC_EFFORT * bytes_.size();
        start_pass(context_);
        for (;;) {
            pass_boundaries();
            if (at_ >= bytes_.size()) break;
            step();
        }
        if (!printing_) finish_pass(context_); // the printing walk keeps what the first one found
    }

    size_t limit() const {
        return next_boundary_ < boundaries_.size() ? boundaries_[next_boundary_].offset : bytes_.size();
    }

    void pass_boundaries() {
        for (; next_boundary_ < boundaries_.size() && boundaries_[next_boundary_].offset == at_;
             ++next_boundary_) {
            const int section = boundaries_[next_boundary_].section;
            note_section(context_, section);
            if (printing_) line(0, "\nsection " + std::string(section_name(section)));
        }
    }

    void step() {
        if (byte_at(at_) == RK_END) {
            note_end(context_);
            if (printing_)
                line(at_++, "end");
            else
                ++at_;
            return;
        }
        TEXT_RECORD record;
        size_t end = 0;
        const char* damage = decode_record(bytes_, at_, limit(), record, end);
        if (!damage) return good_record(record, end);
        if (is_plausible_end(end)) return raw_record(end, damage);
        resynchronise(damage);
    }

    uint8_t byte_at(size_t at) const { return static_cast<uint8_t>(bytes_[at]); }

    // A record's end is believed when something that could be a record stands behind it.
    bool is_plausible_end(size_t end) const {
        return end && (end == limit() || byte_at(end) == RK_END || record_layout(byte_at(end)));
    }

    void good_record(const TEXT_RECORD& record, size_t end) {
        if (printing_) print_record(record, end);
        note_record(context_, record);
        at_ = end;
    }

    void raw_record(size_t end, const char* damage) {
        if (printing_) {
            size_t body = at_ + 1;
            TEXT_NUMBER length;
            decode_uleb(bytes_, body, length);
            std::string text =
                "record" + width_text(length.width) + " " + std::to_string(byte_at(at_)) + " (";
            for (size_t from = body; from < end; from += BYTES_A_LINE)
                text += (from > body ? "\n        " : "") +
                        hex_bytes(bytes_.substr(from, std::min(BYTES_A_LINE, end - from)), " ");
            line(at_, text + ")  ; damaged: " + damage);
            result_.damaged++;
        }
        at_ = end;
    }

    // Passes bytes up to the next record that can be taken apart.
    void resynchronise(const char* damage) {
        const size_t start = at_;
        const size_t last = limit();
        while (++at_ < last) {
            TEXT_RECORD record;
            size_t end = 0;
            if (byte_at(at_) == RK_END && at_ + 1 == last) break;
            if (!record_layout(byte_at(at_))) continue;
            if (!decode_record(bytes_, at_, last, record, end)) break;
            const size_t spent = (end ? end : last) - at_;
            if (spent > effort_) {
                at_ = last;
                break;
            }
            effort_ -= spent;
        }
        if (!printing_) return;
        result_.damaged++;
        for (size_t from = start; from < at_; from += BYTES_A_LINE) {
            line(from, "bytes " + hex_bytes(bytes_.substr(from, std::min(BYTES_A_LINE, at_ - from)), " ") +
                           (from == start ? std::string("  ; damaged: ") + damage : ""));
        }
    }

    // --- Lines ---

    void begin_line(size_t at, size_t indent) {
        if (offsets_) {
            char offset[32];
            snprintf(offset, sizeof offset, "[0x%08zx] ", at);
            result_.text += offset;
        }
        line_start_ = result_.text.size();
        result_.text.append(indent, ' ');
    }

    void line(size_t at, const std::string& text) {
        const bool gap = text[0] == '\n';
        if (gap) result_.text += '\n';
        begin_line(gap ? at_ : at, 0);
        result_.text.append(text, gap ? 1 : 0);
        result_.text += '\n';
    }

    size_t indentation(uint8_t kind) const {
        const TEXT_PLACE& place = context_.place;
        if (kind == RK_TYPE || !place.in_function || kind == RK_FUNCTION_END || kind == RK_OTHER_END)
            return 0;
        const size_t level = std::min(place.scopes.size(), DEEPEST_BLOCK) + 1;
        if (kind == RK_LABEL_DEFINITION) return 4 * level - 2;
        return kind == RK_BLOCK_END && !place.scopes.empty() ? 4 * (level - 1) : 4 * level;
    }

    // --- Records ---

    void print_record(const TEXT_RECORD& record, size_t end) {
        end_ = end;
        if (record.kind == RK_FUNCTION_BEGIN) result_.text += '\n';
        const bool is_part = record.kind == RK_TYPE && type_record_role(record.type_kind) != TYPE_ROLE::TYPE;
        const bool belongs = is_part || (record.kind == RK_PRAGMA && attached_pragmas_ > 0);
        const size_t indent = (belongs ? 4 : 0) + indentation(record.kind);
        note_attached_pragmas(record);
        begin_line(at_, indent);
        std::string& text = result_.text;
        if (record.kind == RK_TYPE)
            print_type_head(record, is_part);
        else
            text += record_keyword(record.kind) + width_text(record.width);
        print_fields(record);
        if (record.trees) {
            const bool list = record_layout(record.kind)->nested == NESTED::TREES;
            text += list ? " (" : " ";
            print_trees(context_, record, text.size() - line_start_, indent, text);
            if (list) text += ')';
        }
        if (!record.extra.empty()) {
            text += " extra=" + hex_bytes(record.extra, "") + "  ; damaged: bytes behind the last field";
            result_.damaged++;
        }
        print_comment(record);
        text += '\n';
    }

    // Pragmas that belong to the symbol in front of them are indented.
    void note_attached_pragmas(const TEXT_RECORD& record) {
        if (record.kind == RK_SYMBOL)
            attached_pragmas_ = following_pragmas();
        else if (attached_pragmas_)
            attached_pragmas_--;
    }

    // "type int=3 INT", "part of=struct.S MEMBER": what is as expected is left out.
    void print_type_head(const TEXT_RECORD& record, bool is_part) {
        const TEXT_NUMBER& index = record.type;
        std::string& text = result_.text;
        text += (is_part ? "part" : "type") + width_text(record.width) + " ";
        if (is_part) {
            if (index.value != context_.place.part_owner || index.width)
                text += "of=" + type_text_of(index) + " ";
        } else {
            const TEXT_TYPE* type = context_.known.type(index.value);
            const bool labelled =
                type && !type->label.empty() && !context_.filling.type(index.value) && in_type_place();
            if (labelled) text += type->label;
            if (!labelled || index.value != context_.place.last_type + 1 || index.width)
                text += (labelled ? "=" : "") + number_text(index, false);
            text += ' ';
        }
        text += naming_record(record.kind, record.type_kind);
    }

    bool in_type_place() const {
        return context_.place.section == SECTION_TYPES || context_.place.section == TEXT_PLACE::STREAM;
    }

    std::string type_text_of(const TEXT_NUMBER& index) const {
        return (index.value ? "" : "0") + type_reference(context_, index);
    }

    // What a record is about stands in front of its position.
    void print_fields(const TEXT_RECORD& record) {
        for (const bool symbols : {true, false}) {
            for (size_t i = 0; i < record.values.size(); ++i) {
                if (((*record.fields)[i].code == 'g') != symbols) continue;
                const std::string text = field_text(record, i);
                if (!text.empty()) result_.text += " " + text;
            }
        }
    }

    // "" for a field that is left out.
    std::string field_text(const TEXT_RECORD& record, size_t i) {
        const FIELD_LAYOUT& field = (*record.fields)[i];
        const TEXT_VALUE& value = record.values[i];
        const std::string name = std::string(field.name) + "=";
        switch (field.code) {
        case 'p': return position_text(value);
        case 'g': return symbol_reference_text(context_, {0, 0}, value.numbers[0]);
        case 's': return string_text(record, i);
        case 'n': return strings_text(field, value);
        case 'm': return halves_text(field, value);
        case 'r': return value.text.empty() ? "" : name + hex_bytes(value.text, "");
        case 'v': return name + encoded_number_text(value.text, enumerator_is_signed(record));
        default: return is_left_out(record, i) ? "" : number_field_text(record, i);
        }
    }

    static std::string position_text(const TEXT_VALUE& value) {
        const auto& [file, row, column] = value.numbers;
        if (!file.value) return file.width ? "@0" + width_text(file.width) : "";
        return "@" + number_text(file, false) + ":" + number_text(row, false) + ":" +
               number_text(column, false);
    }

    static std::string string_text(const TEXT_RECORD& record, size_t i) {
        const std::string_view text = record.values[i].text;
        if (static_cast<int>(i) == unnamed_string(record)) return quoted(text);
        if ((*record.fields)[i].name == "magic" && text == ICODE_MAGIC) return "";
        return std::string((*record.fields)[i].name) + "=" + quoted(text);
    }

    static std::string strings_text(const FIELD_LAYOUT& field, const TEXT_VALUE& value) {
        std::string text =
            value.numbers[0].width ? std::string(field.name) + width_text(value.numbers[0].width) : "";
        for (const std::string_view string : value.strings)
            text += (text.empty() ? "" : " ") + quoted(string);
        return text;
    }

    static std::string halves_text(const FIELD_LAYOUT& field, const TEXT_VALUE& value) {
        std::string text;
        for (size_t i = 0; i + 1 < value.text.size(); i += 2) {
            const unsigned low = static_cast<uint8_t>(value.text[i]);
            text += (i ? "," : std::string(field.name) + "=") +
                    std::to_string(low | static_cast<unsigned>(static_cast<uint8_t>(value.text[i + 1])) << 8);
        }
        return text;
    }

    bool enumerator_is_signed(const TEXT_RECORD& record) const {
        return text_type_is_signed(context_.known, record.type.value);
    }

    bool is_left_out(const TEXT_RECORD& record, size_t i) {
        const TEXT_NUMBER& number = record.values[i].numbers[0];
        const FIELD_LAYOUT& field = (*record.fields)[i];
        if (number.width || static_cast<int>(i) == unnamed_number(record)) return false;
        if (record.kind == RK_SYMBOL && field.name == "pragmas") return number.value == following_pragmas();
        if (is_section_offset(record, field) && at_ == 0) return has_automatic_offset(record, i);
        return number.value == default_number(context_, record, i);
    }

    // Sections that the walk comes to get their offset from their place in the text.
    bool has_automatic_offset(const TEXT_RECORD& record, size_t i) const {
        const uint64_t offset = record.values[i].numbers[0].value;
        return !offset || std::any_of(boundaries_.begin(), boundaries_.end(),
                                      [&](const BOUNDARY& boundary) { return boundary.offset == offset; });
    }

    // The pragmas that stand right behind the record being printed.
    uint64_t following_pragmas() const {
        uint64_t count = 0;
        for (size_t at = end_; count < INT8_MAX && at < limit() && byte_at(at) == RK_PRAGMA; ++count) {
            TEXT_RECORD record;
            size_t end = 0;
            if (decode_record(bytes_, at, limit(), record, end)) break;
            at = end;
        }
        return count;
    }

    std::string number_field_text(const TEXT_RECORD& record, size_t i) const {
        const FIELD_LAYOUT& field = (*record.fields)[i];
        const TEXT_NUMBER& number = record.values[i].numbers[0];
        const char* naming = naming_record(record.kind, record.type_kind);
        if (static_cast<int>(i) == unnamed_number(record)) return number_text(number, field.code == 'b');
        if (field.code == 'f' && number.value == 1) return std::string(field.name);
        const std::string name = std::string(field.name) + "=";
        if (field.code == 't') return name + type_text_of(number);
        if (!number.width && named_field(naming, field.name) != NAMED::NO)
            return name + named_value(naming, field.name, number.value);
        return name + number_text(number, field.code == 'b' || field.code == 'l');
    }

    // The name of a position's file, where it is news or a function begins.
    void print_comment(const TEXT_RECORD& record) {
        for (size_t i = 0; i < record.values.size(); ++i) {
            if ((*record.fields)[i].code != 'p') continue;
            const uint64_t file = record.values[i].numbers[0].value;
            const std::string_view name = context_.known.file(file);
            if (name.empty() || (file == named_file_ && record.kind != RK_FUNCTION_BEGIN)) continue;
            named_file_ = file;
            result_.text += "  ; " + (is_plain_text(name) ? std::string(name) : quoted(name));
        }
        if (record.kind == RK_FILE_NAME)
            result_.text += "  ; " + std::to_string(context_.filling.section_files.size() +
                                                    context_.filling.stream_files.size() + 1);
    }

    static bool is_plain_text(std::string_view text) {
        return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
    }

    std::string_view bytes_;
    bool offsets_;
    TEXT_CONTEXT context_;
    DISASSEMBLY result_;
    std::vector<BOUNDARY> boundaries_;
    bool printing_ = false;
    size_t at_ = 0;
    size_t end_ = 0; // of the record being printed
    size_t next_boundary_ = 0;
    size_t effort_ = 0; // bytes that attempts after damage may still look at
    size_t line_start_ = 0;
    uint64_t attached_pragmas_ = 0; // to come
    uint64_t named_file_ = 0;       // whose name the last such comment gave
};

} // namespace

DISASSEMBLY disassemble_icode(std::string_view bytes, bool offsets) {
    return DISASSEMBLER(bytes, offsets).run();
}

} // namespace pelorus
