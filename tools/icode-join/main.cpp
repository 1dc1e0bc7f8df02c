// icode-join: makes one icode file of several.
//
//     icode-join -o program.if a.if b.if ...
//
// The result is the translation unit that the files together are, as a linker sees them: external names are
// unified, static ones kept apart. Exit status: 0; 1 when they cannot be joined, with the reason; 2 when a
// file cannot be read or written or the command line is wrong.
#include <cstdio>
#include <string>
#include <vector>

#include <pthread.h>

#include "common/whole_file.h"
#include "join.h"

namespace {

constexpr const char* USAGE =
    "usage: icode-join -o FILE file.if...\n"
    "Makes one icode file of several: one translation unit of the files of a program.\n"
    "Types, external names and file names are unified, static names kept apart.\n"
    "Example: icode-join -o prog.if main.if list.if && pelorus -o3 -op2 prog.if\n"
    "\"-\" stands for the standard input or output.\n";

struct COMMAND {
    std::string output;
    std::vector<std::string> inputs;
    int status = 0; // the answer
};

bool parse_command(int count, char** arguments, COMMAND& command) {
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "-o" && i + 1 < count)
            command.output = arguments[++i];
        else if (argument.empty() || (argument[0] == '-' && argument != "-"))
            return false;
        else
            command.inputs.push_back(argument);
    }
    return !command.inputs.empty() && !command.output.empty();
}

int join_files(const COMMAND& command) {
    std::vector<std::pair<std::string, std::string>> files;
    for (const std::string& name : command.inputs)
        if (!pelorus::read_file_bytes("icode-join", name, files.emplace_back(name, "").second)) return 2;
    std::string problem;
    const std::string bytes = pelorus::join_icode(files, problem);
    if (!problem.empty()) return fprintf(stderr, "icode-join: %s\n", problem.c_str()), 1;
    return pelorus::write_file_bytes("icode-join", command.output, bytes) ? 0 : 2;
}

void* work(void* argument) {
    COMMAND& command = *static_cast<COMMAND*>(argument);
    command.status = join_files(command);
    return nullptr;
}

// Trees are taken apart by recursion, and a file may nest them deep.
constexpr size_t STACK_BYTES = size_t{1} << 29;

int join_with_large_stack(COMMAND& command) {
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, STACK_BYTES);
    if (pthread_create(&thread, &attributes, work, &command) != 0) {
        fputs("icode-join: no memory for the stack\n", stderr);
        return 2;
    }
    pthread_join(thread, nullptr);
    return command.status;
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string(arguments[1]) == "--help") return fputs(USAGE, stdout) < 0 ? 2 : 0;
    if (count == 2 && std::string(arguments[1]) == "--version")
        return puts("icode-join " PELORUS_VERSION) < 0 ? 2 : 0;
    COMMAND command;
    if (!parse_command(count, arguments, command)) return fputs(USAGE, stderr), 2;
    return join_with_large_stack(command);
}
