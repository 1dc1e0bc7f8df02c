// Bit-fields in pieces.
//
// A bit-field may have no integer around it that lies in the structure and over no other member: 17 bits in 3
// bytes. Its icode type then has several members, of which each holds some of the bits, and a use of the
// field becomes one of all of them. Such fields are no lvalues; whoever may meet one asks first.
#pragma once

#include "body.h"

namespace pelorus {

// The field that an lvalue expression names, when it is one in pieces; else null.
const clang::FieldDecl* field_in_pieces(BODY& body, const clang::Expr* object);

NODE* read_pieces(BODY& body, const clang::Expr* object);
NODE* assign_pieces(BODY& body, const clang::BinaryOperator* expression); // simple and compound
NODE* increment_pieces(BODY& body, const clang::UnaryOperator* expression);

// The tree that gives the field of the structure `target` (an lvalue; used by copies) a value.
NODE* fill_pieces(BODY& body, const NODE* target, const clang::FieldDecl* field, NODE* value);

} // namespace pelorus
