// icode-val: says where icode files break the rules of docs/icode.md.
//
// One line a fault, and a second one with the statement where there is one. Exit status: 0 when no file has a
// fault, 1 when one has, 2 when one cannot be read or the command line is wrong.
#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "common/whole_file.h"
#include "icode/validate_file.h"
#include "support/settings.h"

namespace {

constexpr const char* USAGE =
    "usage: icode-val [--max=N] [--all_volatile] file.if...\n"
    "  --max=N         print at most N faults of each file (50); 0 prints all\n"
    "  --all_volatile  reading what is not automatic is an effect, as for an optimizer\n"
    "                  with this option: such a read may be a statement\n"
    "\"-\" stands for the standard input.\n";

struct COMMAND {
    uint64_t most = 50;
    std::vector<std::string> inputs;
};

bool parse_most(std::string_view text, uint64_t& most) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), most);
    if (most == 0) most = UINT64_MAX;
    return error == std::errc() && end == text.data() + text.size();
}

bool parse_command(int count, char** arguments, COMMAND& command) {
    constexpr std::string_view MAX = "--max=";
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument.starts_with(MAX)) {
            if (!parse_most(std::string_view(argument).substr(MAX.size()), command.most)) return false;
        } else if (argument == "--all_volatile") {
            pelorus::settings.all_volatile = 1;
        } else if (argument.empty() || (argument[0] == '-' && argument != "-")) {
            return false;
        } else {
            command.inputs.push_back(argument);
        }
    }
    return !command.inputs.empty();
}

void print_fault(void* file, const pelorus::FILE_FAULT& fault) {
    fputs(pelorus::fault_text(*static_cast<const std::string*>(file), fault).c_str(), stdout);
}

// The number of faults of a file.
uint64_t validate(std::string_view bytes, std::string& name, uint64_t most) {
    const uint64_t faults = pelorus::validate_icode(bytes, most, {print_fault, &name});
    if (faults > most)
        printf("%s: %llu more faults\n", name.c_str(), static_cast<unsigned long long>(faults - most));
    return faults;
}

} // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string(arguments[1]) == "--help") return fputs(USAGE, stdout) < 0 ? 2 : 0;
    COMMAND command;
    if (!parse_command(count, arguments, command)) {
        fputs(USAGE, stderr);
        return 2;
    }
    int status = 0;
    for (std::string& name : command.inputs) {
        std::string bytes;
        if (!pelorus::read_file_bytes("icode-val", name, bytes)) return 2;
        if (validate(bytes, name, command.most)) status = 1;
    }
    if (fflush(stdout) != 0) {
        perror("icode-val");
        return 2;
    }
    return status;
}
