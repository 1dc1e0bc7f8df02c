// Reading several bit-fields of a word; see bitfield_parts.h.
//
//     a = s.a; b = s.b + s.c       a = word & 7; b = (word >> 3 & 0x1f) + (word >> 8)
//
// Fields in containers of their own take a load each. Taken out of the word that holds them all they take one
// load, since `llc` loads a word once in a block as long as nothing is stored. So:
//
//   1. The reads of a block are gathered, those of one word between two statements that may change it or what
//      leads to it. Reads under a condition stay: they are in blocks of their own in the end.
//   2. They are taken out of the word where that saves more loads than it costs shifts: a field that fills
//      its container needs none as it is.
#include <algorithm>
#include <vector>

#include "cfg/statement_edit.h"
#include "ir/call.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/bitfield_parts.h"
#include "scalar/bitfield_words.h"
#include "support/decision.h"
#include "tree/access.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

constexpr size_t MOST_OPEN = 8;   // words that are watched at a time
constexpr size_t MOST_READS = 32; // of a word: they are compared with each other

struct FIELD_READ {
    FIELD_PLACE field;
    STMT* cell;
};

using FIELD_READS = std::vector<FIELD_READ>;

struct READING {
    std::vector<FIELD_READS> open; // each of one unit, which has not changed since
    std::vector<FIELD_READS> closed;
};

// --- 1 ---

// Rewriting a field copies what leads to it, where no other field that is gathered may stand.
bool leads_over_field(const FIELD_PLACE& field) {
    return any_node(field.root, [](const NODE* node) {
        return is_call(node) || (node->op == OP_FIELD && node->field_info->flag);
    });
}

bool same_unit(const FIELD_PLACE& a, const FIELD_PLACE& b) {
    return unit_of(a) == unit_of(b) && same_structure(a, b);
}

void add_read(READING& reading, NODE* object, STMT* cell) {
    const FIELD_PLACE field = field_at(object);
    if (!field.lvalue || !lies_in_unit(field) || leads_over_field(field)) return;
    for (FIELD_READS& reads : reading.open)
        if (same_unit(reads[0].field, field) && reads.size() < MOST_READS)
            return reads.push_back({field, cell});
    if (reading.open.size() == MOST_OPEN) {
        reading.closed.push_back(std::move(reading.open.front()));
        reading.open.erase(reading.open.begin());
    }
    reading.open.push_back({{field, cell}});
}

template <class F>
void close_where(READING& reading, F holds) {
    for (size_t i = 0; i < reading.open.size();) {
        if (!holds(reading.open[i][0].field)) {
            ++i;
            continue;
        }
        reading.closed.push_back(std::move(reading.open[i]));
        reading.open.erase(reading.open.begin() + static_cast<ptrdiff_t>(i));
    }
}

void take_note(READING& reading, const TREE_ACCESS& access, STMT* cell) {
    if (is_definition(access)) {
        const SYMBOL* symbol = access.symbol;
        const bool is_candidate = symbol && symbol->candidate >= 0;
        return close_where(reading, [&](const FIELD_PLACE& field) {
            return !is_candidate || tree_mentions(field.root, symbol);
        });
    }
    if (access.kind == ACCESS::USE && !access.conditional && access.object->op != OP_NAME)
        add_read(reading, access.object, cell);
}

// --- 2 ---

BIT_SPAN span_of(const FIELD_READS& reads) {
    BIT_SPAN bits = span_of(reads[0].field);
    for (const FIELD_READ& read : reads) bits = joined(bits, span_of(read.field));
    return bits;
}

// Loads that are saved, less fields that need a shift or a mask which they do not need as they are. Fields of
// one container are loaded once as they are, and equal ones taken out of it once.
int gain_of(const FIELD_READS& reads) {
    int gain = -1;
    for (size_t i = 0; i < reads.size(); ++i) {
        const FIELD_PLACE& field = reads[i].field;
        bool is_loaded = false;
        bool is_known = false;
        for (size_t j = 0; j < i; ++j) {
            const FIELD_PLACE& before = reads[j].field;
            is_loaded |= before.container == field.container && before.container_size == field.container_size;
            is_known |= before.first == field.first && before.width == field.width;
        }
        gain += !is_loaded;
        gain -= !is_known && field.width == 8 * field.container_size;
    }
    return gain;
}

bool take_from_word(FIELD_READS& reads) {
    if (reads.size() < 2) return false;
    const WORD word = word_around(span_of(reads));
    const FIELD_PLACE& first = reads[0].field;
    stand_at(decisions.block, *reads[0].cell);
    if (gain_of(reads) <= 0) return false;
    if (!is_word_of(first, word))
        return refuse(SITE_merge_field_reads, "no word of the structure holds the fields", "{} and others",
                      first.lvalue);
    if (!change(SITE_merge_field_reads, "{} reads, of {} and others, are of {} bytes at {}",
                static_cast<uint32_t>(reads.size()), first.lvalue, word.size, word.offset))
        return false;
    std::vector<NODE*> trees; // all made before any is put in: they copy what leads to the fields
    for (const FIELD_READ& read : reads) trees.push_back(field_in_word(read.field, word));
    for (size_t i = 0; i < reads.size(); ++i) become_tree(reads[i].field.lvalue, trees[i]);
    return true;
}

// A statement may have been changed for several words; simplifying it again finds nothing to do.
void simplify_statements(const FIELD_READS& reads) {
    const STMT* last = nullptr;
    for (const FIELD_READ& read : reads) {
        if (read.cell != last) read.cell->tree = simplify_tree(read.cell->tree);
        last = read.cell;
    }
}

} // namespace

bool merge_field_reads(BB* block) {
    READING reading;
    for (STMT* cell = block->stmts; cell; cell = cell->next)
        for_each_access(cell->tree, [&](const TREE_ACCESS& access) { take_note(reading, access, cell); });
    close_where(reading, [](const FIELD_PLACE&) { return true; });
    std::vector<const FIELD_READS*> changed;
    stand_at(block);
    for (FIELD_READS& reads : reading.closed)
        if (take_from_word(reads)) changed.push_back(&reads);
    for (const FIELD_READS* reads : changed) simplify_statements(*reads);
    return !changed.empty();
}

} // namespace pelorus
