// The function that is being converted.
//
// Its statements gather in a list of records, so that the symbols of each block can be written before them. A
// variable is a symbol of the block that declares it, and what has no declaration one of the body. Blocks
// without symbols, labels and calls are sorted out when the list is written.
#pragma once

#include "clang/AST/Stmt.h"

#include "symbols.h"

namespace pelorus {

enum class BODY_RECORD : uint8_t { STATEMENT, LABEL, ASSEMBLY, UNROLL, BLOCK_BEGIN, BLOCK_END };

struct BODY_ITEM {
    BODY_RECORD kind;
    NODE* tree;       // STATEMENT
    uint32_t label;   // LABEL; UNROLL: the count; BLOCK_BEGIN, BLOCK_END: number of the block
    const char* text; // ASSEMBLY
    POSITION position;
};

// Where `break` and `continue` lead.
struct JUMP {
    uint32_t label = 0;                   // 0: no such statement is around
    const clang::VarDecl* held = nullptr; // in force there; see scopes.h
};
struct JUMP_TARGETS {
    JUMP break_to;
    JUMP continue_to;
};

struct BODY {
    UNIT& unit;
    const clang::FunctionDecl* function = nullptr;
    SYMBOL* symbol = nullptr;
    SYMBOL* return_symbol = nullptr;             // null in void functions
    SYMBOL* last_parameter = nullptr;            // level 1; null without parameters
    std::vector<std::vector<SYMBOL*>> locals{1}; // level 2, in order, by number of the block; 0 the body
    uint32_t block = 0;                          // the innermost one
    std::vector<BODY_ITEM> items{};
    POSITION position{};                    // of the statement being converted
    bool reachable = true;                  // control may come to the end of `items`
    bool walks_arguments = false;           // the body uses va_start
    bool has_statement_expressions = false; //
    bool has_lengths = false;               // some type in an expression has an array of variable length
    uint32_t last_label = 0;
    uint32_t last_temporary = 0;
    llvm::DenseSet<const SYMBOL*> temporaries{}; // what new_temporary_local made
    JUMP_TARGETS targets{};
    llvm::DenseMap<const clang::Decl*, SYMBOL*> variables{};
    llvm::DenseMap<const clang::Decl*, uint32_t> blocks{}; // that declare the variables; 0 for others
    llvm::DenseMap<const clang::Decl*, uint32_t> labels{}; // of `goto`
    llvm::DenseMap<const clang::SwitchCase*, uint32_t> case_labels{};
    llvm::DenseMap<const clang::Expr*, SYMBOL*> saved{};    // values that a temporary holds already
    llvm::DenseMap<const clang::Expr*, SYMBOL*> literals{}; // compound literals
    llvm::DenseMap<const clang::Expr*, SYMBOL*> lengths{};  // of arrays, by the expression of the length
    const clang::VarDecl* held = nullptr;                   // see scopes.h, also for the following ones
    llvm::DenseMap<const clang::VarDecl*, const clang::VarDecl*> around{}; // of held locals
    llvm::DenseMap<const clang::VarDecl*, SYMBOL*> stacks{}; // the stack before an array's memory
    llvm::DenseMap<const clang::LabelDecl*, const clang::VarDecl*> held_at{}; // in force at a label
    std::vector<const clang::LabelDecl*> address_labels{};                    // by number - 1
};

// Statements and refusals from now on stand at this place.
void stand_at(BODY& body, clang::SourceLocation place);

// A block of the source, which ends inside the one where it began. Reachable or not.
struct OPEN_BLOCK {
    uint32_t number;
    uint32_t outer;
};
OPEN_BLOCK begin_block(BODY& body);
void end_block(BODY& body, const OPEN_BLOCK& block, clang::SourceLocation place);

// Appends a statement at the current position; nothing when control does not come here.
void emit(BODY& body, NODE* tree);
void emit_label(BODY& body, uint32_t label);
void emit_assembly(BODY& body, const std::string& text);
uint32_t new_label(BODY& body);
NODE* label_leaf(uint32_t label);
void emit_branch(BODY& body, uint32_t label);
void emit_if(BODY& body, NODE* condition, uint32_t yes, uint32_t no);

// A level-2 variable, of the block with that number.
SYMBOL* new_local(BODY& body, const std::string& name, TYPE* type, uint32_t align,
                  clang::SourceLocation place, uint32_t block = 0);
// A local without a name in the source. Qualifiers of the type do not count.
SYMBOL* new_temporary_local(BODY& body, TYPE* type);

// The local or static symbol that a variable of a function has.
SYMBOL* variable_of(BODY& body, const clang::VarDecl* variable);

// Converts the definition and writes it as the function `symbol`. Releases the function zone.
void write_function(UNIT& unit, const clang::FunctionDecl* definition, SYMBOL* symbol);

} // namespace pelorus
