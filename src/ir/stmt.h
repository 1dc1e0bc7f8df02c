// Statements: cells of singly linked lists, and the record of the function being processed.
#pragma once

#include <cstdint>
#include <type_traits>

#include "ir/node.h"
#include "ir/position.h"
#include "ir/symbol.h"
#include "support/decision.h"

namespace pelorus {

struct STMT {
    NODE* tree;        // never null
    POSITION position; //
    STMT* next;        //
};
static_assert(std::is_trivially_destructible_v<STMT>);

// The next decisions are about this statement; `block` is the number of its block, 0 before there are blocks.
inline void stand_at(int32_t block, const STMT& cell) {
    stand_at(block, cell.position.line, cell.position.call_line());
}

// A cell in the function zone.
STMT* new_stmt(NODE* tree, const POSITION& position, STMT* next);

// What the text of an ASM node is: its number is that of the record it was read from.
enum TEXT_KIND : int32_t { TEXT_ASSEMBLY = 36, TEXT_COMMENT = 47 };
// A statement that is a comment line in the output. `text` must live as long as the function.
NODE* new_comment(const char* text);
bool is_comment(const NODE* statement);

// The function being read, optimized or written; the storage is the function zone's.
struct FUNCTION {
    SYMBOL* symbol = nullptr;   // null between functions
    FUNINFO* info = nullptr;    //
    STMT* statements = nullptr; // as read: last statement first; null once the blocks hold them
    SYMBOL* return_symbol =
        nullptr;              // variable that the returns name; null for void or when none named one yet
    POSITION begin{};         // of the function begin record
    POSITION body{};          // of the body begin record
    POSITION current{};       // of the last kind-6 record
    POSITION end{};           // of the function end record
    STMT* comments = nullptr; // lines collected to stand before the body, in order
    uint32_t size_units = 0;  // operator nodes of the statements
};
extern FUNCTION function;

// The return type of the current function; null when its type is no function.
TYPE* function_return_type();
// The variable that the returns of the current function name: the one that the file's returns name, or a new
// temporary "R$<n>" when the function returns a value and no return named one. Null for void functions.
SYMBOL* function_return_symbol();
// A URETURN of it.
NODE* new_ureturn();

} // namespace pelorus
