// Complex numbers and vectors: values taken apart into their elements.
//
// In icode such a value is a structure with one member an element. What only moves it, such as a call, an
// assignment or `?:`, treats it as any structure. What computes with it works on one tree an element, which
// is stored in the end, so that the nodes between need no structures.
#pragma once

#include "expressions.h"

namespace pelorus {

// A value taken apart. A number that meets a complex one has a single element.
struct ELEMENTS {
    NODE* effects = nullptr;     // to be evaluated before; null: none
    std::vector<NODE*> values{}; // without effects; each tree is used once
    bool is_steady = false;      // constants and temporaries, which nothing changes that is evaluated later
    bool in_order = true;        // value i reads element i alone, so that others may be stored before it
};

// The value of any expression of such a type, or of a number.
ELEMENTS elements_of_value(BODY& body, const clang::Expr* expression);
// The same of a tree of structure type that is used for nothing else.
ELEMENTS read_elements(BODY& body, clang::QualType type, NODE* value);
// The expression of such a type is computed by elements; others are copied as a whole.
bool computes_elements(const BODY& body, const clang::Expr* expression);
// The value of an expression that is computed by elements, as an object.
NODE* value_by_elements(BODY& body, const clang::Expr* expression);
// The elements as an object of the type.
NODE* object_of_elements(BODY& body, clang::QualType type, const ELEMENTS& elements);
// The effects that assign the elements to an lvalue.
NODE* store_elements(BODY& body, NODE* lvalue, clang::QualType type, ELEMENTS elements);

// An assignment or increment that concerns such types. `left` denotes the object again without effects.
struct ELEMENT_CHANGE {
    NODE* effects;
    NODE* left;
};
bool changes_elements(const clang::BinaryOperator* assignment);
ELEMENT_CHANGE element_assignment(BODY& body, const clang::BinaryOperator* assignment);
NODE* increment_complex(BODY& body, const clang::UnaryOperator* expression, bool value_needed);

// --- For the operators (complex.cpp, vectors.cpp, half.cpp) ---

// An lvalue as a tree without effects, which may be copied; the pointers on the way to it are kept in
// temporaries, by the effects.
NODE* fixed_object(BODY& body, NODE* lvalue, NODE*& effects);

// Elements that nothing changes afterwards: values are kept in temporaries.
ELEMENTS steady_elements(BODY& body, ELEMENTS elements);
// The effects of both, left first, with what the right ones could change of the left ones kept before.
NODE* effects_of_both(BODY& body, ELEMENTS& left, const ELEMENTS& right);
// A number as a single element.
ELEMENTS single_element(BODY& body, NODE* value);
// `object.element`; the tree is used.
NODE* element_of_object(BODY& body, NODE* object, clang::QualType type, size_t number);

// An operator on elements of one type, which gives that type: small integers wrap, too.
NODE* element_operation(BODY& body, OPCODE op, TYPE* type, NODE* left, NODE* right);
NODE* element_operation(BODY& body, OPCODE op, TYPE* type, NODE* value);
// A relation between two elements of one type, an int.
NODE* element_relation(BODY& body, clang::BinaryOperatorKind kind, NODE* left, NODE* right);

// Elements of a complex number or vector that an expression of its own kind computes.
ELEMENTS complex_elements(BODY& body, const clang::Expr* expression);
// `left op right` in the complex type, as clang computes it.
ELEMENTS complex_arithmetic(BODY& body, clang::BinaryOperatorKind kind, clang::QualType type, ELEMENTS left,
                            ELEMENTS right, clang::LangOptions::ComplexRangeKind range);
NODE* complex_relation(BODY& body, const clang::BinaryOperator* expression);
NODE* complex_truth(BODY& body, const clang::Expr* expression);
// `__real__` and `__imag__`.
NODE* complex_part(BODY& body, const clang::UnaryOperator* expression);
NODE* complex_part_lvalue(BODY& body, const clang::UnaryOperator* expression);

// The same for vectors.
ELEMENTS vector_elements(BODY& body, const clang::Expr* expression);
ELEMENTS vector_arithmetic(BODY& body, clang::BinaryOperatorKind kind, clang::QualType type, ELEMENTS left,
                           ELEMENTS right);
bool computes_vector(const clang::CallExpr* call);          // a builtin function that vector_elements knows
NODE* vector_bits(BODY& body, const clang::CastExpr* cast); // as a number
// `v.x` and `v.wzyx`, whose elements have names.
ELEMENTS named_elements(BODY& body, const clang::ExtVectorElementExpr* expression);
NODE* named_element_lvalue(BODY& body, const clang::ExtVectorElementExpr* expression); // of one
ELEMENT_CHANGE assign_named_elements(BODY& body, const clang::BinaryOperator* assignment);
NODE* vector_subscript(BODY& body, const clang::ArraySubscriptExpr* expression); // an lvalue
// A builtin function that chooses among numbers or makes one number of a vector; null for others.
NODE* value_of_vector_builtin(BODY& body, const clang::CallExpr* call, unsigned builtin);

} // namespace pelorus
