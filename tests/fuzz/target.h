// What the fuzz targets have in common. A target is a function that takes any bytes and stops the process
// when something is wrong with how they were taken.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace pelorus {

inline std::string_view bytes_of(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// Says what is wrong and stops the process in a way that a fuzzer sees.
[[noreturn]] void found(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace pelorus
