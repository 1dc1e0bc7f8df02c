// Types and the calling convention: how values of icode's types look in LLVM IR and travel through calls.
//
// The convention is the EABI's with floating-point registers (AAPCS-VFP). LLVM assigns registers and stack
// slots to scalars; what is decided here is how structures become scalars. A structure
//   that is empty                                 is not passed at all
//   of 1 to 4 floats or doubles and nothing else  travels as that array, in floating-point registers
//   that is a vector of 8 or 16 bytes             travels as one or two doubles, the two in one quad register
//   of 1 to 4 such vectors and nothing else       travels as their doubles
//   of up to 64 bytes                             is passed as an array of words or double words
//   that is larger                                is passed as a copy in memory
//   of up to 4 bytes                              is returned as one integer
//   that is larger                                is returned through a pointer to memory of the caller
// A variadic function follows the base convention, which knows no floating-point registers. LLVM sees to that
// for scalars; for structures the second row is left out, for vectors the third and fourth.
//
// A pair of doubles may begin at any double register, a quad register only at an even one, which a processor
// without vector instructions gives LLVM no means to ask for. So the parameters of a function that takes such
// vectors are handed to LLVM in the order of the registers that the convention gives them, with floats that
// nobody reads where registers stay free.
//
// Reference: Procedure Call Standard for the Arm Architecture, sections 6 and 7.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ir/type.h"

namespace pelorus {

// The LLVM type of a value.
enum class LTYPE : uint8_t { VOID, I1, I8, I16, I32, I64, FLOAT, DOUBLE, PTR, MEMORY, NONE };

// `MEMORY` for structures, unions, arrays and functions, whose values are handled by their address; `NONE`
// for types that have no values here (complex numbers, pointers to members). bool is I8, 0 or 1.
LTYPE ltype_of(const TYPE* type);
// "i32"; MEMORY and PTR are "ptr".
const char* ltype_text(LTYPE type);
uint32_t ltype_bits(LTYPE type);
// The integer type of 8, 16, 32 or 64 bits; NONE for any other number.
LTYPE ltype_integer(uint32_t bits);
inline bool ltype_is_integer(LTYPE type) { return type >= LTYPE::I1 && type <= LTYPE::I64; }
inline bool ltype_is_floating(LTYPE type) { return type == LTYPE::FLOAT || type == LTYPE::DOUBLE; }

// A text such as "[12 x i8]" for an object of so many bytes.
std::string ltype_bytes(uint32_t size);

enum class PASSED : uint8_t {
    NOT_AT_ALL, // an empty structure; as a result: void
    DIRECTLY,   // a scalar of type `scalar`
    AS_ARRAY,   // a structure, loaded and stored as `type`
    IN_MEMORY,  // a structure: its address, with the attribute byval or sret of `type`
};

// How one argument or result travels.
struct PASSING {
    PASSED how = PASSED::NOT_AT_ALL;
    LTYPE scalar = LTYPE::VOID; // DIRECTLY
    std::string type;           // LLVM type
    const char* extension = ""; // "zeroext " or "signext ": DIRECTLY, below 32 bits
    uint32_t bytes = 0;         // AS_ARRAY: bytes of `type`, at least the structure's
    uint32_t align = 1;         // AS_ARRAY: of `type`; IN_MEMORY: of the memory
    uint8_t singles = 0;        // single registers that it takes; 0: it travels in no floating-point register
    uint8_t first_single = 1;   // it begins at one whose number is a multiple of this
};

PASSING pass_argument(const TYPE* type, bool variadic);
PASSING pass_result(const TYPE* type, bool variadic);

// The order in which LLVM gets parameters that travel so: their numbers, and FILLER for a float that nobody
// reads.
constexpr int32_t FILLER = -1;
std::vector<int32_t> register_order(const std::vector<PASSING>& parameters);

// A function's LLVM type: "void" and "ptr, i32, ...".
struct SIGNATURE {
    std::string result;
    std::string parameters;
};
// Of a function type; one without a prototype takes "...".
SIGNATURE signature_of(const TYPE* function);

} // namespace pelorus
