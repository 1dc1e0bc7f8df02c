// Random trees; see random_trees.h. They obey the rules for operands, so that the simplifier may rely on
// those.
#include "random_trees.h"

namespace pelorus {

// --- The world ---

namespace {

SYMBOL* make_symbol(const char* name, TYPE* type, uint8_t level) {
    SYMBOL_FIELDS fields{};
    fields.name = name;
    fields.type = type;
    fields.size = type->size;
    fields.align = type->align;
    fields.storage_class = static_cast<int8_t>(level || !type_is_function(type) ? SC_EXTERN_DEF : SC_EXTERN);
    SYMBOL* symbol = new_file_symbol(fields, 0);
    symbol->level = level;
    return symbol;
}

TYPE* make_structure(TYPE_PKG& types, TYPE* const* arithmetic) {
    TYPE* inner = types.make_csu("inner", TK_STRUCT, 8, 4, true, nullptr);
    types.add_member(inner, "k", arithmetic[3], 2, 1, nullptr); // ushort
    types.add_member(inner, "l", types.int_type(), 4, 2, nullptr);
    TYPE* whole = types.make_csu("whole", TK_STRUCT, 40, 8, true, nullptr);
    uint32_t key = 0;
    const auto member = [&](TYPE* type, uint32_t offset) {
        types.add_member(whole, "m", type, offset, ++key, nullptr);
    };
    member(types.int_type(), 0);
    member(types.make_bitfield(types.int_type(), types.int_type(), 3, 7), 4);
    member(types.make_bitfield(types.unsigned_int_type(), types.unsigned_int_type(), 10, 5), 4);
    member(arithmetic[0], 8);  // schar
    member(arithmetic[7], 16); // ullong
    member(types.make_pointer(types.int_type()), 24);
    member(inner, 28);
    return whole;
}

} // namespace

TREE_WORLD make_world(TYPE_PKG& types) {
    TREE_WORLD world;
    constexpr struct {
        uint8_t kind;
        bool is_unsigned;
        uint32_t size;
    } BASICS[] = {{TR_CHAR, false, 1},      {TR_CHAR, true, 1},      {TR_SHORT, false, 2},
                  {TR_SHORT, true, 2},      {TR_INT, false, 4},      {TR_INT, true, 4},
                  {TR_LONG_LONG, false, 8}, {TR_LONG_LONG, true, 8}, {TR_BOOL, true, 1},
                  {TR_FLOAT, false, 4},     {TR_DOUBLE, false, 8}};
    for (const auto& basic : BASICS)
        world.arithmetic.push_back(types.make_basic(basic.kind, basic.is_unsigned, basic.size, basic.size));
    world.structure = make_structure(types, world.arithmetic.data());
    for (TYPE* target : {types.int_type(), world.structure, world.arithmetic[1]})
        world.pointers.push_back(types.make_pointer(target));
    std::vector<TYPE*> scalars = world.arithmetic;
    scalars.insert(scalars.end(), world.pointers.begin(), world.pointers.end());
    for (TYPE* type : scalars) {
        world.variables.push_back(make_symbol("a", type, 2));
        world.variables.push_back(make_symbol("b", type, 2));
        world.variables.push_back(make_symbol("g", type, 0));
        world.variables.push_back(make_symbol("v", types.make_qualified(type, Q_VOLATILE), 0));
    }
    world.variables.push_back(make_symbol("s", world.structure, 2));
    world.variables.push_back(make_symbol("t", world.structure, 0));
    world.array = make_symbol("array", types.make_array(types.int_type(), 4), 0);
    scalars.push_back(world.structure);
    scalars.push_back(types.void_type());
    for (TYPE* type : scalars)
        world.functions.push_back(make_symbol("f", types.make_function(type, false, false, 0), 0));
    return world;
}

MACHINE machine_of_world(const TREE_WORLD& world, uint64_t seed) {
    MACHINE machine;
    machine.seed = seed;
    std::mt19937_64 random(seed);
    for (const SYMBOL* symbol : world.functions) place_object(machine, symbol);
    const uint32_t array = place_object(machine, world.array);
    for (const SYMBOL* symbol : world.variables) place_object(machine, symbol);
    for (const SYMBOL* symbol : world.variables) {
        EVALUATED value = some_value(symbol->type, random());
        if (type_is_pointer(symbol->type) && random() % 8) {
            const TYPE* target = type_target(symbol->type);
            const SYMBOL* object = world.variables[random() % world.variables.size()];
            const bool fits = type_compatible(object->type, target) && !type_is_volatile(object->type);
            value = integer_value(symbol->type,
                                  fits ? place_object(machine, object) : array + 4 * (random() % 3));
        }
        store_value(machine, place_object(machine, symbol), symbol->type, value);
        if (symbol->level == 0 && !type_is_volatile(symbol->type)) machine.clobbered.push_back(symbol);
    }
    return machine;
}

// --- Leaves and objects ---

namespace {

template <class LIST>
auto& one_of(TREE_MAKER& maker, LIST& list) {
    return list[maker.below(static_cast<uint32_t>(std::size(list)))];
}

bool same_type(const TYPE* a, const TYPE* b) {
    return type_strip(const_cast<TYPE*>(a)) == type_strip(const_cast<TYPE*>(b));
}

NODE* name_of(SYMBOL* symbol) { return new_name(symbol, symbol->type); }

NODE* random_variable(TREE_MAKER& maker, TYPE* type) {
    std::vector<SYMBOL*> list;
    for (SYMBOL* symbol : maker.world.variables)
        if (same_type(symbol->type, type) && (!type_is_volatile(symbol->type) || maker.chance(30)))
            list.push_back(symbol);
    return name_of(one_of(maker, list));
}

NODE* random_constant(TREE_MAKER& maker, TYPE* type) {
    const EVALUATED value = some_value(type, maker.random());
    if (type_is_floating(type)) {
        NODE* node = new_node(OP_FCON, type);
        node->set_float(std::to_string(value.real).c_str());
        return node;
    }
    return new_icon(type, int96_truncate(int96_from_int64(static_cast<int64_t>(value.number)),
                                         type_bits(type), !type_is_signed(type)));
}

TYPE* random_arithmetic(TREE_MAKER& maker) { return one_of(maker, maker.world.arithmetic); }
TYPE* random_integer(TREE_MAKER& maker) { return maker.world.arithmetic[maker.below(8)]; }
TYPE* random_scalar(TREE_MAKER& maker) {
    return maker.chance(85) ? random_arithmetic(maker) : one_of(maker, maker.world.pointers);
}
TYPE* pointer_to(TYPE* target) { return type_package()->make_pointer(target); }

NODE* random_lvalue(TREE_MAKER& maker, TYPE* type, int size);

NODE* member_node(TYPE* structure, uint32_t key) {
    TYPE_PART* part = type_member(structure, key);
    const bool is_bitfield = part->flag != 0;
    NODE* field = new_node(OP_FIELD, is_bitfield ? type_target(part->type) : part->type);
    field->set_field(1, part, structure);
    return field;
}

// A member of the type, of a structure that is a variable or pointed to; null when there is none.
NODE* random_member(TREE_MAKER& maker, TYPE* type, int size) {
    std::vector<NODE*> fields;
    TYPE* structure = maker.world.structure;
    for (uint32_t key = 1; key <= 7; ++key) {
        NODE* field = member_node(structure, key);
        if (same_type(field->type, type)) fields.push_back(field);
    }
    if (fields.empty()) return nullptr;
    NODE* field = one_of(maker, fields);
    if (maker.chance(20)) {
        TYPE* changing = type_package()->make_qualified(type, Q_VOLATILE);
        return new_binary(OP_STDOT, changing, random_lvalue(maker, structure, size / 2), field);
    }
    if (maker.chance(50)) return new_binary(OP_STDOT, type, random_lvalue(maker, structure, size / 2), field);
    TYPE* pointer = pointer_to(structure);
    NODE* address = maker.chance(40) ? new_unary(OP_UAND, pointer, random_lvalue(maker, structure, size / 2))
                                     : random_value(maker, pointer, size / 2);
    if (maker.chance(10)) address = new_unary(OP_NONALIGN, pointer, address);
    return new_binary(OP_STREF, type, address, field);
}

// Bit-fields have no address.
bool has_address(const NODE* lvalue) {
    while (lvalue->op == OP_COMMAOP) lvalue = lvalue->right;
    return (lvalue->op != OP_STDOT && lvalue->op != OP_STREF) || !lvalue->right->field_info->flag;
}

NODE* random_address(TREE_MAKER& maker, TYPE* type, int size) {
    NODE* lvalue = random_lvalue(maker, type, size - 1);
    return new_unary(OP_UAND, pointer_to(type), has_address(lvalue) ? lvalue : random_variable(maker, type));
}

NODE* random_indirection(TREE_MAKER& maker, TYPE* type, int size) {
    TYPE* pointer = pointer_to(type);
    const bool known = same_type(type, type_package()->int_type()) ||
                       same_type(type, maker.world.structure) || same_type(type, maker.world.arithmetic[1]);
    NODE* address = known && maker.chance(60) ? random_value(maker, pointer, size - 1)
                                              : random_address(maker, type, size);
    if (maker.chance(5)) address = new_unary(OP_NONALIGN, pointer, address);
    TYPE* object = maker.chance(10) ? type_package()->make_qualified(type, Q_VOLATILE) : type;
    return new_unary(OP_UMULT, object, address);
}

NODE* random_effect(TREE_MAKER& maker, int size);

NODE* random_lvalue(TREE_MAKER& maker, TYPE* type, int size) {
    if (size > 1) {
        if (maker.chance(25)) return random_indirection(maker, type, size);
        if (maker.chance(25))
            if (NODE* member = random_member(maker, type, size)) return member;
        if (maker.chance(5))
            return new_binary(OP_COMMAOP, type, random_effect(maker, size / 2),
                              random_lvalue(maker, type, size / 2));
    }
    return random_variable(maker, type);
}

// --- Effects ---

NODE* random_assignment(TREE_MAKER& maker, TYPE* type, int size) {
    static constexpr int32_t COMPOUND[] = {OP_PLUSASG, OP_MINUSASG, OP_MULTASG,  OP_ANDBASG,
                                           OP_ORBASG,  OP_XORBASG,  OP_DIVASG,   OP_MODASG,
                                           OP_SLLASG,  OP_SRLASG,   OP_PLUSPLUS, OP_MINMIN};
    NODE* lvalue = random_lvalue(maker, type, size / 2);
    const bool is_arithmetic = type_is_integer(type) && !type_is_bool(type);
    if (maker.chance(50) || (!is_arithmetic && !type_is_pointer(type) && !type_is_floating(type)))
        return new_binary(OP_ASG, lvalue->type, lvalue, random_value(maker, type, size / 2));
    if (type_is_pointer(type))
        return new_binary(COMPOUND[maker.below(2)], lvalue->type, lvalue,
                          random_value(maker, type_package()->int_type(), size / 2));
    const int32_t op = COMPOUND[maker.below(type_is_floating(type) ? 3 : 12)];
    TYPE* working = op == OP_PLUSPLUS || op == OP_MINMIN || type_is_floating(type) || maker.chance(50)
                        ? type
                        : random_integer(maker);
    if (type_is_bool(type)) working = type_package()->int_type();
    return new_binary(op, lvalue->type, lvalue, random_value(maker, working, size / 2));
}

NODE* random_call(TREE_MAKER& maker, TYPE* type, int size) {
    std::vector<SYMBOL*> list;
    for (SYMBOL* symbol : maker.world.functions)
        if (same_type(type_target(symbol->type), type)) list.push_back(symbol);
    if (list.empty()) return random_variable(maker, type);
    SYMBOL* function = one_of(maker, list);
    NODE* callee = new_unary(OP_UAND, type_package()->make_pointer(function->type), name_of(function));
    NODE* arguments = nullptr;
    for (int count = static_cast<int>(maker.below(3)); count > 0; --count) {
        TYPE* void_type = type_package()->void_type();
        NODE* argument = maker.chance(10) ? new_unary(OP_STARG, maker.world.structure,
                                                      random_lvalue(maker, maker.world.structure, size / 3))
                                          : random_value(maker, random_scalar(maker), size / 3);
        arguments = arguments ? new_binary(OP_COMMA, void_type, arguments, argument) : argument;
    }
    return arguments ? new_binary(OP_CALL, type, callee, arguments) : new_unary(OP_UCALL, type, callee);
}

NODE* random_effect(TREE_MAKER& maker, int size) {
    if (maker.chance(20)) return random_value(maker, random_scalar(maker), size); // often none at all
    TYPE* structure = maker.world.structure;
    if (maker.chance(10)) {
        NODE* from = maker.chance(30) ? random_call(maker, structure, size / 2)
                                      : random_lvalue(maker, structure, size / 2);
        return new_binary(OP_STASG, structure, random_lvalue(maker, structure, size / 2), from);
    }
    if (maker.chance(10)) return random_call(maker, type_package()->void_type(), size);
    TYPE* type = random_scalar(maker);
    return maker.chance(25) ? random_call(maker, type, size) : random_assignment(maker, type, size);
}

// --- Values ---

TYPE* other_signedness(TREE_MAKER& maker, TYPE* type) {
    for (size_t i = 0; i < 8; ++i)
        if (maker.world.arithmetic[i] == type) return maker.world.arithmetic[i ^ 1];
    return type;
}

// The right operand often has something to do with the left one: rules look for that.
NODE* related_value(TREE_MAKER& maker, const NODE* left, TYPE* type, int size) {
    if (same_type(left->type, type)) {
        if (maker.chance(8)) return copy_tree(left);
        if (maker.chance(4) && type_is_integer(type) && !type_is_bool(type))
            return new_unary(maker.chance(50) ? OP_NOTB : OP_UMINUS, type, copy_tree(left));
    }
    return maker.chance(40) ? random_constant(maker, type) : random_value(maker, type, size);
}

NODE* random_shift(TREE_MAKER& maker, TYPE* type, int size) {
    NODE* operand = random_value(maker, type, size - 1);
    NODE* amount = nullptr;
    TYPE* int_type = type_package()->int_type();
    if (maker.chance(85))
        amount = new_icon(int_type, int96_unsigned(maker.below(type_bits(type) + (maker.chance(3) ? 4 : 0))));
    else
        amount = new_binary(OP_ANDB, int_type, random_value(maker, int_type, size / 2),
                            new_icon(int_type, int96_signed(7)));
    return new_binary(maker.chance(50) ? OP_SLL : OP_SRL, type, operand, amount);
}

NODE* random_relation(TREE_MAKER& maker, int size) {
    TYPE* type = random_scalar(maker);
    if (maker.chance(25)) type = type_package()->int_type();
    TYPE* left_type = type_is_integer(type) && maker.chance(5) ? other_signedness(maker, type) : type;
    NODE* left = random_value(maker, left_type, size / 2);
    NODE* right = related_value(maker, left, type, size / 2);
    const bool may_be_unsigned = type_is_pointer(type) || (type_is_integer(type) && !type_is_signed(type));
    const auto op = static_cast<int32_t>(OP_EQ + maker.below(may_be_unsigned ? 10 : 6));
    return new_binary(op, type_package()->int_type(), left, right);
}

NODE* random_truth(TREE_MAKER& maker, int size) {
    TYPE* int_type = type_package()->int_type();
    if (maker.chance(60)) return random_relation(maker, size);
    NODE* left = maker.chance(50) ? random_truth(maker, size / 2)
                                  : random_value(maker, random_scalar(maker), size / 2);
    if (maker.chance(35)) return new_unary(OP_EXCLAIM, int_type, left);
    return new_binary(maker.chance(50) ? OP_ANDAND : OP_OROR, int_type, left,
                      related_value(maker, left, random_scalar(maker), size / 2));
}

// Operators that every type has.
NODE* random_common(TREE_MAKER& maker, TYPE* type, int size) {
    switch (maker.below(6)) {
    case 0: {
        NODE* condition = maker.chance(60) ? random_truth(maker, size / 2)
                                           : random_value(maker, random_scalar(maker), size / 2);
        NODE* first = random_value(maker, type, size / 2);
        NODE* arms = new_binary(OP_COLON, type_package()->void_type(), first,
                                related_value(maker, first, type, size / 2));
        return new_binary(OP_QUEST, type, condition, arms);
    }
    case 1:
        return new_binary(OP_COMMAOP, type, random_effect(maker, size / 2),
                          random_value(maker, type, size / 2));
    case 2: return random_call(maker, type, size);
    case 3: return random_assignment(maker, type, size);
    default: return random_lvalue(maker, type, size);
    }
}

NODE* random_binary(TREE_MAKER& maker, TYPE* type, const int32_t* operators, uint32_t count, int size) {
    const int32_t op = operators[maker.below(count)];
    NODE* left = random_value(maker, maker.chance(6) ? other_signedness(maker, type) : type, size / 2);
    return new_binary(
        op, type, left,
        related_value(maker, left, maker.chance(6) ? other_signedness(maker, type) : type, size / 2));
}

NODE* random_conversion(TREE_MAKER& maker, TYPE* type, int size) {
    if (type_is_integer(type) && type->size == 4 && maker.chance(10))
        return new_unary(OP_PCONV, type,
                         random_value(maker, pointer_to(type_package()->int_type()), size - 1));
    return new_unary(OP_SCONV, type, random_value(maker, random_arithmetic(maker), size - 1));
}

NODE* random_integer_value(TREE_MAKER& maker, TYPE* type, int size) {
    static constexpr int32_t OPERATORS[] = {OP_PLUS, OP_PLUS, OP_PLUS, OP_MINUS, OP_MINUS, OP_MULT, OP_MULT,
                                            OP_ANDB, OP_ANDB, OP_ORB,  OP_XORB,  OP_DIV,   OP_MOD};
    static constexpr int32_t UNARIES[] = {OP_UMINUS, OP_NOTB, OP_ABS};
    const bool is_int = type == type_package()->int_type();
    const uint32_t kind = maker.below(100);
    if (kind < 45) return random_binary(maker, type, OPERATORS, 13, size);
    if (kind < 55) return random_shift(maker, type, size);
    if (kind < 63) return new_unary(UNARIES[maker.below(3)], type, random_value(maker, type, size - 1));
    if (kind < 73) return random_conversion(maker, type, size);
    if (kind < 85 && is_int) return random_truth(maker, size);
    if (kind < 87 && is_int) {
        TYPE* pointer = pointer_to(type);
        return new_binary(OP_MINUS, type, random_value(maker, pointer, size / 2),
                          random_value(maker, pointer, size / 2));
    }
    return random_common(maker, type, size);
}

NODE* random_pointer_value(TREE_MAKER& maker, TYPE* type, int size) {
    TYPE* int_type = type_package()->int_type();
    const uint32_t kind = maker.below(100);
    if (kind < 35) {
        NODE* amount =
            maker.chance(60) ? random_constant(maker, int_type) : random_value(maker, int_type, size / 2);
        return new_binary(maker.chance(70) ? OP_PLUS : OP_MINUS, type, random_value(maker, type, size / 2),
                          amount);
    }
    if (kind < 50) return random_address(maker, type_target(type), size);
    if (kind < 55 && type_target(type) == int_type)
        return new_unary(maker.chance(50) ? OP_ACONV : OP_UAND, type, name_of(maker.world.array));
    if (kind < 65) return new_unary(OP_PCONV, type, random_value(maker, random_integer(maker), size - 1));
    if (kind < 72)
        return new_unary(OP_PCONV, type, random_value(maker, pointer_to(maker.world.structure), size - 1));
    return random_common(maker, type, size);
}

} // namespace

NODE* random_value(TREE_MAKER& maker, TYPE* type, int size) {
    if (size <= 1) return maker.chance(45) ? random_constant(maker, type) : random_variable(maker, type);
    if (type_is_pointer(type)) return random_pointer_value(maker, type, size);
    if (type_is_bool(type)) {
        if (maker.chance(40))
            return new_unary(OP_SCONV, type, random_value(maker, random_scalar(maker), size - 1));
        return random_common(maker, type, size);
    }
    if (type_is_integer(type)) return random_integer_value(maker, type, size);
    static constexpr int32_t OPERATORS[] = {OP_PLUS, OP_MINUS, OP_MULT, OP_DIV};
    static constexpr int32_t UNARIES[] = {OP_UMINUS, OP_ABS};
    if (maker.chance(45)) return random_binary(maker, type, OPERATORS, 4, size);
    if (maker.chance(20))
        return new_unary(UNARIES[maker.below(2)], type, random_value(maker, type, size - 1));
    if (maker.chance(25)) return random_conversion(maker, type, size);
    return random_common(maker, type, size);
}

namespace {

NODE* random_switch(TREE_MAKER& maker, int size) {
    TYPE* void_type = type_package()->void_type();
    TYPE* type = random_integer(maker);
    NODE* list = new_unary(OP_DEFAULT, void_type, new_label_leaf(9));
    for (int32_t i = 1; i < 4; ++i)
        list = new_binary(OP_COMMA, void_type, list,
                          new_binary(OP_CASE, void_type, new_icon(type, int96_signed(i)), new_label_leaf(i)));
    return new_binary(OP_SWITCH, void_type, random_value(maker, type, size), list);
}

} // namespace

NODE* random_statement(TREE_MAKER& maker, int size) {
    TYPE* void_type = type_package()->void_type();
    const uint32_t kind = maker.below(100);
    if (kind < 25) {
        NODE* condition =
            maker.chance(70) ? random_truth(maker, size) : random_value(maker, random_scalar(maker), size);
        return new_binary(OP_IF, void_type, condition,
                          new_binary(OP_COMMA, void_type, new_label_leaf(1), new_label_leaf(2)));
    }
    if (kind < 30) return random_switch(maker, size);
    if (kind < 35)
        return new_binary(
            OP_QUEST, void_type, random_truth(maker, size / 2),
            new_binary(OP_COLON, void_type, random_effect(maker, size / 2), random_effect(maker, size / 2)));
    if (kind < 40) return new_unary(OP_SCONV, void_type, random_effect(maker, size));
    if (kind < 50) return random_effect(maker, size);
    TYPE* type = random_scalar(maker);
    NODE* lvalue = random_lvalue(maker, type, 3);
    return new_binary(OP_ASG, lvalue->type, lvalue, random_value(maker, type, size));
}

} // namespace pelorus
