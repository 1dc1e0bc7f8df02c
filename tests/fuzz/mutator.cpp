// How the fuzzer changes icode: mostly as trees and records, so that lengths and offsets still fit, and
// sometimes as bytes.
#include <cstring>

#include "common/icode_parts.h"
#include "fuzz/target.h"
#include "mutants/mutate.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t most);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t most, unsigned seed);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t most, unsigned seed) {
    using namespace pelorus;
    PARTS_FILE file;
    if (seed % 5 == 0 || !take_apart(bytes_of(data, size), file)) return LLVMFuzzerMutate(data, size, most);
    DICE dice(seed);
    mutate(file, dice);
    const std::string bytes = put_together(file);
    if (bytes.size() > most) return LLVMFuzzerMutate(data, size, most);
    memcpy(data, bytes.data(), bytes.size());
    return bytes.size();
}
