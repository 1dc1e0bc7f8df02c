// The steps from source to executable:
//
//     x.c -> icode-cc -> x.if -> pelorus -> x.opt -> icode-llvm -> x.ll -> llc -> x.o -> linker
//
// A file enters the chain where its kind says and leaves it where the command says. Files in between lie in
// the temporary directory. Each step that ran can leave a line in a time report. An output that a failed step
// may have begun is removed.
#include "steps.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "common/process.h"
#include "common/same_file.h"

namespace pelorus {

namespace {

constexpr const char* LINKER = "arm-linux-gnueabihf-gcc"; // also assembles
constexpr const char* CODE_GENERATOR = "llc-19";

// One file on its way through the chain.
struct CHAIN {
    const COMMAND& command;
    const INPUT& input;
    std::string base;   // name for files made from it
    std::string file;   // where it is now
    std::string object; // where its object file is wanted
};

std::string sibling(const char* program) { return own_directory() + program; }

// The optimizer, or what stands in for it, such as the search for a change that breaks a program.
std::string optimizer() {
    const char* other = getenv("PELORUS_OPTIMIZER");
    return other && *other ? other : sibling("pelorus");
}

void print_step(const WORDS& words) {
    std::string line;
    for (const std::string& word : words) line += " " + shell_quoted(word);
    fprintf(stderr, "%s\n", line.c_str());
}

std::string absolute_path(const std::string& file) {
    std::error_code ignored;
    return file.empty() || file == "-" ? "-" : std::filesystem::absolute(file, ignored).string();
}

// Appends a step's line to the time report. One write a line, so that the lines of parallel runs do not mix.
void report_time(const COMMAND& command, const WORDS& words, double seconds, const std::string& source,
                 const std::string& output) {
    FILE* report = fopen(command.time_report.c_str(), "a");
    if (!report) {
        fprintf(stderr, "pelorus-cc: warning: cannot write to '%s'\n", command.time_report.c_str());
        return;
    }
    fprintf(report, "%s\t%.6f\t%s\t%s\n", base_name(words[0]).c_str(), seconds, absolute_path(source).c_str(),
            absolute_path(output).c_str());
    fclose(report);
}

// Some steps do not name the file that they cannot write. None may write over a file that the command names.
bool can_write(const COMMAND& command, const std::string& output) {
    if (output.empty()) return true;
    for (const INPUT& input : command.inputs) {
        if (input.kind == INPUT_KIND::LINKER_WORD || !is_same_file(input.text, output)) continue;
        fprintf(stderr, "pelorus-cc: error: the output '%s' is an input\n", output.c_str());
        return false;
    }
    const std::string folder = output.substr(0, output.rfind('/') + 1);
    const bool is_there = access(output.c_str(), F_OK) == 0;
    const int problem =
        is_there ? access(output.c_str(), W_OK) : access(folder.empty() ? "." : folder.c_str(), W_OK);
    if (problem == 0) return true;
    fprintf(stderr, "pelorus-cc: error: cannot write '%s': %s\n", output.c_str(), strerror(errno));
    return false;
}

// Runs one step; true when it succeeded. `source` is the file that the work began with, `output` the file
// that the step writes; both may be "".
bool run_step(const COMMAND& command, const WORDS& words, const std::string& source,
              const std::string& output) {
    if (command.show || command.verbose) print_step(words);
    if (command.show) return true;
    if (!can_write(command, output)) return false;
    double seconds = 0;
    int status = run_program(words, "", &seconds);
    if (!command.time_report.empty()) report_time(command, words, seconds, source, output);
    if (status == 0) return true;
    std::error_code ignored;
    if (std::filesystem::is_regular_file(output, ignored)) unlink(output.c_str()); // a device stays
    return false;
}

void append(WORDS& words, const WORDS& more) { words.insert(words.end(), more.begin(), more.end()); }

std::string temporary_file(const CHAIN& chain, const char* extension) {
    return temporary_directory(chain.command.kept_temporaries, chain.command.show) + chain.base + extension;
}

// The file that the command asks for: its -o, or the input's name with another extension in the current
// directory.
std::string asked_output(const CHAIN& chain, const char* extension) {
    if (!chain.command.output.empty()) return chain.command.output;
    return base_name(chain.input.text) + extension;
}

// Options that make icode-cc write dependencies as if it wrote the object file itself.
WORDS dependency_words(const CHAIN& chain) {
    const COMMAND& command = chain.command;
    if (command.dependencies.empty()) return {};
    bool named = command.stop != STOP::LINKED && !command.output.empty();
    std::string object = named ? command.output : base_name(chain.input.text) + ".o";
    WORDS words = {command.dependencies, "-MF"};
    words.push_back(command.dependency_file.empty() ? with_extension(object, ".d") : command.dependency_file);
    if (!command.has_dependency_target) append(words, {"-MQ", object});
    return words;
}

WORDS front_words(const CHAIN& chain) {
    WORDS words = {sibling("icode-cc")};
    if (chain.command.verbose) words.push_back("-v"); // tells where headers are looked for
    append(words, chain.command.front);
    if (chain.input.kind == INPUT_KIND::PREPROCESSED)
        append(words, {"-x", "cpp-output"});
    else if (chain.input.text == "-" ||
             base_name(chain.input.text) + ".c" != chain.input.text.substr(chain.input.text.rfind('/') + 1))
        append(words, {"-x", "c"});
    return words;
}

// Where the optimizer's input goes.
std::string icode_file(const CHAIN& chain) {
    if (chain.command.stop != STOP::ICODE) return temporary_file(chain, ".if");
    return with_extension(asked_output(chain, ".opt"), ".if");
}

bool compile(CHAIN& chain, const std::string& output) {
    WORDS words = front_words(chain);
    append(words, dependency_words(chain));
    append(words, {chain.file, "-o", output});
    chain.file = output;
    return run_step(chain.command, words, chain.input.text, output);
}

// The trace and the information file that the optimizer may write beside its temporary input are wanted
// beside the output.
void keep_listings(const CHAIN& chain) {
    const COMMAND& command = chain.command;
    const bool named = command.stop != STOP::LINKED && !command.output.empty();
    const std::string name = command.output.substr(0, command.output.rfind('/') + 1) +
                             base_name(named ? command.output : chain.input.text);
    for (const std::string extension : {".odb", ".nfo"}) {
        std::error_code error;
        const std::string made = with_extension(chain.file, extension);
        if (!std::filesystem::exists(made, error) || !can_write(command, name + extension)) continue;
        std::filesystem::copy_file(made, name + extension, std::filesystem::copy_options::overwrite_existing,
                                   error);
        if (error)
            fprintf(stderr, "pelorus-cc: warning: cannot write '%s%s': %s\n", name.c_str(), extension.c_str(),
                    error.message().c_str());
    }
}

bool optimize(CHAIN& chain) {
    const COMMAND& command = chain.command;
    std::string output =
        command.stop == STOP::ICODE ? asked_output(chain, ".opt") : temporary_file(chain, ".opt");
    WORDS words = {optimizer(), "-o" + command.level, "--debug=strict"};
    if (!command.code_size.empty()) words.push_back(command.code_size);
    append(words, command.optimizer);
    append(words, {chain.file, output});
    const bool done = run_step(command, words, chain.input.text, output);
    if (!command.show && command.stop != STOP::ICODE && chain.input.kind != INPUT_KIND::ICODE)
        keep_listings(chain);
    chain.file = output;
    return done;
}

bool translate(CHAIN& chain) {
    std::string output = temporary_file(chain, ".ll");
    WORDS words = {sibling("icode-llvm"), chain.file, "-o", output};
    if (chain.command.position_independent) words.push_back("--pic");
    append(words, chain.command.translator);
    chain.file = output;
    return run_step(chain.command, words, chain.input.text, output);
}

// Whether the user has words for the assembler, which then makes the object in the code generator's place.
bool has_assembler_words(const COMMAND& command) {
    for (const std::string& word : command.assembler)
        if (word.starts_with("-Wa,") || word == "-Xassembler") return true;
    return false;
}

bool generate(CHAIN& chain) {
    const bool stops = chain.command.stop == STOP::ASSEMBLY;
    const bool text = stops || has_assembler_words(chain.command);
    std::string output = stops  ? asked_output(chain, ".s")
                         : text ? temporary_file(chain, ".s")
                                : chain.object;
    WORDS words = {CODE_GENERATOR, "-O2", "-relocation-model=pic", text ? "-filetype=asm" : "-filetype=obj"};
    append(words, chain.command.code_generator);
    if (!chain.command.function_alignment.empty())
        words.push_back("-align-all-functions=" + chain.command.function_alignment);
    append(words, {chain.file, "-o", output});
    chain.file = output;
    return run_step(chain.command, words, chain.input.text, output);
}

bool assemble(CHAIN& chain) {
    WORDS words = {LINKER, "-c"};
    append(words, chain.command.assembler);
    if (chain.input.kind == INPUT_KIND::CPP_ASSEMBLY)
        for (const std::string& word : chain.command.front)
            if (word.starts_with("-I") || word.starts_with("-D") || word.starts_with("-U"))
                words.push_back(word);
    append(words, {"-x", chain.input.kind == INPUT_KIND::CPP_ASSEMBLY ? "assembler-with-cpp" : "assembler"});
    append(words, {chain.file, "-o", chain.object});
    return run_step(chain.command, words, chain.input.text, chain.object);
}

// -E, -M and -MM: the text goes to -o or to the standard output.
bool preprocess(const CHAIN& chain) {
    const COMMAND& command = chain.command;
    WORDS words = front_words(chain);
    if (command.stop == STOP::PREPROCESSED) {
        words.push_back("-E");
        append(words, dependency_words(chain));
    } else if (!command.dependency_file.empty())
        append(words, {"-MF", command.dependency_file});
    words.push_back(chain.file);
    if (!command.output.empty()) append(words, {"-o", command.output});
    return run_step(command, words, chain.input.text, command.output);
}

bool check_syntax(const CHAIN& chain) {
    WORDS words = front_words(chain);
    append(words, dependency_words(chain));
    // icode-cc always converts what it has read; that also finds what has no icode.
    append(words, {chain.file, "-o", "/dev/null"});
    return run_step(chain.command, words, chain.input.text, "");
}

bool is_source(INPUT_KIND kind) { return kind == INPUT_KIND::C || kind == INPUT_KIND::PREPROCESSED; }

// From icode to where the work ends.
bool finish_chain(CHAIN& chain) {
    const STOP stop = chain.command.stop;
    if (stop == STOP::ICODE) return true;
    if (chain.input.kind != INPUT_KIND::LLVM && !translate(chain)) return false;
    if (!generate(chain)) return false;
    return chain.file == chain.object || stop == STOP::ASSEMBLY || assemble(chain);
}

// Takes one file through the chain; true when every step succeeded.
bool run_chain(CHAIN& chain) {
    INPUT_KIND kind = chain.input.kind;
    STOP stop = chain.command.stop;
    if (kind == INPUT_KIND::ASSEMBLY || kind == INPUT_KIND::CPP_ASSEMBLY)
        return stop == STOP::LINKED || stop == STOP::OBJECT ? assemble(chain) : true;
    if (is_source(kind)) {
        if (stop == STOP::PREPROCESSED || stop == STOP::DEPENDENCIES) return preprocess(chain);
        if (stop == STOP::SYNTAX) return check_syntax(chain);
        if (!compile(chain, icode_file(chain))) return false;
    } else if (stop > STOP::ICODE)
        return true;
    if ((is_source(kind) || kind == INPUT_KIND::ICODE) && !optimize(chain)) return false;
    return finish_chain(chain);
}

bool exists(const std::string& file) {
    if (file == "-" || access(file.c_str(), F_OK) == 0) return true;
    fprintf(stderr, "pelorus-cc: error: there is no file '%s'\n", file.c_str());
    return false;
}

// Makes icode of each part of a whole program.
bool compile_parts(const COMMAND& command, WORDS& files) {
    bool all = true;
    for (const INPUT& input : command.inputs) {
        if (!is_joined(command, input)) continue;
        CHAIN chain = {command,
                       input,
                       "part" + std::to_string(files.size()) + "-" + base_name(input.text),
                       input.text,
                       {}};
        all = exists(input.text) &&
              (!is_source(input.kind) || compile(chain, temporary_file(chain, ".if"))) && all;
        files.push_back(chain.file);
    }
    return all;
}

bool join(CHAIN& chain, const WORDS& files) {
    const std::string output = icode_file(chain);
    WORDS words = {sibling("icode-join"), "-o", output};
    append(words, files);
    chain.file = output;
    return run_step(chain.command, words, chain.input.text, output);
}

// Compiles the parts of a whole program as one unit, which goes by the name of the first one.
bool run_joined(CHAIN& chain) {
    WORDS files;
    return compile_parts(chain.command, files) && join(chain, files) && optimize(chain) &&
           finish_chain(chain);
}

bool link(const COMMAND& command, const WORDS& parts) {
    WORDS words = {LINKER};
    if (command.verbose) words.push_back("-v"); // tells the start files and the library's folders
    std::string output = command.output.empty() ? "a.out" : command.output;
    append(words, parts);
    append(words, {"-o", output});
    return run_step(command, words, "", output);
}

size_t count_joined(const COMMAND& command) {
    size_t count = 0;
    for (const INPUT& input : command.inputs) count += is_joined(command, input);
    return count;
}

// Compiles what is to be compiled. `parts` gets the words for the linker in their order.
bool run_inputs(const COMMAND& command, WORDS& parts) {
    bool all = true, is_joined_now = false;
    size_t number = 0;
    const bool joins = count_joined(command) > 1;
    for (const INPUT& input : command.inputs) {
        const bool is_part = joins && is_joined(command, input);
        if (is_part && is_joined_now) continue;
        if (input.kind == INPUT_KIND::LINKER || input.kind == INPUT_KIND::LINKER_WORD) {
            parts.push_back(input.text);
            continue;
        }
        CHAIN chain = {
            command, input, std::to_string(number++) + "-" + base_name(input.text), input.text, {}};
        chain.object = command.stop == STOP::OBJECT ? asked_output(chain, ".o") : temporary_file(chain, ".o");
        is_joined_now = is_joined_now || is_part;
        all = (is_part ? run_joined(chain) : exists(input.text) && run_chain(chain)) && all;
        parts.push_back(chain.object);
    }
    return all;
}

} // namespace

int run_command(const COMMAND& command) {
    WORDS parts;
    bool done = run_inputs(command, parts);
    if (done && command.stop == STOP::LINKED) done = link(command, parts);
    if (!command.show && command.kept_temporaries.empty()) remove_temporary_directory();
    return done ? 0 : 1;
}

} // namespace pelorus
