// The text form: a text is refused with its place, or assembles to bytes whose text assembles to the same.
#include <cstdlib>

#include "fuzz/target.h"
#include "icode/text_form.h"
#include "support/fatal.h"

namespace pelorus {

void fatal_exit() { found("the assembler ended the process\n"); }

} // namespace pelorus

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace pelorus;
    const ASSEMBLY first = assemble_icode(bytes_of(data, size), "input");
    if (!first.good && !first.error.starts_with("input:")) found("no place: %s\n", first.error.c_str());
    if (!first.good) return 0;
    const std::string text = disassemble_icode(first.bytes, false).text;
    const ASSEMBLY second = assemble_icode(text, "again");
    if (!second.good) found("the text of the file is refused: %s\n", second.error.c_str());
    if (second.bytes != first.bytes) found("the text of the file is that of another one\n");
    return 0;
}
