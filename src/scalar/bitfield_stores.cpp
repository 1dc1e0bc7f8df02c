// Assignments to several bit-fields of a word; see bitfield_parts.h.
//
//     s.a = 1; s.b = x; s.c = q->c      word = word & ~0xffff | 1 | (x & 0x1f) << 3 | other & 0xff00
//
//   1. Statements are gathered that assign to fields of one word, and that may all be done where the last one
//      stands: their values have no effects and read nothing that has been assigned. Only assignments to
//      other variables may stand in between.
//   2. The fields' values are put together. Neighbouring fields make a run, which is masked as a whole, so
//      that the machine inserts it with one instruction. What is copied from the same bits of another word
//      needs no shifts. The word is not loaded when the fields fill it.
//   3. That is done where it takes fewer instructions (STORE_COSTS), and where the word has no byte that none
//      of the assignments stores: a neighbour of the fields may be another thread's.
//
// Words behind different pointers that are aligned alike are the same word or have no byte in common. So a
// field of other bits than those assigned is not affected, whatever its pointer is.
#include <algorithm>
#include <bit>
#include <vector>

#include "cfg/statement_edit.h"
#include "ir/tree_text.h"
#include "scalar/assignment_query.h"
#include "scalar/bitfield_parts.h"
#include "scalar/bitfield_words.h"
#include "support/decision.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

// Instructions that llc-19 -O2 makes for ARMv7. It merges stores to the same container by itself, but masks
// each field. Of 1,500 random functions of one to five accesses to the fields of a word the pass makes 1,066
// shorter and 26 longer, by 3 instructions at most, and all together 0.68 of what they were.
constexpr struct {
    int access = 1;    // a load or a store of a word or a container
    int alone = 1;     // inserting the one field of a container, or a run of fields: bfi
    int inserted = 2;  // a field among others: masked and joined
    int copied = 1;    // joining what was masked of another word
    int extracted = 1; // taking a field out of its container
    int bits = 1;      // masking with, or joining, constant bits that an instruction can hold
    int wide_bits = 2; // others
} STORE_COSTS;

enum class PIECE_KIND : uint8_t { CONSTANT, COPY, VALUE };

struct PIECE {
    FIELD_PLACE field;
    STMT* cell;
    NODE* value;          // right side of the cell's assignment
    PIECE_KIND kind;      //
    FIELD_PLACE source{}; // COPY: the field that is copied
    WORD source_word{};   //
    uint32_t shift = 0;   // in the word
    size_t order = 0;     // of the assignments
};

using PIECES = std::vector<PIECE>;

// --- 1 ---

// Fields of one unit.
struct GROUP {
    PIECES pieces;
    int64_t unit = 0; // its number
};

// Evaluating it reads no memory: constants, candidates and addresses of variables.
bool is_in_registers(const NODE* tree) {
    bool all = !tree_has_effects(tree);
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        all &= access.kind == ACCESS::EXPOSE || (access.symbol && access.symbol->candidate >= 0);
    });
    return all;
}

FIELD_PLACE stored_field(const NODE* tree) {
    if (tree->op != OP_ASG) return {};
    const FIELD_PLACE field = field_at(tree->left);
    const bool fits =
        field.lvalue && lies_in_unit(field) && (!field.through_pointer || is_in_registers(field.root));
    return fits ? field : FIELD_PLACE{};
}

// What an access of the tree may read of the fields that have been assigned.
bool reads_assigned(const GROUP& group, const TREE_ACCESS& access) {
    if (!is_use(access) || (access.symbol && access.symbol->candidate >= 0)) return false;
    const FIELD_PLACE& target = group.pieces[0].field;
    if (access.symbol && !target.through_pointer && access.symbol != target.root->symbol()) return false;
    const FIELD_PLACE field = access.object->op == OP_NAME ? FIELD_PLACE{} : field_at(access.object);
    if (!field.lvalue || !lies_in_unit(field) || unit_bits(field) != unit_bits(target)) return true;
    const int64_t first = field.first % unit_bits(field);
    return std::ranges::any_of(group.pieces, [&](const PIECE& piece) {
        const int64_t start = piece.field.first % unit_bits(field);
        return overlap({first, first + field.width}, {start, start + piece.field.width});
    });
}

bool reads_assigned(const GROUP& group, NODE* tree) {
    bool reads = false;
    for_each_access(tree, [&](const TREE_ACCESS& access) { reads |= reads_assigned(group, access); });
    return reads;
}

bool mentions(const GROUP& group, const SYMBOL* symbol) {
    return std::ranges::any_of(group.pieces, [&](const PIECE& piece) {
        return tree_mentions(piece.value, symbol) || tree_mentions(piece.field.root, symbol);
    });
}

// An assignment to a variable that the gathered ones may be moved past.
bool may_be_passed(const GROUP& group, NODE* tree) {
    return assigns_candidate(tree) && !tree_has_effects(tree->right) &&
           !mentions(group, tree->left->symbol()) && !reads_assigned(group, tree->right);
}

bool is_assigned_already(const GROUP& group, const FIELD_PLACE& field) {
    return std::ranges::any_of(
        group.pieces, [&](const PIECE& piece) { return overlap(span_of(piece.field), span_of(field)); });
}

bool refuse_stores(const char* why, const GROUP& group, const NODE* tree) {
    return refuse(SITE_merge_field_stores, why, "{}, behind {}", tree, group.pieces[0].field.lvalue);
}

PIECE piece_of(const FIELD_PLACE& field, STMT* cell) {
    PIECE piece{.field = field, .cell = cell, .value = cell->tree->right, .kind = PIECE_KIND::VALUE};
    if (piece.value->op == OP_ICON) piece.kind = PIECE_KIND::CONSTANT;
    const FIELD_PLACE source = field_behind(piece.value);
    if (!source.lvalue || source.width != field.width || (source.first - field.first) % 8 != 0) return piece;
    if (field.is_bool != source.is_bool) return piece;
    piece.kind = PIECE_KIND::COPY;
    piece.source = source;
    return piece;
}

bool joins(const GROUP& group, const FIELD_PLACE& field, NODE* tree) {
    const FIELD_PLACE& target = group.pieces[0].field;
    if (!field.lvalue || unit_of(field) != group.unit || !same_structure(field, target)) return false;
    if (tree_has_effects(tree->right)) return refuse_stores("the value has effects", group, tree);
    if (is_assigned_already(group, field)) return refuse_stores("the field is assigned twice", group, tree);
    if (reads_assigned(group, tree->right))
        return refuse_stores("the value may read what was assigned", group, tree);
    return true;
}

// --- 2 ---

BIT_SPAN span_of(const PIECES& pieces) {
    BIT_SPAN bits = span_of(pieces[0].field);
    for (const PIECE& piece : pieces) bits = joined(bits, span_of(piece.field));
    return bits;
}

uint64_t mask_of(const PIECE& piece) { return ones(piece.field.width) << piece.shift; }

uint64_t mask_of(const PIECES& pieces) {
    uint64_t mask = 0;
    for (const PIECE& piece : pieces) mask |= mask_of(piece);
    return mask;
}

// What is copied can be copied as a word, else it is a value like others.
void place_in_word(PIECES& pieces, const WORD& word) {
    for (PIECE& piece : pieces) {
        piece.shift = shift_in(word, piece.field);
        if (piece.kind != PIECE_KIND::COPY) continue;
        piece.source_word = {word.offset + (piece.source.first - piece.field.first) / 8, word.size};
        if (!is_word_of(piece.source, piece.source_word)) piece.kind = PIECE_KIND::VALUE;
    }
    std::ranges::sort(pieces, {}, &PIECE::shift);
}

bool same_source(const PIECE& a, const PIECE& b) {
    return b.kind == PIECE_KIND::COPY && a.source_word.offset == b.source_word.offset &&
           same_structure(a.source, b.source);
}

bool is_first_of_source(const PIECES& pieces, size_t i) {
    return pieces[i].kind == PIECE_KIND::COPY &&
           std::none_of(pieces.begin(), pieces.begin() + static_cast<ptrdiff_t>(i),
                        [&](const PIECE& before) { return same_source(pieces[i], before); });
}

uint64_t mask_of_source(const PIECES& pieces, const PIECE& piece) {
    uint64_t mask = 0;
    for (const PIECE& other : pieces)
        if (same_source(piece, other)) mask |= mask_of(other);
    return mask;
}

uint64_t constant_of(const PIECES& pieces) {
    uint64_t bits = 0;
    for (const PIECE& piece : pieces)
        if (piece.kind == PIECE_KIND::CONSTANT)
            bits |= (static_cast<uint64_t>(int96_to_int64(piece.value->value())) & ones(piece.field.width))
                    << piece.shift;
    return bits;
}

// Neighbouring VALUEs, from the lowest one on.
struct RUN {
    size_t first;
    size_t end;
};

RUN run_from(const PIECES& pieces, size_t first) {
    RUN run{first, first + 1};
    while (run.end < pieces.size() && pieces[run.end].kind == PIECE_KIND::VALUE &&
           pieces[run.end].shift == pieces[run.end - 1].shift + pieces[run.end - 1].field.width)
        ++run.end;
    return run;
}

template <class F>
void for_each_run(const PIECES& pieces, F visit) {
    for (size_t i = 0; i < pieces.size();) {
        if (pieces[i].kind != PIECE_KIND::VALUE) {
            ++i;
            continue;
        }
        const RUN run = run_from(pieces, i);
        visit(run);
        i = run.end;
    }
}

bool ends_the_word(const PIECES& pieces, const RUN& run, const WORD& word) {
    const PIECE& top = pieces[run.end - 1];
    return top.shift + top.field.width == 8 * word.size;
}

uint64_t mask_of(const PIECES& pieces, const RUN& run) {
    uint64_t mask = 0;
    for (size_t i = run.first; i < run.end; ++i) mask |= mask_of(pieces[i]);
    return mask;
}

NODE* ored(NODE* bits, NODE* more) { return bits ? new_binary(OP_ORB, word_type(), bits, more) : more; }

// All that the word gets is one run, which the machine inserts with one instruction.
bool is_one_run(const PIECES& pieces) {
    return pieces[0].kind == PIECE_KIND::VALUE && run_from(pieces, 0).end == pieces.size();
}

// The value of a run, with the run's lowest bit as its lowest. The topmost field is not masked.
NODE* value_of(const PIECES& pieces, const RUN& run) {
    NODE* bits = nullptr;
    for (size_t i = run.end; i-- > run.first;) {
        NODE* value = converted_value(copy_tree(pieces[i].value), word_type());
        if (i + 1 < run.end) value = masked(value, ones(pieces[i].field.width));
        bits = ored(bits, shifted_left(value, pieces[i].shift - pieces[run.first].shift));
    }
    return bits;
}

// A run at its place. A mask that begins at the lowest bit takes one instruction, but only one at the place
// makes an insertion.
NODE* tree_of(const PIECES& pieces, const RUN& run, const WORD& word) {
    NODE* bits = value_of(pieces, run);
    const uint32_t start = pieces[run.first].shift;
    if (ends_the_word(pieces, run, word)) return shifted_left(bits, start);
    const uint64_t mask = mask_of(pieces, run);
    return is_one_run(pieces) ? masked(shifted_left(bits, start), mask)
                              : shifted_left(masked(bits, mask >> start), start);
}

NODE* tree_of(const PIECES& pieces, const WORD& word) {
    NODE* bits = nullptr;
    const uint64_t kept = ones_of(word) & ~mask_of(pieces);
    if (kept != 0) bits = masked(word_value(pieces[0].field, word), kept);
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (!is_first_of_source(pieces, i)) continue;
        const uint64_t mask = mask_of_source(pieces, pieces[i]);
        NODE* other = word_value(pieces[i].source, pieces[i].source_word);
        bits = ored(bits, mask == ones_of(word) ? other : masked(other, mask));
    }
    for_each_run(pieces, [&](const RUN& run) { bits = ored(bits, tree_of(pieces, run, word)); });
    const uint64_t constant = constant_of(pieces);
    if (constant != 0 || !bits) bits = ored(bits, word_constant(constant));
    return word_store(pieces[0].field, word, bits);
}

// --- 3 ---

bool fills_container(const FIELD_PLACE& field) { return field.width == 8 * field.container_size; }

bool same_container(const FIELD_PLACE& a, const FIELD_PLACE& b) {
    return a.container == b.container && a.container_size == b.container_size;
}

// An operand of and, bic or orr: 8 bits at an even distance, or a run of bits, which bfc clears.
int cost_of_bits(uint64_t bits) {
    if (bits == 0) return 0;
    const auto lowest = static_cast<uint32_t>(std::countr_zero(bits));
    const uint64_t run = bits >> lowest;
    const bool is_short = bits >> (lowest & ~1u) <= ones(8);
    return is_short || (run & (run + 1)) == 0 ? STORE_COSTS.bits : STORE_COSTS.wide_bits;
}

// Stores to one container as they are.
struct CONTAINER_USE {
    int values = 0;
    int sources = 0; // cost of what is copied
    uint32_t width = 0;
    bool has_constants = false;
};

CONTAINER_USE use_of_container(const PIECES& pieces, const FIELD_PLACE& container) {
    CONTAINER_USE use;
    for (const PIECE& piece : pieces) {
        if (!same_container(piece.field, container)) continue;
        use.width += piece.field.width;
        use.values += piece.kind != PIECE_KIND::CONSTANT;
        use.has_constants |= piece.kind == PIECE_KIND::CONSTANT;
        if (piece.kind == PIECE_KIND::COPY)
            use.sources += STORE_COSTS.access + (fills_container(piece.field) ? 0 : STORE_COSTS.extracted);
    }
    return use;
}

int cost_of_container(const PIECES& pieces, const FIELD_PLACE& container) {
    const CONTAINER_USE use = use_of_container(pieces, container);
    const bool is_filled = use.width == 8 * container.container_size;
    int cost = STORE_COSTS.access + use.sources + (use.has_constants ? STORE_COSTS.bits : 0);
    if (!is_filled) cost += STORE_COSTS.access + (use.has_constants ? STORE_COSTS.bits : 0);
    if (use.values > 1 || use.has_constants) return cost + use.values * STORE_COSTS.inserted;
    return cost + (is_filled ? 0 : STORE_COSTS.alone);
}

int cost_as_they_are(const PIECES& pieces) {
    int cost = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        const bool is_first =
            std::none_of(pieces.begin(), pieces.begin() + static_cast<ptrdiff_t>(i),
                         [&](const PIECE& before) { return same_container(before.field, pieces[i].field); });
        if (is_first) cost += cost_of_container(pieces, pieces[i].field);
    }
    return cost;
}

int cost_in_word(const PIECES& pieces, const WORD& word) {
    const uint64_t kept = ones_of(word) & ~mask_of(pieces);
    const uint64_t constant = constant_of(pieces);
    const bool is_inserted = is_one_run(pieces);
    int cost = STORE_COSTS.access + (kept ? STORE_COSTS.access : 0) + cost_of_bits(constant);
    for_each_run(pieces, [&](const RUN& run) {
        const bool is_alone = is_inserted || ends_the_word(pieces, run, word);
        cost += static_cast<int>(run.end - run.first - 1) * STORE_COSTS.inserted +
                (is_alone ? STORE_COSTS.alone : STORE_COSTS.inserted);
    });
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (!is_first_of_source(pieces, i)) continue;
        const uint64_t mask = mask_of_source(pieces, pieces[i]);
        cost += STORE_COSTS.access + (mask == ones_of(word) ? 0 : cost_of_bits(mask) + STORE_COSTS.copied);
    }
    return cost + (is_inserted ? 0 : cost_of_bits(ones_of(word) & ~kept) * (kept != 0));
}

// Each byte of the word is stored by one of the assignments as they are.
bool stores_all_bytes(const PIECES& pieces, const WORD& word) {
    for (int64_t byte = word.offset; byte < word.offset + word.size; ++byte) {
        const bool stored = std::ranges::any_of(pieces, [&](const PIECE& piece) {
            return byte >= piece.field.container &&
                   byte < piece.field.container + int64_t{piece.field.container_size};
        });
        if (!stored) return false;
    }
    return true;
}

const char* why_not_merged(PIECES& pieces, const WORD& word) {
    if (!is_word_of(pieces[0].field, word)) return "no word of the structure holds the fields";
    if (!stores_all_bytes(pieces, word)) return "it would store to other bytes";
    place_in_word(pieces, word);
    if (cost_in_word(pieces, word) >= cost_as_they_are(pieces)) return "it would not save anything";
    return nullptr;
}

void replace_by(PIECES& pieces, NODE* tree) {
    STMT* last = std::ranges::max_element(pieces, {}, &PIECE::order)->cell;
    for (const PIECE& piece : pieces) {
        erase_tree(piece.cell->tree);
        piece.cell->tree = nullptr;
    }
    last->tree = simplify_tree(tree);
}

bool merge(PIECES pieces);

// The fields of either half of a word by themselves.
bool merge_halves(const PIECES& pieces, const WORD& word) {
    if (word.size <= 1) return false;
    const int64_t middle = 8 * word.offset + 4 * int64_t{word.size};
    PIECES low;
    PIECES high;
    for (const PIECE& piece : pieces) {
        if (span_of(piece.field).end <= middle) low.push_back(piece);
        if (piece.field.first >= middle) high.push_back(piece);
    }
    const bool any = merge(low);
    return merge(high) || any;
}

bool merge(PIECES pieces) {
    if (pieces.size() < 2) return false;
    const PIECES as_gathered = pieces;
    const WORD word = word_around(span_of(pieces));
    if (const char* why = why_not_merged(pieces, word)) {
        if (merge_halves(as_gathered, word)) return true;
        return refuse(SITE_merge_field_stores, why, "{} and others", as_gathered[0].cell->tree);
    }
    NODE* tree = tree_of(pieces, word);
    if (!change(SITE_merge_field_stores, "{} assignments, of {} and others, are {}",
                static_cast<uint32_t>(pieces.size()), as_gathered[0].field.lvalue, tree))
        return false;
    replace_by(pieces, tree);
    return true;
}

void drop_empty_cells(BB* block) {
    for (STMT* cell = block->stmts; cell != block->last_stmt;) {
        if (cell->tree)
            cell = cell->next;
        else
            remove_cell(block, cell);
    }
}

// The statement is gathered, or looked over; false when it ends the group.
bool gather(GROUP& group, STMT* cell) {
    if (is_comment(cell->tree)) return true;
    if (group.pieces.empty()) return false;
    const FIELD_PLACE field = stored_field(cell->tree);
    if (!joins(group, field, cell->tree)) return may_be_passed(group, cell->tree);
    group.pieces.push_back(piece_of(field, cell));
    group.pieces.back().order = group.pieces.size();
    return true;
}

void begin(GROUP& group, STMT* cell) {
    group.pieces.clear();
    const FIELD_PLACE field = stored_field(cell->tree);
    if (!field.lvalue || tree_has_effects(cell->tree->right)) return;
    group.pieces.push_back(piece_of(field, cell));
    group.unit = unit_of(field);
}

} // namespace

bool merge_field_stores(BB* block) {
    bool any = false;
    GROUP group;
    for (STMT* cell = block->stmts; cell; cell = cell->next) {
        stand_at(block, cell);
        if (gather(group, cell)) continue;
        any |= merge(group.pieces);
        begin(group, cell);
    }
    if (any) drop_empty_cells(block);
    return any;
}

} // namespace pelorus
