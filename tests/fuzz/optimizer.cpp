// The whole optimizer at level 4: what obeys the rules is optimized to what obeys them, without a rule broken
// on the way, and what does not is optimized as well or refused with a message.
#include "fuzz/target.h"
#include "icode/validate_file.h"
#include "random/in_process.h"

namespace pelorus {

namespace {

void name_fault(void* text, const FILE_FAULT& fault) {
    *static_cast<std::string*>(text) = fault_text("output", fault);
}

void try_bytes(std::string_view bytes) {
    static const WORKPLACE workplace;
    const bool obeys = validate_icode(bytes, 0, {}) == 0;
    workplace.put_input(bytes);
    const OPTIMIZED result =
        obeys ? workplace.optimize({"-o4", "--debug=verify"}) : workplace.optimize({"-o4"});
    if (obeys && result.status != 0) found("obeys the rules, and: %s\n", result.messages.c_str());
    if (result.status != 0 && result.messages.empty()) found("refused without a message\n");
    std::string fault;
    if (obeys && validate_icode(result.output, 1, {name_fault, &fault})) found("%s", fault.c_str());
}

} // namespace

} // namespace pelorus

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pelorus::try_bytes(pelorus::bytes_of(data, size));
    return 0;
}
