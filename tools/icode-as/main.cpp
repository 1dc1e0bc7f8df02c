// icode-as: makes an icode file of its text form.
//
// Exit status: 0 when the file was written, 1 when the text has an error, 2 when a file cannot be read or
// written or the command line is wrong. Nothing is written unless all is well.
#include <cstdio>
#include <string>

#include "common/whole_file.h"
#include "icode/text_form.h"

namespace {

constexpr const char* USAGE =
    "usage: icode-as in.ict [-o out.if]\n"
    "  -o FILE    write the icode to FILE; without it, to the input's name with the extension .if\n"
    "\"-\" stands for the standard input or output.\n";

struct COMMAND {
    std::string input, output;
};

std::string derived_output(const std::string& input) {
    if (input == "-") return "-";
    const size_t dot = input.rfind('.');
    const size_t slash = input.rfind('/');
    const bool has_extension =
        dot != std::string::npos && (slash == std::string::npos || dot > slash + 1) && dot > 0;
    return (has_extension ? input.substr(0, dot) : input) + ".if";
}

bool parse_command(int count, char** arguments, COMMAND& command) {
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "-o" && i + 1 < count)
            command.output = arguments[++i];
        else if (argument.empty() || (argument[0] == '-' && argument != "-") || !command.input.empty())
            return false;
        else
            command.input = argument;
    }
    if (command.output.empty()) command.output = derived_output(command.input);
    return !command.input.empty() && (command.input == "-" || command.output != command.input);
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string(arguments[1]) == "--help") return fputs(USAGE, stdout) < 0 ? 2 : 0;
    COMMAND command;
    if (!parse_command(count, arguments, command)) {
        fputs(USAGE, stderr);
        return 2;
    }
    std::string text;
    if (!pelorus::read_file_bytes("icode-as", command.input, text)) return 2;
    const pelorus::ASSEMBLY result = pelorus::assemble_icode(text, command.input);
    if (!result.good) {
        fputs(result.error.c_str(), stderr);
        return 1;
    }
    return pelorus::write_file_bytes("icode-as", command.output, result.bytes) ? 0 : 2;
}
