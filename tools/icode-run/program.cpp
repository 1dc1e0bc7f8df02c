// Questions about a loaded program.
#include "program.h"

namespace pelorus {

uint32_t resolved_global(const PROGRAM& program, uint32_t global) {
    constexpr int LONGEST_CHAIN = 16;
    for (int i = 0; i < LONGEST_CHAIN && program.globals[global].alias_of != NO_NUMBER; i++)
        global = program.globals[global].alias_of;
    return global;
}

namespace {

// Do both travel in the same registers?
bool travels_alike(const SHAPE& a, const SHAPE& b) {
    if (a.kind != b.kind) return false;
    if (a.kind == SHAPE::INTEGER) return (a.size == 8) == (b.size == 8);
    return a.kind != SHAPE::FLOATING || a.size == b.size;
}

const char* shape_text(const SHAPE& shape) {
    switch (shape.kind) {
    case SHAPE::NOTHING: return "nothing";
    case SHAPE::INTEGER: return shape.is_pointer ? "a pointer" : shape.size == 8 ? "a long long" : "an int";
    case SHAPE::FLOATING: return shape.size == 8 ? "a double" : "a float";
    case SHAPE::MEMORY: return "a structure";
    case SHAPE::UNKNOWN: break;
    }
    return "something else";
}

} // namespace

std::string why_call_does_not_fit(const FUNCTION_CODE& function, const CALL_SITE_CODE& site) {
    if (site.arguments.size() < function.parameters.size())
        return function.name + " takes " + std::to_string(function.parameters.size()) +
               " arguments and gets " + std::to_string(site.arguments.size());
    for (size_t i = 0; i < function.parameters.size(); i++) {
        const SHAPE &wanted = function.parameters[i], &given = site.arguments[i].shape;
        const bool same_size =
            wanted.kind != SHAPE::MEMORY || function.parameter_sizes[i] == site.arguments[i].size;
        if (!travels_alike(wanted, given) || !same_size)
            return function.name + " takes " + shape_text(wanted) + " as argument " + std::to_string(i + 1) +
                   " and gets " + shape_text(given);
    }
    // A function that returns nothing may be called for a value that nobody looks at.
    if (site.result.kind == SHAPE::NOTHING || function.result.kind == SHAPE::NOTHING) return {};
    if (travels_alike(site.result, function.result) && site.result_size == function.result_size) return {};
    return function.name + " returns " + shape_text(function.result) + " and is called for " +
           shape_text(site.result);
}

std::string place_text(const PROGRAM& program, uint32_t place) {
    const SOURCE_PLACE& source = program.places[place];
    std::string text = program.functions[source.function].name;
    if (source.file) text += ", " + program.files[source.file];
    if (source.line) text += ":" + std::to_string(source.line);
    if (source.line && source.column) text += ":" + std::to_string(source.column);
    return text;
}

} // namespace pelorus
