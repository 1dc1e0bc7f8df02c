// icode-dis: prints an icode file in its text form, which icode-as turns into the same bytes again.
//
// Exit status: 0 when all records were understood, 1 when there were unknown or damaged ones, 2 when a file
// cannot be read or written or the command line is wrong.
#include <cstdio>
#include <string>

#include "common/whole_file.h"
#include "icode/text_form.h"

namespace {

constexpr const char* USAGE = "usage: icode-dis [--offsets] in.if [-o out.ict]\n"
                              "  --offsets  print the offset of each record in front of it\n"
                              "  -o FILE    write the text to FILE instead of the standard output\n"
                              "\"-\" stands for the standard input or output.\n";

struct COMMAND {
    std::string input, output = "-";
    bool offsets = false;
};

bool parse_command(int count, char** arguments, COMMAND& command) {
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "--offsets")
            command.offsets = true;
        else if (argument == "-o" && i + 1 < count)
            command.output = arguments[++i];
        else if (argument.empty() || (argument[0] == '-' && argument != "-") || !command.input.empty())
            return false;
        else
            command.input = argument;
    }
    return !command.input.empty();
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string(arguments[1]) == "--help") return fputs(USAGE, stdout) < 0 ? 2 : 0;
    COMMAND command;
    if (!parse_command(count, arguments, command)) {
        fputs(USAGE, stderr);
        return 2;
    }
    std::string bytes;
    if (!pelorus::read_file_bytes("icode-dis", command.input, bytes)) return 2;
    const pelorus::DISASSEMBLY result = pelorus::disassemble_icode(bytes, command.offsets);
    if (!pelorus::write_file_bytes("icode-dis", command.output, result.text)) return 2;
    if (!result.damaged) return 0;
    fprintf(stderr, "icode-dis: %s: %zu unknown or damaged records\n", command.input.c_str(), result.damaged);
    return 1;
}
