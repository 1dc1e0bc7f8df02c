// The record of the current function; see stmt.h.
#include "ir/stmt.h"

#include "memory/zone.h"

namespace pelorus {

FUNCTION function;

STMT* new_stmt(NODE* tree, const POSITION& position, STMT* next) {
    auto* cell = zone_new<STMT>(true);
    *cell = {tree, position, next};
    return cell;
}

NODE* new_comment(const char* text) {
    NODE* comment = new_node(OP_ASM, type_package()->void_type());
    comment->set_value(int96_signed(TEXT_COMMENT));
    comment->text = text;
    return comment;
}

bool is_comment(const NODE* statement) {
    return statement->op == OP_ASM && statement->value_lo == TEXT_COMMENT;
}

TYPE* function_return_type() {
    if (!function.symbol || !type_is_function(function.symbol->type)) return nullptr;
    return type_strip(function.symbol->type)->base;
}

SYMBOL* function_return_symbol() {
    TYPE* type = function_return_type();
    if (!function.return_symbol && type && !type_is_void(type))
        function.return_symbol = new_temporary('R', type_normalise(type), -1);
    return function.return_symbol;
}

NODE* new_ureturn() {
    TYPE* void_type = type_package()->void_type();
    SYMBOL* symbol = function_return_symbol();
    return new_unary(OP_URETURN, void_type, new_name(symbol, symbol ? symbol->type : void_type));
}

} // namespace pelorus
