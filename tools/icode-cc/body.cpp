// The function that is being converted; see body.h.
//
// 1. Parameters become level-1 symbols and their homes; the first statement copies one into the other.
// 2. The statements are converted into the list.
// 3. Labels that nothing names are dropped and the others numbered in order; calls are numbered.
// 4. Everything is written.
#include "body.h"

#include "clang/AST/Attr.h"

#include "arrays.h"
#include "build.h"
#include "ir/stmt.h"
#include "memory/zone.h"
#include "objects.h"
#include "scopes.h"
#include "statements.h"

namespace pelorus {

using namespace clang;

namespace {

SYMBOL* make_local(UNIT& unit, const std::string& given, TYPE* type, uint32_t align,
                   STORAGE_CLASS storage_class, int level, const POSITION& position) {
    const std::string name = fitting_text(unit, given, "a name");
    SYMBOL_FIELDS fields{};
    fields.name = name.c_str();
    fields.size = type->size;
    fields.storage_class = static_cast<int8_t>(storage_class);
    fields.type = type;
    fields.align = align;
    fields.position = position;
    return new_file_symbol(fields, level);
}

// The type in which an argument for the parameter arrives: a function without prototype gets it promoted.
QualType arriving_type(const BODY& body, const ParmVarDecl* parameter) {
    const QualType type = parameter->getType().getUnqualifiedType();
    if (body.function->hasPrototype()) return type;
    ASTContext& ast = *body.unit.ast;
    if (ast.isPromotableIntegerType(type)) return ast.getPromotedIntegerType(type);
    return type->isSpecificBuiltinType(BuiltinType::Float) ? ast.DoubleTy : type;
}

struct PARAMETER {
    const ParmVarDecl* declared;
    SYMBOL* arrival; // level 1
    SYMBOL* home;    // level 2
};

std::vector<PARAMETER> make_parameters(BODY& body) {
    std::vector<PARAMETER> parameters;
    const bool walks = body.function->isVariadic();
    for (const ParmVarDecl* declared : body.function->parameters()) {
        body.unit.here = declared->getLocation();
        TYPE* type = icode_type(body.unit, arriving_type(body, declared));
        const bool last = walks && declared == body.function->parameters().back();
        SYMBOL* arrival =
            make_local(body.unit, declared->getNameAsString(), type, std::max(type->align, 1u),
                       last ? SC_VARARG : SC_ARGUMENT, 1, position_of(body.unit, declared->getLocation()));
        parameters.push_back({declared, arrival, nullptr});
        body.last_parameter = arrival;
    }
    return parameters;
}

void make_homes(BODY& body, std::vector<PARAMETER>& parameters) {
    NODE* copies = nullptr;
    for (PARAMETER& parameter : parameters) {
        TYPE* type = parameter.arrival->declared_type;
        TYPE* home_type = icode_type(
            body.unit, parameter.declared->getType().isVolatileQualified() && type_is_scalar(type)
                           ? body.unit.ast->getVolatileType(arriving_type(body, parameter.declared))
                           : arriving_type(body, parameter.declared));
        parameter.home = new_local(body, parameter.declared->getNameAsString(), home_type, type->align,
                                   parameter.declared->getLocation());
        body.variables[parameter.declared] = parameter.home;
        NODE* copy = assignment(use_of(parameter.home, home_type), use_of(parameter.arrival, type), type);
        copies = copies ? new_binary(OP_PCOMMA, void_type(body.unit), copies, copy) : copy;
    }
    if (copies) emit(body, copies);
}

// A parameter of a function without prototype arrives promoted; its variable has the type that was declared.
void narrow_parameters(BODY& body, const std::vector<PARAMETER>& parameters) {
    for (const PARAMETER& parameter : parameters) {
        TYPE* declared = icode_type(body.unit, parameter.declared->getType().getUnqualifiedType());
        if (type_same_representation(declared, parameter.home->declared_type) ||
            !type_is_arithmetic(declared))
            continue;
        SYMBOL* narrow = new_local(body, parameter.declared->getNameAsString(), declared, declared->align,
                                   parameter.declared->getLocation());
        NODE* value = arithmetic_conversion(use_of(parameter.home, parameter.home->declared_type), declared);
        emit(body, assignment(use_of(narrow, declared), value, declared));
        body.variables[parameter.declared] = narrow;
    }
}

void compute_lengths(BODY& body, const std::vector<PARAMETER>& parameters) {
    for (const PARAMETER& parameter : parameters)
        if (NODE* lengths = lengths_of_type(body, parameter.declared->getOriginalType())) emit(body, lengths);
}

void make_return_symbol(BODY& body) {
    const QualType result = body.function->getReturnType().getUnqualifiedType();
    if (result->isVoidType()) return;
    TYPE* type = icode_type(body.unit, result);
    body.return_symbol = new_local(body, "$ret", type, type->align, {});
}

// Calls `visit` for each node in the order of the records, which is that of a reader.
template <class VISIT>
void walk_tree(NODE* tree, VISIT visit) {
    std::vector<NODE*> stack{tree};
    while (!stack.empty()) {
        NODE* node = stack.back();
        stack.pop_back();
        if (!node) continue;
        visit(node);
        stack.push_back(node->right);
        stack.push_back(node->left);
    }
}

void number_labels(BODY& body) {
    std::vector<uint32_t> number(body.last_label + 1, 0);
    std::vector<bool> named(body.last_label + 1, false);
    for (const BODY_ITEM& item : body.items)
        walk_tree(item.tree, [&](NODE* node) {
            if (node->op == OP_LABEL) named[static_cast<uint32_t>(node->op_label())] = true;
        });
    std::erase_if(body.items, [&](const BODY_ITEM& item) {
        return item.kind == BODY_RECORD::LABEL && !named[item.label];
    });
    uint32_t last = 0;
    for (BODY_ITEM& item : body.items)
        if (item.kind == BODY_RECORD::LABEL) item.label = number[item.label] = ++last;
    if (last > icode_limits.labels)
        refuse(body.unit, body.function->getLocation(),
               "the function '" + body.function->getNameAsString() + "' with more than " +
                   std::to_string(icode_limits.labels) + " labels");
    for (const BODY_ITEM& item : body.items)
        walk_tree(item.tree, [&](NODE* node) {
            if (node->op == OP_LABEL) node->set_label(number[static_cast<uint32_t>(node->op_label())]);
        });
}

uint32_t number_calls(BODY& body) {
    uint32_t calls = 0;
    for (const BODY_ITEM& item : body.items)
        walk_tree(item.tree, [&](NODE* node) {
            if (node->op == OP_CALL) node->set_call(++calls);
            if (node->op == OP_UCALL) ++calls;
        });
    return calls;
}

void write_unroll(ICODE_WRITER& writer, uint32_t count) {
    const std::string text = std::to_string(count);
    const char* strings[] = {text.c_str()};
    const PRAGMA pragma{nullptr, strings, 1, PK_UNROLL};
    write_pragma(writer, pragma);
}

void write_items(BODY& body) {
    ICODE_WRITER& writer = *body.unit.writer;
    for (const BODY_ITEM& item : body.items) {
        switch (item.kind) {
        case BODY_RECORD::STATEMENT: write_statement(writer, item.tree, item.position); break;
        case BODY_RECORD::LABEL: write_label(writer, item.label); break;
        case BODY_RECORD::UNROLL: write_unroll(writer, item.label); break;
        case BODY_RECORD::ASSEMBLY: write_assembly(writer, item.text, item.position); break;
        case BODY_RECORD::BLOCK_BEGIN:
            if (body.locals[item.label].empty()) break;
            write_block_begin(writer, item.position);
            for (SYMBOL* local : body.locals[item.label]) write_symbol(writer, local);
            break;
        case BODY_RECORD::BLOCK_END:
            if (!body.locals[item.label].empty()) write_block_end(writer, item.position);
            break;
        }
    }
}

void write_records(BODY& body, const std::vector<PARAMETER>& parameters) {
    ICODE_WRITER& writer = *body.unit.writer;
    const POSITION begin = position_of(body.unit, body.function->getLocation());
    const POSITION brace = position_of(body.unit, body.function->getBody()->getBeginLoc());
    number_labels(body);
    const uint32_t calls = number_calls(body);
    if (body.unit.refused) return;
    write_function_begin(writer, body.symbol, begin);
    for (const PARAMETER& parameter : parameters) write_symbol(writer, parameter.arrival);
    write_body_begin(writer, brace);
    for (SYMBOL* local : body.locals[0]) write_symbol(writer, local);
    write_function_place(writer, begin);
    write_items(body);
    if (!calls) write_leaf_note(writer, plain_name(body.symbol->name));
    write_function_end(writer, position_of(body.unit, body.function->getBody()->getEndLoc()));
}

} // namespace

void stand_at(BODY& body, SourceLocation place) {
    if (place.isInvalid()) return;
    body.unit.here = place;
    body.position = position_of(body.unit, place);
}

OPEN_BLOCK begin_block(BODY& body) {
    const OPEN_BLOCK block{static_cast<uint32_t>(body.locals.size()), body.block};
    body.locals.emplace_back();
    body.block = block.number;
    body.items.push_back({BODY_RECORD::BLOCK_BEGIN, nullptr, block.number, nullptr, body.position});
    return block;
}

void end_block(BODY& body, const OPEN_BLOCK& block, SourceLocation place) {
    body.block = block.outer;
    const POSITION position = position_of(body.unit, place);
    body.items.push_back({BODY_RECORD::BLOCK_END, nullptr, block.number, nullptr, position});
}

void emit(BODY& body, NODE* tree) {
    if (!tree || !body.reachable) return;
    body.items.push_back({BODY_RECORD::STATEMENT, tree, 0, nullptr, body.position});
    if (tree->op == OP_BRANCH || tree->op == OP_IF || tree->op == OP_SWITCH || tree->op == OP_RETURN ||
        tree->op == OP_URETURN)
        body.reachable = false;
}

void emit_label(BODY& body, uint32_t label) {
    body.items.push_back({BODY_RECORD::LABEL, nullptr, label, nullptr, body.position});
    body.reachable = true;
}

void emit_assembly(BODY& body, const std::string& text) {
    if (!body.reachable) return;
    body.items.push_back({BODY_RECORD::ASSEMBLY, nullptr, 0, zone_string(true, text), body.position});
}

uint32_t new_label(BODY& body) { return ++body.last_label; }
NODE* label_leaf(uint32_t label) { return new_label_leaf(static_cast<int32_t>(label)); }
void emit_branch(BODY& body, uint32_t label) {
    emit(body, new_unary(OP_BRANCH, void_type(body.unit), label_leaf(label)));
}

void emit_if(BODY& body, NODE* condition, uint32_t yes, uint32_t no) {
    if (is_integer_constant(condition)) return emit_branch(body, is_zero_constant(condition) ? no : yes);
    TYPE* none = void_type(body.unit);
    emit(body,
         new_binary(OP_IF, none, condition, new_binary(OP_COMMA, none, label_leaf(yes), label_leaf(no))));
}

SYMBOL* new_local(BODY& body, const std::string& name, TYPE* type, uint32_t align, SourceLocation place,
                  uint32_t block) {
    SYMBOL* symbol = make_local(body.unit, name, type, align, SC_AUTO, 2, position_of(body.unit, place));
    body.locals[block].push_back(symbol);
    return symbol;
}

SYMBOL* new_temporary_local(BODY& body, TYPE* type) {
    TYPE* plain = type_strip(type);
    SYMBOL* made = new_local(body, "$t" + std::to_string(++body.last_temporary), plain, plain->align, {});
    body.temporaries.insert(made);
    return made;
}

SYMBOL* variable_of(BODY& body, const VarDecl* variable) {
    if (!variable->hasLocalStorage()) return variable_symbol(body.unit, variable);
    SYMBOL*& known = body.variables[variable];
    if (known) return known;
    // A local is assigned where it is declared, so its own const says nothing about its storage.
    QualType type = variable->getType();
    const bool is_volatile = type.isVolatileQualified();
    if (!type->isArrayType()) type = type.getUnqualifiedType();
    if (is_volatile && !type->isArrayType()) type = body.unit.ast->getVolatileType(type);
    body.unit.here = variable->getLocation();
    const auto align = static_cast<uint32_t>(body.unit.ast->getDeclAlign(variable).getQuantity());
    SYMBOL* made = new_local(body, variable->getNameAsString(), icode_type(body.unit, type), align,
                             variable->getLocation(), body.blocks.lookup(variable));
    return body.variables[variable] = made;
}

void write_function(UNIT& unit, const FunctionDecl* definition, SYMBOL* symbol) {
    function_node_state = {};
    clear_function_symbols();
    BODY body{.unit = unit, .function = definition, .symbol = symbol};
    unit.here = definition->getLocation();
    body.position = position_of(unit, definition->getBody()->getBeginLoc());
    std::vector<PARAMETER> parameters = make_parameters(body);
    make_homes(body, parameters);
    narrow_parameters(body, parameters);
    survey_body(body, definition->getBody());
    compute_lengths(body, parameters);
    make_return_symbol(body);
    convert_body(body, definition->getBody());
    if (body.walks_arguments) symbol->flags |= SF_VARIADIC_WALK;
    if (body.last_parameter && !body.walks_arguments && definition->isVariadic())
        body.last_parameter->file_class = SC_ARGUMENT;
    write_records(body, parameters);
    clear_function_symbols();
    release_local_zone();
    write_pending_objects(unit);
}

} // namespace pelorus
