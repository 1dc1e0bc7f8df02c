// See graph_files.h.
#include "driver/graph_files.h"

#include <cstdio>

#include "cfg/facts.h"
#include "cfg/graph_picture.h"
#include "driver/files.h"
#include "driver/output_stream.h"
#include "support/hash.h"
#include "support/run.h"
#include "support/settings.h"

namespace pelorus {

namespace {

// Of a function's name in a file's. Systems allow 255 in all, of which the output's own name needs some.
constexpr size_t MOST_NAME_CHARACTERS = 120;

bool is_portable(char at) {
    return (at >= '0' && at <= '9') || (at >= 'A' && at <= 'Z') || (at >= 'a' && at <= 'z') || at == '_';
}

std::string hexadecimal(const char* format, unsigned long long number) {
    char text[24];
    snprintf(text, sizeof text, format, number);
    return text;
}

std::string portable_name(const std::string& function) {
    std::string name;
    uint64_t hash = 0;
    for (const char at : function) {
        const auto byte = static_cast<unsigned char>(at);
        hash = mix_hash(hash, byte);
        name += is_portable(at) ? std::string(1, at) : hexadecimal("=%02llX", byte);
    }
    if (name.size() <= MOST_NAME_CHARACTERS) return name;
    return name.substr(0, MOST_NAME_CHARACTERS) + hexadecimal("=%016llX", hash);
}

bool is_wanted(int step) {
    return step >= 1 && step <= 32 && static_cast<uint32_t>(settings.graph_dumps) >> (step - 1) & 1;
}

} // namespace

std::string graph_file_name(const std::string& function, int step) {
    const bool has_file = run.output_name != STANDARD_OUTPUT_NAME;
    char ending[24];
    snprintf(ending, sizeof ending, ".step%02d.dot", step);
    return without_extension(has_file ? run.output_name : run.input_name) + "." + portable_name(function) +
           ending;
}

void draw_graph_after(int step, const char* name) {
    if (!is_wanted(step) || !fact_is_valid(FACT_numbers)) return;
    const std::string function = run.current_function_name;
    write_side_file("Graph File", graph_file_name(function, step),
                    graph_picture(function + "() after step " + std::to_string(step) + ", " + name));
}

} // namespace pelorus
