// See unit_client.h.
#include "icode/unit_client.h"

#include "ir/funinfo.h"
#include "memory/zone.h"
#include "support/run.h"
#include "tree/query.h"

namespace pelorus {

namespace {

UNIT_CLIENT& unit_of(void* context) { return *static_cast<UNIT_CLIENT*>(context); }

void append_statement(NODE* tree, const POSITION& position) {
    function.statements = new_stmt(tree, position, function.statements);
}

void begin_function(void*, SYMBOL* symbol, const POSITION& position, uint64_t offset) {
    clear_function();
    FUNINFO* info = get_funinfo(symbol->name);
    info->symbol = symbol;
    info->flags |= FUN_is_defined;
    info->body_offset = offset;
    info->position = position;
    symbol->funinfo = info;
    function.symbol = symbol;
    function.info = info;
    function.begin = position;
    for (const PRAGMA* pragma = symbol->pragmas; pragma; pragma = pragma->next)
        if (pragma->kind == PK_OPTIONS && pragma->count) info->override_text = pragma->strings[0];
}

void begin_body(void*, const POSITION& position) { function.body = position; }
void function_place(void*, const POSITION& position) { function.current = position; }

void end_function(void* context, const POSITION& position) {
    if (!function.info)
        return clear_function(); // it began with the other kind of record, which names no function to us
    function.end = position;
    function.info->size = function.size_units;
    if (unit_of(context).function_read) unit_of(context).function_read(unit_of(context).context);
}

// The variable of the first return that names one is the function's; all returns name the same.
void note_return(const NODE* tree) {
    if (tree->op != OP_RETURN && tree->op != OP_URETURN) return;
    if (!function.return_symbol && tree->left && tree->left->op == OP_NAME)
        function.return_symbol = tree->left->symbol();
}

void add_statement(void*, NODE* tree, const POSITION& position) {
    note_return(tree);
    function.size_units += static_cast<uint32_t>(operator_count(tree));
    append_statement(tree, position);
}

void add_label(void*, uint32_t number) {
    NODE* definition = new_node(OP_LABELDEF, type_package()->void_type());
    definition->set_value(int96_unsigned(number));
    append_statement(definition, {});
}

void add_assembly(void* context, int kind, const char* text, const POSITION& position, bool in_function) {
    if (!in_function) {
        if (unit_of(context).file_assembly)
            unit_of(context).file_assembly(unit_of(context).context, kind, text, position);
        return;
    }
    NODE* statement = new_node(OP_ASM, type_package()->void_type());
    statement->set_value(int96_signed(kind));
    statement->text = zone_string(true, text);
    append_statement(statement, position);
}

void add_pragma(void* context, PRAGMA* pragma, bool in_function) {
    if (!in_function) {
        if (unit_of(context).file_pragma) unit_of(context).file_pragma(unit_of(context).context, pragma);
        return;
    }
    NODE* statement = new_node(OP_PPRAGMA, type_package()->void_type());
    statement->ref = pragma;
    append_statement(statement, {});
}

} // namespace

ICODE_CLIENT unit_icode_client(UNIT_CLIENT& unit) {
    ICODE_CLIENT client;
    client.context = &unit;
    client.wants_good_trees = true;
    client.begin_function = begin_function;
    client.begin_body = begin_body;
    client.function_place = function_place;
    client.end_function = end_function;
    client.statement = add_statement;
    client.label = add_label;
    client.assembly = add_assembly;
    client.pragma = add_pragma;
    return client;
}

void clear_function() {
    function = {};
    function_node_state = {};
    clear_function_symbols();
}

} // namespace pelorus
