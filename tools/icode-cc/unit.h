// The translation unit that icode-cc converts: what its files share.
//
// clang parses the whole file first; then the conversion walks the declarations. `UNIT` holds the maps from
// clang's declarations and types to icode's symbols and types, which are made when something first needs
// them. So only what the file uses of its headers gets into the output.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "clang/AST/APValue.h"
#include "clang/AST/ASTContext.h"
#include "clang/AST/Decl.h"
#include "clang/AST/Expr.h"
#include "clang/Basic/Diagnostic.h"
#include "llvm/ADT/DenseMap.h"
#include "llvm/ADT/DenseSet.h"
#include "llvm/ADT/StringMap.h"

#include "icode/format.h"
#include "icode/writer.h"

namespace pelorus {

// Bytes of one name or text; the other fields of its record have room beside it.
constexpr size_t LONGEST_TEXT = ICODE_BUFFER_SIZE - 256;

// A static object whose initializer is still to be written.
struct PENDING_OBJECT {
    SYMBOL* symbol;
    clang::APValue value;
    const clang::Expr* list; // takes the value's place when it fills a flexible array member; else null
    clang::QualType type;
    clang::SourceLocation place;
};

// A static copy of an inline definition that only another file defines externally; see symbols.h.
struct PENDING_COPY {
    const clang::FunctionDecl* definition;
    SYMBOL* symbol;
};

// Some bits of a bit-field that no integer holds which is its own; see pieces.h.
struct PIECE {
    TYPE_PART* part;
    TYPE* type;     // in which the bits are read: signed for the highest ones of a signed field
    uint32_t shift; // distance of the lowest bit from the field's lowest bit
};

struct UNIT {
    clang::ASTContext* ast = nullptr;
    ICODE_WRITER* writer = nullptr;
    TYPE_PKG types;
    clang::SourceLocation here;                  // what refusals without a place of their own point at
    llvm::DenseMap<const void*, TYPE*> type_map; // by canonical type
    llvm::DenseMap<std::pair<const void*, uint32_t>, TYPE*>
        function_types; // by canonical type and attributes
    llvm::DenseMap<const clang::FieldDecl*, TYPE_PART*> members;
    llvm::DenseMap<const clang::FieldDecl*, std::vector<PIECE>> pieces; // lowest first
    llvm::DenseMap<const TYPE*, std::vector<TYPE_PART*>> elements;      // of complex numbers and vectors
    llvm::DenseMap<const clang::Decl*, SYMBOL*> symbols;                // by canonical declaration
    llvm::DenseMap<const clang::Decl*, SYMBOL*> inline_copies;
    llvm::DenseMap<const clang::Expr*, SYMBOL*> literals; // file-scope compound literals and long strings
    llvm::StringMap<SYMBOL*> by_name;                     // global symbols by linkage name
    llvm::DenseMap<const clang::Decl*, uint32_t> order;   // by canonical declaration
    llvm::DenseMap<const clang::LabelDecl*, uint32_t>
        label_numbers; // what `&&label` is, from 1 in each function
    uint32_t next_order = 1;
    uint32_t next_static = 1; // numbers the names of objects without a file-scope name
    std::vector<PENDING_OBJECT> pending_objects;
    std::vector<PENDING_COPY> pending_copies;
    bool merges_tentative = false; // -fcommon
    bool hints_inline = true;      // false, -fno-inline: `inline` is no wish to expand calls
    bool refused = false;
};

// Reports that the file uses something that has no icode, at `place` or, without one, at `here`. The
// conversion goes on, so that one run reports everything; the output is deleted at its end.
void refuse(UNIT& unit, clang::SourceLocation place, const std::string& what);
inline void refuse(UNIT& unit, const std::string& what) { refuse(unit, unit.here, what); }

// A name or text as a record can hold it; refuses one that is too long at `here`.
std::string fitting_text(UNIT& unit, const std::string& text, const char* what);

// The presumed position of a place in the source: where a macro is used, not where it is defined.
POSITION position_of(const UNIT& unit, clang::SourceLocation place);

} // namespace pelorus
