// NODE: one node of an expression or statement tree.
//
// A node belongs to the zone in which it was made (memory/zone.h): the function zone for the bodies of
// functions, the global zone for initializers. Nodes are made by `new_node` and given back, if at all, by
// `erase_node` (ir/node_storage.h).
//
// A file's payloads reach a node through its virtual operations. Their order is fixed, since the reader's
// table names them by slot.
#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "ir/label.h"
#include "ir/opcodes.h"
#include "ir/type.h"
#include "target/int96.h"
#include "target/target_float.h"

namespace pelorus {

struct NODE;
struct SYMBOL;

// What later passes know about the statement that a node is the top of.
struct STMT_INFO {
    int16_t number;
};

// The operations of a node, by slot.
class BASE_NODE {
public:
    virtual void* op_ref() = 0;                  //  0  `ref`
    virtual int op_is_node() = 0;                //  1  1
    virtual TYPE_PART* op_field() = 0;           //  2  `field_info`
    virtual TYPE* op_field_owner() = 0;          //  3  `ref`: the structure of a FIELD
    virtual int32_t op_label() = 0;              //  4  `value_lo`
    virtual int32_t op_number() = 0;             //  5  `value_lo`
    virtual TARGET_INTEGER op_integer() = 0;     //  6  the value as a constant of a standard type
    virtual const char* op_float_text() = 0;     //  7  decimal text of an FCON, formed when first asked for
    virtual const char* op_text() = 0;           //  8  `text`
    virtual int32_t op_length() = 0;             //  9  `value_lo`: bytes of an SCON
    virtual int32_t op_skip() = 0;               // 10  `value_lo`
    virtual int32_t op_unused_11() = 0;          // 11  0
    virtual int32_t op_call_number() = 0;        // 12  `value_lo`
    virtual int32_t op_size() = 0;               // 13  `size`
    virtual int16_t op_stmt_number() = 0;        // 14  the number in `stmt_info`; 0 without one
    virtual int32_t op_unused_15() = 0;          // 15  0
    virtual int32_t op_unused_16() = 0;          // 16  0
    virtual int32_t op_value() = 0;              // 17  `value_lo`
    virtual const char* op_callee_text() = 0;    // 18  `ref`: the name text of an ICALL, MCALL, ...
    virtual void set_symbol(SYMBOL* symbol) = 0; // 19  NAME
    virtual void set_field(int check, TYPE_PART* member, TYPE* owner) = 0; // 20  FIELD; `check` must be 1
    virtual void set_integer(int32_t number) = 0;                   // 21  ICON, extended as the type says
    virtual void set_decimal(const char* digits) = 0;               // 22  LCON; the node becomes an ICON
    virtual void set_float(const char* text) = 0;                   // 23  FCON, rounded to the type
    virtual void set_bytes(const char* bytes, uint32_t length) = 0; // 24  SCON
    virtual void set_label(uint32_t number) = 0;                    // 25  LABEL
    virtual void set_nothing(int32_t number) = 0;                   // 26  opcode 163: dropped
    virtual void set_skip(int32_t bytes) = 0;                       // 27  SKIP
    virtual void set_switch(uint32_t number) = 0;                   // 28  SWITCH
    virtual void set_ddnode(uint32_t first, uint32_t second, uint8_t third) = 0; // 29  dropped
    virtual void set_call(uint32_t number) = 0;         // 30  CALL; the function is no leaf
    virtual void set_callee_text(const char* name) = 0; // 31  ICALL, UICALL, MCALL, UMCALL

protected:
    ~BASE_NODE() = default;
};

struct NODE final : BASE_NODE {
    int32_t op;        // OPCODE; OP_ERASED while the node is being built and after it was erased
    uint8_t local;     // 1 when the node lies in the function zone
    TYPE* type;        // of the value; qualifiers of an lvalue included
    NODE* left;        // first subtree or null
    NODE* right;       // second subtree or null
    int32_t value_hi;  // a 96-bit integer, most significant word first: the value of an ICON; the number of a
    int32_t value_mid; //   LABEL, SKIP, CALL or UCALL; the byte length of an SCON
    int32_t value_lo;  //
    void* ref; // NAME: SYMBOL or null; FIELD: TYPE of the structure; FCON: TARGET_FLOAT; ICALL, UICALL,
               //   MCALL, UMCALL: name text; LABEL: LABEL_RECORD once resolved; SSA_PHI: its operands;
               //   SSA_USE: the block that it comes from
    TYPE_PART* field_info; // FIELD: the member
    uint32_t analysis[2];  // owned by the analyses
    STMT_INFO* stmt_info;  // or null
    int32_t size;          // bytes of the type; -1 for LABEL, SCON, ICON, FCON, CSE_DUPE; SWITCH: its number
    int32_t depth_number;  // printed by the tree dump; owned by the analyses
    int32_t inline_depth;  // calls: 0 when written in the source, else one more than its expansion
    const char* text;    // SCON: its bytes, not terminated; FCON: decimal text; ASM: text; PPRAGMA: see `ref`
    uint32_t scratch[6]; // of later passes; cleared at creation
    int16_t scratch_short; //

    // Typed views of `ref`.
    SYMBOL* symbol() const { return static_cast<SYMBOL*>(ref); }
    TARGET_FLOAT* floating() const { return static_cast<TARGET_FLOAT*>(ref); }
    LABEL_RECORD* label() const { return static_cast<LABEL_RECORD*>(ref); }
    INT96 value() const { return {value_hi, value_mid, value_lo}; }
    void set_value(INT96 v) { value_hi = v.hi, value_mid = v.mid, value_lo = v.lo; }

    void* op_ref() override;
    int op_is_node() override;
    TYPE_PART* op_field() override;
    TYPE* op_field_owner() override;
    int32_t op_label() override;
    int32_t op_number() override;
    TARGET_INTEGER op_integer() override;
    const char* op_float_text() override;
    const char* op_text() override;
    int32_t op_length() override;
    int32_t op_skip() override;
    int32_t op_unused_11() override;
    int32_t op_call_number() override;
    int32_t op_size() override;
    int16_t op_stmt_number() override;
    int32_t op_unused_15() override;
    int32_t op_unused_16() override;
    int32_t op_value() override;
    const char* op_callee_text() override;
    void set_symbol(SYMBOL* symbol) override;
    void set_field(int check, TYPE_PART* member, TYPE* owner) override;
    void set_integer(int32_t number) override;
    void set_decimal(const char* digits) override;
    void set_float(const char* text) override;
    void set_bytes(const char* bytes, uint32_t length) override;
    void set_label(uint32_t number) override;
    void set_nothing(int32_t number) override;
    void set_skip(int32_t bytes) override;
    void set_switch(uint32_t number) override;
    void set_ddnode(uint32_t first, uint32_t second, uint8_t third) override;
    void set_call(uint32_t number) override;
    void set_callee_text(const char* name) override;
};
static_assert(std::is_trivially_destructible_v<NODE>);

// What the nodes of a function say about it as they are made; function begin clears it.
struct FUNCTION_NODE_STATE {
    bool makes_no_calls = true; // cleared by the first call
    bool has_bitfields = false; // a FIELD named a bit-field
    int32_t call_state = 0;     // cleared by each UCALL; owned by the call passes
    int32_t calls = 0;          // calls numbered so far
};
extern FUNCTION_NODE_STATE function_node_state;

// Target options that the factory asks for.
struct NODE_FACTORY_OPTIONS {
    bool local = true; // the zone in which nodes are made: the function zone, or the global zone
    bool char_pointer_operator = false; // conversions to character pointers become ISP2CHAR
};
extern NODE_FACTORY_OPTIONS node_factory;

// Makes a node in the current zone with all fields cleared but `op`, `type` and `size`.
// `type` may be null only for opcodes that have no value. Never fails (the zone ends the run).
NODE* new_node(int32_t op, TYPE* type);

// Gives a node another type; its size follows.
void set_type(NODE* node, TYPE* type);

// The usual shapes.
NODE* new_unary(int32_t op, TYPE* type, NODE* left);
NODE* new_binary(int32_t op, TYPE* type, NODE* left, NODE* right);
NODE* new_name(SYMBOL* symbol, TYPE* type);
NODE* new_icon(TYPE* type, INT96 value);
// The operands of an SSA_PHI, which are no subtrees: SSA_USEs in the function zone.
inline std::span<NODE*> phi_operands(const NODE* phi) {
    return {static_cast<NODE**>(phi->ref), static_cast<size_t>(phi->value_lo)};
}
inline void set_phi_operands(NODE* phi, NODE** operands, int32_t count) {
    phi->ref = operands;
    phi->value_lo = count;
}
// An ICON of what the integer type keeps of the value; of a number without sign.
NODE* new_wrapped_icon(TYPE* type, INT96 value);
NODE* new_wrapped_icon(TYPE* type, uint64_t value);
NODE* new_label_leaf(int32_t index); // of void type

// A copy of the tree in the current zone. Iterates down left spines, so that long lists take no stack.
NODE* copy_tree(const NODE* tree);

} // namespace pelorus
