// Whether two types may be those of one variable or function: C's compatible types, but that what an
// attribute promises of a function makes no difference. Types that are compared again on the way are taken
// for compatible, which is right for structures that point to each other.
#include <set>

#include "ir/type.h"
#include "join.h"

namespace pelorus {

namespace {

struct COMPARISON {
    const JOIN& join;
    std::set<std::pair<uint32_t, uint32_t>> assumed{};
};

// A type without the names and qualifiers around it.
struct PLAIN_TYPE {
    uint32_t node;
    unsigned qualifiers; // const 1, volatile 2, restrict 4
};

// One record of a type: its fields behind the kind, and the nodes that they refer to.
struct TYPE_VIEW {
    uint8_t kind = TR_VOID;
    std::vector<PARTS_FIELD> fields;
    std::vector<uint32_t> refers;
};

TYPE_VIEW view_record(const COMPARISON& c, uint32_t node, const PARTS_RECORD& record) {
    const JOINED_INPUT& input = c.join.inputs[c.join.nodes[node].input];
    TYPE_VIEW view;
    view.fields = split_fields(record);
    view.kind = static_cast<uint8_t>(view.fields[1].bytes[0]);
    view.fields.erase(view.fields.begin(), view.fields.begin() + 2);
    for (const PARTS_FIELD& field : view.fields)
        if (field.code == 't') view.refers.push_back(input.types[field_number(field)]);
    return view;
}

TYPE_VIEW view_type(const COMPARISON& c, uint32_t node) {
    return node ? view_record(c, node, *c.join.nodes[node].records[0]) : TYPE_VIEW{};
}

// The parts of one kind that describe a type.
std::vector<TYPE_VIEW> view_parts(const COMPARISON& c, uint32_t node, uint8_t kind) {
    std::vector<TYPE_VIEW> parts;
    for (const PARTS_RECORD* record : c.join.nodes[node].records) {
        TYPE_VIEW view = view_record(c, node, *record);
        if (view.kind == kind) parts.push_back(std::move(view));
    }
    return parts;
}

bool flag(const TYPE_VIEW& view, size_t field) { return view.fields[field].bytes[0] != 0; }
uint32_t number(const TYPE_VIEW& view, size_t field) { return field_number(view.fields[field]); }

PLAIN_TYPE plain_type(const COMPARISON& c, uint32_t node) {
    PLAIN_TYPE plain{complete_node(c.join, node), 0};
    for (;;) {
        const uint8_t kind = c.join.nodes[plain.node].kind;
        if (kind != TR_TYPEDEF && kind != TR_QUALIFIED) return plain;
        const TYPE_VIEW view = view_type(c, plain.node);
        if (kind == TR_QUALIFIED)
            plain.qualifiers |=
                unsigned{flag(view, 1)} | unsigned{flag(view, 2)} << 1 | unsigned{flag(view, 4)} << 2;
        plain.node = complete_node(c.join, view.refers[0]);
    }
}

bool are_alike(COMPARISON& c, uint32_t a, uint32_t b, bool with_qualifiers = true);

bool are_alike_functions(COMPARISON& c, uint32_t a, uint32_t b) {
    enum { CONVENTION = 2, PROTOTYPED = 4, VARIADIC = 5 };
    const TYPE_VIEW left = view_type(c, a), right = view_type(c, b);
    if (number(left, CONVENTION) != number(right, CONVENTION)) return false;
    if (!are_alike(c, left.refers[0], right.refers[0], false)) return false;
    if (!flag(left, PROTOTYPED) || !flag(right, PROTOTYPED)) return true;
    const std::vector<TYPE_VIEW> lefts = view_parts(c, a, TR_PARAMETER),
                                 rights = view_parts(c, b, TR_PARAMETER);
    if (lefts.size() != rights.size() || flag(left, VARIADIC) != flag(right, VARIADIC)) return false;
    for (size_t i = 0; i < lefts.size(); ++i)
        if (!are_alike(c, lefts[i].refers[0], rights[i].refers[0], false)) return false;
    return true;
}

bool are_alike_structures(COMPARISON& c, uint32_t a, uint32_t b) {
    enum { TAG, WHAT, SIZE, ALIGN, COMPLETE };
    enum { MEMBER_NAME = 1, OFFSET = 4 };
    const TYPE_VIEW left = view_type(c, a), right = view_type(c, b);
    if (left.fields[TAG].bytes != right.fields[TAG].bytes || number(left, WHAT) != number(right, WHAT))
        return false;
    if (!flag(left, COMPLETE) || !flag(right, COMPLETE)) return true;
    const std::vector<TYPE_VIEW> lefts = view_parts(c, a, TR_MEMBER), rights = view_parts(c, b, TR_MEMBER);
    if (number(left, SIZE) != number(right, SIZE) || lefts.size() != rights.size()) return false;
    for (size_t i = 0; i < lefts.size(); ++i)
        if (lefts[i].fields[MEMBER_NAME].bytes != rights[i].fields[MEMBER_NAME].bytes ||
            number(lefts[i], OFFSET) != number(rights[i], OFFSET) ||
            !are_alike(c, lefts[i].refers[0], rights[i].refers[0]))
            return false;
    return true;
}

bool are_alike_arrays(COMPARISON& c, const TYPE_VIEW& a, const TYPE_VIEW& b) {
    enum { COUNT = 1 };
    const bool both_sized = a.kind == TR_ARRAY && b.kind == TR_ARRAY;
    if (both_sized && number(a, COUNT) != number(b, COUNT)) return false;
    return are_alike(c, a.refers[0], b.refers[0]);
}

bool are_alike_bitfields(COMPARISON& c, const TYPE_VIEW& a, const TYPE_VIEW& b) {
    return a.fields[0].bytes == b.fields[0].bytes && a.fields[1].bytes == b.fields[1].bytes &&
           are_alike(c, a.refers[0], b.refers[0]);
}

bool is_array(uint8_t kind) { return kind == TR_ARRAY || kind == TR_OPEN_ARRAY; }

// An enumeration is alike to the integer type under it.
bool are_alike_enumerations(COMPARISON& c, const TYPE_VIEW& a, uint32_t left, const TYPE_VIEW& b,
                            uint32_t right) {
    if (a.kind == b.kind && a.fields[0].bytes != b.fields[0].bytes) return false;
    return are_alike(c, a.kind == TR_ENUMERATION ? a.refers[0] : left,
                     b.kind == TR_ENUMERATION ? b.refers[0] : right);
}

bool are_alike(COMPARISON& c, uint32_t a, uint32_t b, bool with_qualifiers) {
    const PLAIN_TYPE left = plain_type(c, a), right = plain_type(c, b);
    if (with_qualifiers && left.qualifiers != right.qualifiers) return false;
    if (c.join.nodes[left.node].color == c.join.nodes[right.node].color) return true;
    if (!c.assumed.insert({left.node, right.node}).second) return true;
    const TYPE_VIEW x = view_type(c, left.node), y = view_type(c, right.node);
    if (is_array(x.kind) && is_array(y.kind)) return are_alike_arrays(c, x, y);
    if (x.kind == TR_ENUMERATION || y.kind == TR_ENUMERATION)
        return are_alike_enumerations(c, x, left.node, y, right.node);
    if (x.kind != y.kind) return false;
    switch (x.kind) {
    case TR_VOID: return true;
    case TR_POINTER:
    case TR_ATOMIC: return are_alike(c, x.refers[0], y.refers[0]);
    case TR_FUNCTION: return are_alike_functions(c, left.node, right.node);
    case TR_CSU: return are_alike_structures(c, left.node, right.node);
    case TR_BITFIELD: return are_alike_bitfields(c, x, y);
    default: return false; // what is not made of others and differs, and what C does not have
    }
}

} // namespace

bool are_compatible(const JOIN& join, uint32_t a, uint32_t b) {
    COMPARISON comparison{join};
    return are_alike(comparison, a, b);
}

} // namespace pelorus
