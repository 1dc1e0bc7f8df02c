// What controls a loop, and how often it goes round; see LOOPREC of cfg/loop.h.
//
//   1. the test: the tail ends in it, or the head of a loop whose tail just jumps back. One way stays in the
//      loop, the other leaves it
//   2. its form: value RELATION limit, as long as the loop goes on. The value is that of a basic induction
//      variable, perhaps converted or with a constant added, and the limit a region constant
//   3. the count: exactly by count_tests where all is constant; else as a tree where it is certain that the
//      value meets the limit before it wraps
//
//          i != n, step c = 2^k * odd     ((n - i) >> k) * 1/odd, which holds whenever the loop ends
//          i < n, step 1                  n - i, or 0 when i >= n already
//          i < n, step c                  (n - i + c - 1) / c, when n is so far from the largest value that
//                                         no value can be stepped over it
//          i <= n                         as i < n + 1, when n is not the largest value
//
//      and the same from above. A test in the tail adds one trip.
//   4. bounds: what pragmas say, and what the trees' ranges say
//
// Pointers count as unsigned integers. A counter that is volatile, or whose address is taken, is no induction
// variable, so that such loops have no count.
#include <algorithm>
#include <optional>
#include <unordered_set>
#include <vector>

#include "cfg/graph_edit.h"
#include "ir/symbol.h"
#include "loops/analyses.h"
#include "loops/trip_count.h"
#include "memory/zone.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/query.h"
#include "tree/simplifier.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

// The test as it stands, with the value on the left.
struct TEST {
    BB* block = nullptr;
    const NODE* relation = nullptr; // null: the condition itself is the value, and counts when it is not zero
    int32_t op = OP_NEQ;            // under which the loop goes on
    const NODE* value = nullptr;
    const NODE* limit = nullptr; // null: zero
    INDUCTION* counter = nullptr;
    INT96 ahead{}; // what the first value tested has more than the initial one
};

// --- 1: the test ---

BB* testing_block(const LOOPREC* loop) {
    if (ending_tree(loop->tail)->op == OP_IF) return loop->tail;
    return has_one(loop->tail->succs) && ending_tree(loop->head)->op == OP_IF ? loop->head : nullptr;
}

// Which way the IF goes on in the loop: 1 when its condition holds, 0 when not, -1 when no way or both leave.
int way_inside(const LOOPREC* loop, const BB* block) {
    const NODE* labels = ending_tree(block)->right;
    const bool yes = loop_contains(loop, target_of(labels->left));
    const bool no = loop_contains(loop, target_of(labels->right));
    return yes == no ? -1 : yes;
}

// --- 2: its form ---

// The statement of the counter is run before the test in the trip in which it is tested.
bool changes_before_test(const LOOPREC* loop, const TEST& test) {
    const INDUCTION* counter = test.counter;
    if (test.block == loop->tail) return true; // its block dominates the tail; within it the test is last
    return counter->block == test.block;
}

INT96 step_of(const INDUCTION* counter) { return counter->increment->value(); }

// Takes a value tested apart: the variable, and what is added to it. Null when it is no such value.
INDUCTION* counter_in(const LOOPREC* loop, const NODE* value, INT96& added) {
    added = int96_signed(0);
    for (;;) {
        if (!is_counted(value->type)) return nullptr;
        const bool converts = value->op == OP_SCONV || value->op == OP_PCONV;
        if (converts && is_counted(value->left->type) &&
            type_bits(value->left->type) == type_bits(value->type)) {
            value = value->left;
            continue;
        }
        const bool adds = (value->op == OP_PLUS || value->op == OP_MINUS) && value->right->op == OP_ICON;
        if (adds) {
            const INT96 constant = value->right->value();
            added = value->op == OP_PLUS ? int96_add(added, constant) : int96_subtract(added, constant);
            value = value->left;
            continue;
        }
        break;
    }
    // What the test itself counts has the old value for x++ and the new one for x += c.
    const bool counts = opcode_assigns(value->op) && value->left->op == OP_NAME;
    const NODE* name = counts ? value->left : value;
    INDUCTION* counter = name->op == OP_NAME && name->symbol() ? induction_of(loop, name->symbol()) : nullptr;
    if (!counter || counter->basis != counter->symbol || counter->increment->op != OP_ICON) return nullptr;
    if (value->op == OP_PLUSPLUS || value->op == OP_MINMIN) added = int96_subtract(added, step_of(counter));
    return counter;
}

const NODE* widened_operand(const NODE* value) {
    const bool widens = value->op == OP_SCONV && is_counted(value->type) && is_counted(value->left->type) &&
                        type_bits(value->left->type) < type_bits(value->type);
    return widens ? value->left : nullptr;
}

bool compares_unsigned(const TEST& test) {
    return (test.op >= OP_ULE && test.op <= OP_UGT) || !type_is_signed(test.value->type);
}

bool find_counter(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, TEST& test, const NODE* value,
                  const NODE* limit) {
    if (limit && !is_region_constant(definitions, loop, limit)) return false;
    INT96 added;
    const NODE* narrow = widened_operand(value);
    INDUCTION* counter = counter_in(loop, narrow ? narrow : value, added);
    if (!counter) return false;
    test.value = value;
    test.limit = limit;
    test.counter = counter;
    test.ahead = changes_before_test(loop, test) ? int96_add(added, step_of(counter)) : added;
    // A negative value of a narrow type would be read as a large one.
    return !narrow || !type_is_signed(narrow->type) || !compares_unsigned(test);
}

bool read_test(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, TEST& test) {
    const int inside = way_inside(loop, test.block);
    const NODE* condition = ending_tree(test.block)->left;
    if (inside < 0 || !is_counted(condition->type)) return false;
    if (!opcode_is_relation(condition->op)) {
        test.op = inside ? OP_NEQ : OP_EQ;
        return find_counter(definitions, loop, test, condition, nullptr);
    }
    test.relation = condition;
    if (!is_counted(condition->left->type) || !is_counted(condition->right->type)) return false;
    test.op = inside ? condition->op : opcode_fact(condition->op).complement;
    if (find_counter(definitions, loop, test, condition->left, condition->right)) return true;
    test.op = opcode_fact(test.op).swapped;
    return find_counter(definitions, loop, test, condition->right, condition->left);
}

// --- 3: the count ---

INT96 lowest(uint32_t bits, bool is_unsigned) {
    return is_unsigned ? int96_signed(0) : int96_negate(int96_shift_left(int96_signed(1), bits - 1));
}
INT96 highest(uint32_t bits, bool is_unsigned) {
    return int96_add(lowest(bits, is_unsigned), low_ones(bits));
}

bool is_below(INT96 a, INT96 b) { return int96_compare(a, b) < 0; }
INT96 least(INT96 a, INT96 b) { return is_below(a, b) ? a : b; }
INT96 most(INT96 a, INT96 b) { return is_below(a, b) ? b : a; }

// The values lowest .. highest with which the test goes on; for NEQ, those with which it stops.
struct INTERVAL {
    INT96 low;
    INT96 high; // below `low`: none
};

INTERVAL interval_of(const TEST& test, INT96 limit, INT96 bottom, INT96 top) {
    const INT96 one = int96_signed(1);
    switch (test.op) {
    case OP_EQ:
    case OP_NEQ: return {limit, limit};
    case OP_LT:
    case OP_ULT: return {bottom, int96_subtract(limit, one)};
    case OP_LE:
    case OP_ULE: return {bottom, limit};
    case OP_GT:
    case OP_UGT: return {int96_add(limit, one), top};
    default: return {limit, top};
    }
}

uint64_t bits_of_number(INT96 value, uint32_t bits) {
    return static_cast<uint64_t>(int96_to_int64(int96_truncate(value, bits, true)));
}

// The count of a test of constants, for the first value `first`.
std::optional<uint64_t> count_constant(const TEST& test, INT96 first) {
    const TYPE* narrow = widened_operand(test.value) ? test.value->left->type : test.value->type;
    const uint32_t bits = type_bits(narrow);
    const bool is_unsigned =
        bits < type_bits(test.value->type) ? !type_is_signed(narrow) : compares_unsigned(test);
    const INT96 limit =
        test.limit ? int96_truncate(test.limit->value(), type_bits(test.value->type), compares_unsigned(test))
                   : int96_signed(0);
    const INT96 bottom = lowest(bits, is_unsigned);
    const INT96 top = highest(bits, is_unsigned);
    INTERVAL going = interval_of(test, limit, bottom, top);
    going = {most(going.low, bottom), least(going.high, top)};
    const bool is_empty = is_below(going.high, going.low);
    const INT96 size =
        is_empty ? int96_signed(0) : int96_add(int96_subtract(going.high, going.low), int96_signed(1));
    COUNTED_TEST counted{bits, bits_of_number(first, bits), bits_of_number(step_of(test.counter), bits), 0,
                         0};
    if (test.op == OP_NEQ) {
        counted.from = bits_of_number(int96_add(going.high, int96_signed(1)), bits);
        counted.stopping = is_empty ? 0 : 1;
    } else {
        if (is_empty) return 0;
        counted.from = bits_of_number(going.low, bits);
        counted.stopping = static_cast<uint64_t>(
            int96_to_int64(int96_subtract(int96_shift_left(int96_signed(1), bits), size)));
    }
    return count_tests(counted);
}

// The type in which trips are counted: the counter's own where its sign makes no difference, since a file
// should not get a type that nothing but an analysis uses.
TYPE* counting_type(TYPE* type, bool divides) {
    type = type_strip(type);
    if (type->kind != TK_INTEGER || type_bits(type) < 32)
        return divides ? type_package()->unsigned_int_type() : type_package()->int_type();
    if (!divides) return type;
    return type_bits(type) == 32
               ? type_package()->unsigned_int_type()
               : type_package()->make_basic(type->record_kind, true, type->size, type->align);
}

// The tree as a number of the counting type.
NODE* counted(TYPE* type, NODE* tree) {
    if (type_is_pointer(tree->type)) return new_unary(OP_PCONV, type, tree);
    return type_same_representation(tree->type, type) ? tree : new_unary(OP_SCONV, type, tree);
}

NODE* plus(NODE* tree, uint64_t constant) {
    return new_binary(OP_PLUS, tree->type, tree, new_wrapped_icon(tree->type, constant));
}

NODE* quotient(NODE* tree, uint64_t divisor) {
    if ((divisor & (divisor - 1)) != 0)
        return new_binary(OP_DIV, tree->type, tree, new_wrapped_icon(tree->type, divisor));
    NODE* places = new_icon(type_package()->int_type(), int96_signed(__builtin_ctzll(divisor)));
    return new_binary(OP_SRL, tree->type, tree, places);
}

// A count as a tree.
struct SYMBOLIC {
    const LOOPREC* loop;
    const TEST& test;
    TYPE* type;                // in which it is counted
    uint32_t bits;             //
    bool rises;                // the counter
    uint64_t stride;           // by how much
    const char* why = nullptr; // there is no count
    bool may_be_endless = false;
};

NODE* initial_of(const SYMBOLIC& count) { return copy_tree(count.test.counter->initial); }

// The first value tested, or what the counter begins with, as a number.
NODE* first_value(const SYMBOLIC& count, INT96 ahead) {
    NODE* value = counted(count.type, initial_of(count));
    return int96_is_zero(ahead) ? value : plus(value, bits_of_number(ahead, count.bits));
}

NODE* limit_value(const SYMBOLIC& count) {
    return count.test.limit ? counted(count.type, copy_tree(count.test.limit))
                            : new_wrapped_icon(count.type, uint64_t{0});
}

// How far it is from the value to the limit, the way that the counter goes.
NODE* distance(const SYMBOLIC& count, NODE* value) {
    NODE* limit = limit_value(count);
    return new_binary(OP_MINUS, count.type, count.rises ? limit : value, count.rises ? value : limit);
}

NODE* tests_until_equal(SYMBOLIC& count) {
    const auto zeros = static_cast<uint32_t>(__builtin_ctzll(count.stride));
    const uint64_t odd = count.stride >> zeros;
    count.may_be_endless = zeros != 0;
    NODE* tests = quotient(distance(count, first_value(count, count.test.ahead)), uint64_t{1} << zeros);
    if (odd == 1) return tests;
    tests = new_binary(OP_MULT, count.type, tests, new_wrapped_icon(count.type, inverse_of_odd(odd)));
    const uint64_t mask = ~uint64_t{0} >> (64 - (count.bits - zeros));
    return zeros ? new_binary(OP_ANDB, count.type, tests, new_wrapped_icon(count.type, mask)) : tests;
}

bool is_strict(const TEST& test) {
    return test.op == OP_LT || test.op == OP_GT || test.op == OP_ULT || test.op == OP_UGT;
}

bool rises_to_limit(const TEST& test) {
    return test.op == OP_LT || test.op == OP_LE || test.op == OP_ULT || test.op == OP_ULE;
}

// What the relation's limit may be, as the relation reads it.
RANGE limit_range(const TEST& test) {
    const RANGE own{lowest(type_bits(test.value->type), compares_unsigned(test)),
                    highest(type_bits(test.value->type), compares_unsigned(test))};
    if (!test.limit) return {int96_signed(0), int96_signed(0)};
    const RANGE range = range_of(test.limit);
    const bool fits = !is_below(range.low, own.low) && !is_below(own.high, range.high);
    return fits && (compares_unsigned(test) == !type_is_signed(test.limit->type)) ? range : own;
}

// How many values lie behind the limit, at the least.
uint64_t room_behind_limit(const SYMBOLIC& count) {
    const RANGE range = limit_range(count.test);
    const bool is_unsigned = compares_unsigned(count.test);
    const INT96 room = count.rises ? int96_subtract(highest(count.bits, is_unsigned), range.high)
                                   : int96_subtract(range.low, lowest(count.bits, is_unsigned));
    return static_cast<uint64_t>(int96_to_int64(room));
}

// The test in front of the loop is that of the loop, for the counter's initial value.
bool is_guarded(const SYMBOLIC& count) {
    const BB* before = count.loop->preheader;
    if (before->stmts != before->last_stmt || !has_one(before->preds)) return false;
    const BB* guard = only_of(before->preds);
    if (ending_tree(guard)->op != OP_IF || !has_two(guard->succs)) return false;
    const NODE* condition = ending_tree(guard)->left;
    if (!opcode_is_relation(condition->op)) return false;
    const bool when_true = target_of(ending_tree(guard)->right->left) == before;
    int32_t op = when_true ? condition->op : opcode_fact(condition->op).complement;
    const auto matches = [&](const NODE* value, const NODE* limit) {
        const NODE* initial = count.test.counter->initial;
        const bool is_value = equal_trees(value, initial) || equal_trees(value, count.test.value);
        return op == count.test.op && is_value && count.test.limit && equal_trees(limit, count.test.limit);
    };
    if (matches(condition->left, condition->right)) return true;
    op = opcode_fact(op).swapped;
    return matches(condition->right, condition->left);
}

// Steps from the value to where the relation stops holding; it holds for the value.
NODE* steps_to_limit(const SYMBOLIC& count, NODE* value) {
    NODE* way = distance(count, value);
    if (is_strict(count.test)) {
        if (count.stride == 1) return way;
        return plus(quotient(plus(way, ~uint64_t{0}), count.stride), 1);
    }
    return plus(quotient(way, count.stride), 1);
}

NODE* tests_until_limit(SYMBOLIC& count) {
    if (rises_to_limit(count.test) != count.rises) {
        count.why = "the counter moves away from its limit";
        return nullptr;
    }
    // The last value that goes on, one step further, must not wrap.
    const uint64_t needed = count.stride - (is_strict(count.test) ? 1 : 0);
    if (room_behind_limit(count) < needed) {
        if (count.stride != 1) {
            count.why = "a step may miss the limit";
            return nullptr;
        }
        count.may_be_endless = true;
    }
    const bool at_end = count.test.block == count.loop->tail;
    if (at_end && int96_compare(count.test.ahead, step_of(count.test.counter)) == 0 && is_guarded(count))
        return plus(steps_to_limit(count, first_value(count, int96_signed(0))), ~uint64_t{0});
    NODE* value = initial_of(count);
    if (!int96_is_zero(count.test.ahead)) {
        TYPE* const amount = type_is_pointer(value->type) ? type_package()->int_type() : value->type;
        value = new_binary(OP_PLUS, value->type, value, new_wrapped_icon(amount, count.test.ahead));
    }
    TYPE* const read_as = count.test.value->type;
    if (value->type != read_as && !type_same_representation(value->type, read_as))
        value = new_unary(type_is_pointer(value->type) || type_is_pointer(read_as) ? OP_PCONV : OP_SCONV,
                          read_as, value);
    NODE* limit = count.test.limit ? copy_tree(count.test.limit) : new_icon(read_as, int96_signed(0));
    NODE* goes_on = new_binary(count.test.op, type_package()->int_type(), value, limit);
    NODE* arms = new_binary(OP_COLON, type_package()->void_type(),
                            steps_to_limit(count, first_value(count, count.test.ahead)),
                            new_wrapped_icon(count.type, uint64_t{0}));
    return new_binary(OP_QUEST, count.type, goes_on, arms);
}

NODE* count_symbolic(SYMBOLIC& count) {
    const bool wide = count.bits == 32 || count.bits == 64;
    const uint32_t limit_bits = count.test.limit ? type_bits(count.test.limit->type) : count.bits;
    if (!wide || widened_operand(count.test.value) || limit_bits != count.bits) {
        count.why = "the counter is tested in another width";
        return nullptr;
    }
    if (count.test.op == OP_EQ) {
        count.why = "the loop goes on while the counter is equal to its limit";
        return nullptr;
    }
    return count.test.op == OP_NEQ ? tests_until_equal(count) : tests_until_limit(count);
}

// --- 4: bounds ---

void advise(LOOPREC* loop, const char* text) {
    auto* advice = zone_new<ADVICE>(true);
    advice->text = text;
    ADVICE** end = &loop->advice;
    while (*end) end = &(*end)->next;
    *end = advice;
    trace("\tLoop #%d: %s\n", loop->number, text);
}

int16_t factor_of(uint64_t trips) {
    if (trips == 0) return 1;
    if (trips <= INT16_MAX) return static_cast<int16_t>(trips);
    return static_cast<int16_t>(1 << std::min(__builtin_ctzll(trips), 14));
}

bool leaves_elsewhere(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, const BB* test) {
    for (const BB* block : definitions.exiting[static_cast<size_t>(loop->number)])
        if (block != test) return true;
    return false;
}

void bound_by_pragmas(LOOPREC* loop) {
    const LOOP_PRAGMAS& pragmas = loop->pragmas;
    loop->trips_min = std::max<uint64_t>(loop->trips_min, pragmas.must_minimum);
    if (pragmas.must_maximum) loop->trips_max = std::min<uint64_t>(loop->trips_max, pragmas.must_maximum);
    if (pragmas.must_multiple > 1 && pragmas.must_multiple <= INT16_MAX && loop->trip_factor == 1)
        loop->trip_factor = static_cast<int16_t>(pragmas.must_multiple);
    if (loop->trips_max != UINT64_MAX)
        loop->max_unroll = static_cast<uint32_t>(std::clamp<uint64_t>(loop->trips_max, 1, loop->max_unroll));
    if (pragmas.unroll) loop->max_unroll = pragmas.unroll;
}

// --- What a known count says of the variables ---

bool is_constant(const NODE* tree) { return tree && tree->op == OP_ICON; }

NODE* value_after(const INDUCTION* induction, uint64_t changes) {
    const uint32_t bits = type_bits(induction->symbol->type);
    const INT96 way = int96_multiply(int96_from_uint64(changes), step_of(induction));
    return new_icon(induction->initial->type,
                    int96_truncate(int96_add(induction->initial->value(), way), bits,
                                   !type_is_signed(induction->initial->type)));
}

// How often the block was run when the loop ends by its test.
uint64_t runs_of(const TEST& test, const LOOPREC* loop, const BB* block, uint64_t trips) {
    return trips + (test.block != loop->tail && block == test.block);
}

void set_constant_values(LOOPREC* loop, const TEST& test, uint64_t trips) {
    for (INDUCTION* induction = loop->inductions; induction; induction = induction->next)
        if (is_constant(induction->initial) && is_constant(induction->increment) &&
            type_is_integer(induction->initial->type))
            induction->final = value_after(induction, runs_of(test, loop, induction->block, trips));
    if (trips && is_constant(test.counter->initial)) loop->LCV_last = value_after(test.counter, trips - 1);
}

void set_counter(LOOPREC* loop, const TEST& test) {
    loop->LCV = test.counter->symbol;
    loop->LCV_test = copy_tree(ending_tree(test.block)->left);
    loop->LCV_increment = copy_tree(test.counter->increment);
    loop->LCV_initial = copy_tree(test.counter->initial);
}

void set_trips(const LOOP_DEFINITIONS& definitions, LOOPREC* loop, const TEST& test) {
    const bool at_end = test.block == loop->tail;
    const bool is_alone = !leaves_elsewhere(definitions, loop, test.block);
    const NODE* initial = test.counter->initial;
    if (is_constant(initial) && (!test.limit || is_constant(test.limit))) {
        const std::optional<uint64_t> tests = count_constant(test, int96_add(initial->value(), test.ahead));
        if (!tests) return advise(loop, "the counter never meets its limit");
        const uint64_t trips = *tests + at_end;
        loop->trips = new_wrapped_icon(counting_type(test.counter->symbol->type, false), trips);
        if (at_end && trips == 0) return; // 2^64
        loop->trips_max = trips;
        if (is_alone) {
            loop->trips_min = trips;
            loop->trip_factor = factor_of(trips);
        }
        return set_constant_values(loop, test, trips);
    }
    const INT96 step = step_of(test.counter);
    const bool rises = !int96_is_negative(int96_truncate(step, type_bits(test.counter->symbol->type), false));
    const uint32_t bits = type_bits(test.counter->symbol->type);
    const uint64_t stride = bits_of_number(rises ? step : int96_negate(step), bits);
    TYPE* const type = counting_type(test.counter->symbol->type, stride > 1);
    SYMBOLIC count{loop, test, type, bits, rises, stride};
    NODE* tests = count.stride ? count_symbolic(count) : nullptr;
    if (is_alone && at_end) loop->trips_min = 1;
    if (!tests) {
        loop->flags |= LOOP_NOT_AFFINE;
        return advise(loop, count.why ? count.why : "the counter does not change");
    }
    loop->trips = simplify_tree(at_end ? plus(tests, 1) : tests);
    if (count.may_be_endless) loop->flags |= LOOP_MAY_BE_ENDLESS;
}

void list_variant_conditions(LOOPREC* loop, const std::vector<BB*>& exiting) {
    std::unordered_set<const SYMBOL*> read;
    for (const BB* block : exiting)
        for_each_access(static_cast<const NODE*>(ending_tree(block)), [&](const TREE_ACCESS& access) {
            if (access.symbol && is_use(access)) read.insert(access.symbol);
        });
    SYMBOL_CELL** end = &loop->variant_conditions;
    for (const SYMBOL_CELL* cell = loop->altered; cell; cell = cell->next) {
        if (!read.contains(cell->symbol)) continue;
        *end = zone_new<SYMBOL_CELL>(true);
        (*end)->symbol = cell->symbol;
        end = &(*end)->next;
    }
}

// Tells the blocks, whose dump shows it.
void note_at_head(LOOPREC* loop) {
    if (!loop->LCV) return;
    loop->head->loop_control = zone_new<LOOP_CONTROL>(true);
    loop->head->loop_control->symbol = loop->LCV;
    loop->head->loop_trips = loop->trips;
}

} // namespace

void find_loop_control(const LOOP_DEFINITIONS& definitions, LOOPREC* loop) {
    const std::vector<BB*>& exiting = definitions.exiting[static_cast<size_t>(loop->number)];
    list_variant_conditions(loop, exiting);
    TEST test;
    test.block = testing_block(loop);
    if (test.block && read_test(definitions, loop, test)) {
        set_counter(loop, test);
        set_trips(definitions, loop, test);
    } else {
        advise(loop, exiting.empty() ? "nothing leaves the loop" : "no counter is tested at its end");
    }
    bound_by_pragmas(loop);
    note_at_head(loop);
}

} // namespace pelorus
