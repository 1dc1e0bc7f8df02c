// The record of the run: names of the files and the function being processed.
#pragma once

#include <cstdint>
#include <string>

namespace pelorus {

struct FUNINFO;

constexpr const char* TOOL_NAME = "Pelorus C/C++ Optimizer";

struct RUN {
    std::string program_name;                    // argument 0
    std::string input_name;                      // first positional argument
    std::string output_name;                     // second positional argument, or derived from the first
    FUNINFO* current_function = nullptr;         // null between functions
    const char* current_function_name = nullptr; // its name without the leading "_"; null between functions
    const char* current_file = "NO_PSN_FILE";    // source file of the current function
    uint8_t phase = 0;              // 1 while the input is read as a whole and analysed, 2 from "Pass 2" on
    uint8_t reading_whole_file = 0; // 1 only while the whole file is being read
};

extern RUN run;

} // namespace pelorus
