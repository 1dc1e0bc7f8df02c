// The text form of icode: what icode-dis prints and icode-as reads (docs/icode.md, section 12).
//
// The text form shows records, not what they mean: it works on the bytes of a file through the tables
// records.def, ir/type_kinds.def and ir/opcodes.def, so that it can show files that are damaged too. Whatever
// the bytes are, assembling the text of a file gives the same bytes again. Whether a file makes sense is not
// looked at.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pelorus {

struct DISASSEMBLY {
    std::string text;
    size_t damaged = 0; // unknown and damaged records that were seen
};

// The text of a file's bytes. Any bytes will do; time and memory are linear in their number. With `offsets`
// each record is preceded by its offset in brackets.
DISASSEMBLY disassemble_icode(std::string_view bytes, bool offsets);

struct ASSEMBLY {
    bool good = false;
    std::string bytes; // when good
    std::string error; // otherwise: "name:line:column: what was wrong\n"
};

// The bytes of a text. `name` is the text's name for the message.
ASSEMBLY assemble_icode(std::string_view text, std::string_view name);

} // namespace pelorus
