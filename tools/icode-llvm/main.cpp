// icode-llvm: translates an icode file to LLVM IR text for llc 19.
//
//     icode-llvm input.if [-o output.ll] [options for the code]
//
// The translation is plain: a variable of class 4 is a value, every other one a stack slot, arithmetic wraps
// around, and nothing is promised to the code generator that icode does not promise. So what a program costs
// is what the optimizer before made of it, and no other optimizer stands in the chain.
//
// It works function by function while the file is read. It does not optimize.
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/same_file.h"
#include "common/whole_file.h"
#include "translate.h"

namespace pelorus {

namespace {

// Right operands nest up to 10,000 deep in a file, and each level takes a few stack frames; with sanitizers
// they are large.
constexpr size_t STACK_BYTES = size_t(1) << 29;

struct OPTIONS {
    const char* input = nullptr;
    const char* output = "-"; // the standard output
    CODE code{};
};

const char usage[] =
    "Usage: icode-llvm INPUT [-o OUTPUT] [options]\n"
    "Translates an icode file to LLVM IR text.\n"
    "  -o OUTPUT   the file to write; the standard output without it\n"
    "  --pic       for a shared library: exported symbols may be replaced by other modules\n"
    "  --thumb     code in the Thumb state\n"
    "  --no-builtins, --null-pointer-valid, --unwind-tables, --frame-pointer, --strict-alignment\n"
    "  --dwarf=N   debug information of version N, 2 to 5\n"
    "  --folder=DIR  where it says that the compilation has run\n"
    "  --rename=OLD=NEW  how it begins names of files that begin with OLD\n"
    "  --no-columns  it tells lines only\n"
    "  --stack-protector=ssp, sspstrong or sspreq: LLVM's guards on the stack\n";

[[noreturn]] void wrong_usage(const char* problem, const char* word) {
    fprintf(stderr, "icode-llvm: %s%s\n%s", problem, word, usage);
    exit(1);
}

struct CODE_OPTION {
    const char* word;
    bool CODE::* member;
};
constexpr CODE_OPTION CODE_OPTIONS[] = {
    {"--pic", &CODE::interposable},
    {"--thumb", &CODE::thumb},
    {"--no-builtins", &CODE::no_builtins},
    {"--null-pointer-valid", &CODE::null_is_valid},
    {"--unwind-tables", &CODE::unwind_tables},
    {"--frame-pointer", &CODE::frame_pointer},
    {"--strict-alignment", &CODE::strict_alignment},
};

// False for a word that is no option for the code.
bool read_code_option(const char* word, CODE& code) {
    for (const char* protector : {"ssp", "sspstrong", "sspreq"})
        if (!strncmp(word, "--stack-protector=", 18) && !strcmp(word + 18, protector)) {
            code.protector = protector;
            return true;
        }
    for (uint32_t version : {2u, 3u, 4u, 5u})
        if (word == "--dwarf=" + std::to_string(version)) return code.dwarf = version, true;
    if (!strcmp(word, "--no-columns")) return code.places.columns = false, true;
    if (!strncmp(word, "--folder=", 9)) return code.places.folder = word + 9, true;
    if (const char* pair = word + 9; !strncmp(word, "--rename=", 9) && strchr(pair, '='))
        return code.places.renamed.emplace_back(std::string(pair, strchr(pair, '=')), strchr(pair, '=') + 1),
               true;
    for (const CODE_OPTION& option : CODE_OPTIONS)
        if (!strcmp(word, option.word)) return code.*option.member = true;
    return false;
}

OPTIONS read_options(int argc, char** argv) {
    OPTIONS options;
    for (int i = 1; i < argc; i++) {
        const char* word = argv[i];
        if (!strcmp(word, "--help")) {
            fputs(usage, stdout);
            exit(0);
        }
        if (!strcmp(word, "--version")) {
            puts("icode-llvm " PELORUS_VERSION);
            exit(0);
        }
        if (read_code_option(word, options.code)) continue;
        if (!strcmp(word, "-o") && i + 1 < argc)
            options.output = argv[++i];
        else if (word[0] == '-')
            wrong_usage("unknown option ", word);
        else if (options.input)
            wrong_usage("more than one input: ", word);
        else
            options.input = word;
    }
    if (!options.input) wrong_usage("no input", "");
    return options;
}

void translate(const OPTIONS& options) {
    FILE* stream = fopen(options.input, "rb");
    if (!stream) {
        perror(options.input);
        exit(1);
    }
    if (is_same_file(options.input, options.output)) {
        fprintf(stderr, "icode-llvm: %s is the input\n", options.output);
        exit(1);
    }
    const std::string text = translate_unit(stream, options.input, options.code);
    if (!write_file_bytes("icode-llvm", options.output, text)) exit(1);
}

void* translate_on_thread(void* options) {
    translate(*static_cast<OPTIONS*>(options));
    return nullptr;
}

} // namespace

} // namespace pelorus

int main(int argc, char** argv) {
    pelorus::OPTIONS options = pelorus::read_options(argc, argv);
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, pelorus::STACK_BYTES);
    if (pthread_create(&thread, &attributes, pelorus::translate_on_thread, &options) != 0) {
        fputs("icode-llvm: no memory for the stack\n", stderr);
        return 1;
    }
    pthread_join(thread, nullptr);
    return 0;
}
