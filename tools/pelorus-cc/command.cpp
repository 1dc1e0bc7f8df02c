// Reading the command line: every word is an option of options.def or a file.
#include "command.h"

#include <bit>
#include <cstdlib>
#include <map>
#include <string_view>

namespace pelorus {

namespace {

enum class FORM { WHOLE, JOINED, SEPARATE, EITHER };

enum class USE {
    FRONT,
    LINK,
    BOTH,
    NOTHING,
    REFUSED,
    STOP_OBJECT,
    STOP_ASSEMBLY,
    STOP_PREPROCESSED,
    STOP_DEPENDENCIES,
    STOP_SYNTAX,
    STOP_ICODE,
    OUTPUT,
    LEVEL,
    LANGUAGE,
    OPTIMIZER,
    SHOW,
    VERBOSE,
    KEEP_TEMPS,
    TIME_REPORT,
    ASK_VERSION,
    ASK_HELP,
    ASK_NUMBER,
    ASK_OPTIONS,
    ASK_LINKER,
    DEPENDENCIES,
    DEPENDENCY_FILE,
    DEPENDENCY_TARGET,
    PREPROCESSOR_LIST,
    PREPROCESSOR_WORD,
    PIC,
    NO_PIC,
    INLINE_LIMIT,
    FUNCTION_ALIGNMENT,
    DEBUG_FOLDER,
    RENAMED_IN_DEBUG,
    RENAMED,
    ASSEMBLER,
    CODE,
};

// What an option for the code does; see options.def.
struct CODE_ROW {
    CODE_GROUP group;
    std::string_view tools, optimizer, translator, generator;
};

struct OPTION_ROW {
    std::string_view text;
    FORM form;
    USE use;
    CODE_ROW code{};
};

constexpr OPTION_ROW option_rows[] = {
#define CC_OPTION(text, form, use) {text, FORM::form, USE::use},
#define CC_CODE(text, form, group, tools, optimizer, translator, generator)                                  \
    {text, FORM::form, USE::CODE, {CODE_GROUP::group, tools, optimizer, translator, generator}},
#include "options.def"
};

struct LANGUAGE_ROW {
    std::string_view name;      // of -x
    std::string_view extension; // of a file
    INPUT_KIND kind;
};

constexpr LANGUAGE_ROW language_rows[] = {
    {"c", ".c", INPUT_KIND::C},
    {"c-header", ".h", INPUT_KIND::C},
    {"cpp-output", ".i", INPUT_KIND::PREPROCESSED},
    {"icode", ".if", INPUT_KIND::ICODE},
    {"optimized-icode", ".opt", INPUT_KIND::OPTIMIZED},
    {"ir", ".ll", INPUT_KIND::LLVM},
    {"assembler", ".s", INPUT_KIND::ASSEMBLY},
    {"assembler-with-cpp", ".S", INPUT_KIND::CPP_ASSEMBLY},
    {"", ".sx", INPUT_KIND::CPP_ASSEMBLY},
};

constexpr std::string_view foreign_extensions[] = {".cc", ".cpp", ".cxx", ".C", ".m", ".f", ".f90"};

// The reading of one command line.
struct READER {
    const WORDS& words;
    size_t next = 0;
    COMMAND command;
    const LANGUAGE_ROW* language = nullptr; // of -x; null: each file's extension tells
    bool guesses_language = false;          // the standard input is read and nothing says what it is
    std::map<CODE_GROUP, CODE_ROW> code{};  // the last of each group
};

// The option that a word is or begins with; null for none.
const OPTION_ROW* find_option(std::string_view word) {
    const OPTION_ROW* best = nullptr;
    for (const OPTION_ROW& row : option_rows) {
        bool whole = row.form == FORM::WHOLE || row.form == FORM::SEPARATE;
        bool matches = whole ? word == row.text : word.starts_with(row.text);
        if (!matches) continue;
        const size_t before = best ? best->text.size() : 0;
        if (row.text.size() > before || (row.text.size() == before && whole)) best = &row;
    }
    return best;
}

INPUT_KIND kind_of_file(READER& reader, std::string_view name) {
    if (reader.language) return reader.language->kind;
    size_t dot = name.rfind('.');
    std::string_view extension = dot == std::string_view::npos ? "" : name.substr(dot);
    for (const LANGUAGE_ROW& row : language_rows)
        if (extension == row.extension) return row.kind;
    for (std::string_view foreign : foreign_extensions)
        if (extension == foreign) reader.command.errors.push_back(std::string(name) + ": only C is compiled");
    return INPUT_KIND::LINKER;
}

void read_file(READER& reader, const std::string& word) {
    bool nameless = word == "-" && !reader.language;
    reader.guesses_language = reader.guesses_language || nameless;
    INPUT_KIND kind = nameless ? INPUT_KIND::C : kind_of_file(reader, word);
    reader.command.inputs.push_back({kind, word});
}

void read_language(READER& reader, const std::string& name) {
    reader.language = nullptr;
    if (name == "none") return;
    for (const LANGUAGE_ROW& row : language_rows)
        if (!row.name.empty() && name == row.name) reader.language = &row;
    if (!reader.language) reader.command.errors.push_back("language '" + name + "' is not known");
}

// An option for the code, written as `word`.
void read_code(READER& reader, const CODE_ROW& row, const std::string& word) {
    reader.code[row.group] = row;
    if (row.tools.find('f') != std::string_view::npos) reader.command.front.push_back(word);
    if (row.tools.find('a') != std::string_view::npos) reader.command.assembler.push_back(word);
}

void read_level(READER& reader, const std::string& text) {
    COMMAND& command = reader.command;
    command.code_size.clear();
    if (text == "s" || text == "z") {
        command.level = "2";
        command.code_size = text == "s" ? "-Z1" : "-Z3";
    } else if (text.empty() || text == "g")
        command.level = "1";
    else if (text == "fast") {
        command.level = "3";
        read_code(reader, find_option("-ffast-math")->code, "-ffast-math");
    } else if (text.find_first_not_of("0123456789") == std::string::npos)
        command.level = text.size() == 1 && text[0] <= '4' ? text : "4";
    else
        command.errors.push_back("optimization level '-O" + text + "' is not known");
}

// "-Wp,-MD,file" and the like: the preprocessor's own options, which take the dependency file as an argument.
void read_preprocessor_list(READER& reader, std::string_view list) {
    COMMAND& command = reader.command;
    bool file_follows = false;
    while (!list.empty()) {
        std::string word(list.substr(0, list.find(',')));
        list.remove_prefix(std::min(list.size(), word.size() + 1));
        bool dependencies = word == "-MD" || word == "-MMD";
        if (file_follows)
            command.dependency_file = word;
        else if (dependencies)
            command.dependencies = word;
        else
            command.front.push_back(word);
        file_follows = dependencies;
    }
}

// The code generator is told the logarithm; code lies at words anyway.
void read_function_alignment(COMMAND& command, const std::string& bytes) {
    const unsigned long number = strtoul(bytes.c_str(), nullptr, 10);
    if (number > 65536 || bytes.find_first_not_of("0123456789") != std::string::npos)
        command.errors.push_back("functions cannot be aligned to '" + bytes + "' bytes");
    command.function_alignment = number > 4 ? std::to_string(std::bit_width(number - 1)) : "";
}

// The optimizer measures by its own nodes, of which an instruction is about one.
void read_inline_limit(COMMAND& command, const std::string& size) {
    constexpr size_t MOST_DIGITS = 9;
    if (size.empty() || size.size() > MOST_DIGITS ||
        size.find_first_not_of("0123456789") != std::string::npos)
        command.errors.push_back("'" + size + "' is no limit of a size");
    command.inline_limit = "-i" + size;
}

void read_renaming(COMMAND& command, const std::string& word, const std::string& pair) {
    if (pair.find('=') == std::string::npos) command.errors.push_back("'" + word + "' has no '=NEW'");
    command.translator.push_back("--rename=" + pair);
}

void set_stop(COMMAND& command, STOP stop) {
    // -E and -M end the work before -c and -S whatever their order.
    if (command.stop < stop) command.stop = stop;
}

// Appends the option as it was written: `word`, with its argument when that is a word of its own.
void pass_on(WORDS& list, const std::string& word, bool separate, const std::string& argument) {
    list.push_back(word);
    if (separate) list.push_back(argument);
}

void pass_to_linker(COMMAND& command, const std::string& word, bool separate, const std::string& argument) {
    command.inputs.push_back({INPUT_KIND::LINKER_WORD, word});
    if (separate) command.inputs.push_back({INPUT_KIND::LINKER_WORD, argument});
}

void apply(READER& reader, USE use, const std::string& word, bool separate, const std::string& argument) {
    COMMAND& command = reader.command;
    switch (use) {
    case USE::FRONT: return pass_on(command.front, word, separate, argument);
    case USE::LINK: return pass_to_linker(command, word, separate, argument);
    case USE::BOTH:
        pass_on(command.front, word, separate, argument);
        return pass_to_linker(command, word, separate, argument);
    case USE::NOTHING: return;
    case USE::REFUSED: command.errors.push_back("'" + word + "' is not supported"); return;
    case USE::STOP_OBJECT: return set_stop(command, STOP::OBJECT);
    case USE::STOP_ASSEMBLY: return set_stop(command, STOP::ASSEMBLY);
    case USE::STOP_PREPROCESSED: return set_stop(command, STOP::PREPROCESSED);
    case USE::STOP_DEPENDENCIES: command.front.push_back(word); return set_stop(command, STOP::DEPENDENCIES);
    case USE::STOP_SYNTAX: return set_stop(command, STOP::SYNTAX);
    case USE::STOP_ICODE: return set_stop(command, STOP::ICODE);
    case USE::OUTPUT: command.output = argument; return;
    case USE::LEVEL: return read_level(reader, argument);
    case USE::LANGUAGE: return read_language(reader, argument);
    case USE::OPTIMIZER: command.optimizer.push_back(argument); return;
    case USE::SHOW: command.show = true; return;
    case USE::VERBOSE: command.verbose = true; return;
    case USE::KEEP_TEMPS: command.kept_temporaries = argument; return;
    case USE::TIME_REPORT: command.time_report = argument; return;
    case USE::ASK_VERSION: command.asks_version = true; return;
    case USE::ASK_HELP: command.asks_help = true; return;
    case USE::ASK_NUMBER: command.asks_number = true; return;
    case USE::ASK_OPTIONS: command.asks_options = true; return;
    case USE::ASK_LINKER: command.questions.push_back(word); return;
    case USE::DEPENDENCIES: command.dependencies = word; return;
    case USE::DEPENDENCY_FILE: command.dependency_file = argument; return;
    case USE::DEPENDENCY_TARGET:
        command.has_dependency_target = true;
        return pass_on(command.front, word, separate, argument);
    case USE::PREPROCESSOR_LIST: return read_preprocessor_list(reader, argument);
    case USE::PREPROCESSOR_WORD: command.front.push_back(argument); return;
    case USE::PIC:
        command.front.push_back(word);
        command.position_independent = true;
        return;
    case USE::NO_PIC:
        command.front.push_back(word);
        command.position_independent = false;
        return;
    case USE::INLINE_LIMIT: return read_inline_limit(command, argument);
    case USE::FUNCTION_ALIGNMENT: return read_function_alignment(command, argument);
    case USE::DEBUG_FOLDER: command.translator.push_back("--folder=" + argument); return;
    case USE::RENAMED: command.front.push_back(word); [[fallthrough]];
    case USE::RENAMED_IN_DEBUG: return read_renaming(command, word, argument);
    case USE::ASSEMBLER: return pass_on(command.assembler, word, separate, argument);
    case USE::CODE: return; // by read_code
    }
}

void read_option(READER& reader, const std::string& word) {
    const OPTION_ROW* row = find_option(word);
    if (!row) {
        reader.command.errors.push_back("option '" + word + "' is not known");
        return;
    }
    bool separate = row->form == FORM::SEPARATE || (row->form == FORM::EITHER && word == row->text);
    std::string argument = word.substr(row->text.size());
    if (separate) {
        if (reader.next >= reader.words.size()) {
            reader.command.errors.push_back("the argument of '" + word + "' is missing");
            return;
        }
        argument = reader.words[reader.next++];
    }
    if (row->use == USE::CODE) return read_code(reader, row->code, word);
    apply(reader, row->use, word, separate, argument);
}

// At level 0 the code stays as it was written, for debuggers: `inline` alone expands no call there.
void complete_inlining(READER& reader) {
    if (reader.command.level == "0" && !reader.code.contains(CODE_GROUP::INLINING))
        read_code(reader, find_option("-fno-inline")->code, "-fno-inline");
}

// A function is expanded when its size times its calls is within the limit, besides those that the optimizer
// expands at every limit. What the examples execute, against no expansion (bench/README.md, "Limits"):
//
//     limit         1      75     100    125    200    400
//     -O3           0.898  0.895  0.886  0.861  0.859  0.857  of the instructions
//                   0.994  1.030  1.058  1.077  1.178  1.309  of the bytes
//
// Below -O3, with every static function declared inline, and at -O4 the best limit is the same one.
struct INLINE_DEFAULTS {
    const char* for_speed = "-i125";
    const char* for_size = "-i1"; // with nothing but calls that cost more than the body, or of one place
};
constexpr INLINE_DEFAULTS INLINE_DEFAULT;

void complete_inline_limit(COMMAND& command) {
    if (!command.inline_limit.empty() || command.level == "0") return;
    command.inline_limit = command.code_size.empty() ? INLINE_DEFAULT.for_speed : INLINE_DEFAULT.for_size;
}

// Rules that concern more than one word.
void check_whole(READER& reader) {
    COMMAND& command = reader.command;
    if (reader.guesses_language && command.stop < STOP::PREPROCESSED)
        command.errors.push_back("-x is needed for the standard input");
    if (command.stop == STOP::LINKED || command.stop == STOP::SYNTAX || command.stop == STOP::DEPENDENCIES)
        return;
    size_t joined = 0, others = 0;
    for (const INPUT& input : command.inputs) {
        if (is_joined(command, input))
            joined++;
        else if (input.kind != INPUT_KIND::LINKER_WORD && input.kind != INPUT_KIND::LINKER)
            others++;
    }
    if (!command.output.empty() && (joined > 0) + others > 1)
        command.errors.push_back("-o names one file, but there are several to be written");
    if (command.output.empty() && joined > 1)
        command.errors.push_back("-fwhole-program makes one file of several; -o must name it");
}

} // namespace

bool is_joined(const COMMAND& command, const INPUT& input) {
    if (!command.is_whole_program || command.stop > STOP::ICODE) return false;
    return input.kind == INPUT_KIND::C || input.kind == INPUT_KIND::PREPROCESSED ||
           input.kind == INPUT_KIND::ICODE;
}

WORDS known_options() {
    WORDS options;
    for (const OPTION_ROW& row : option_rows)
        if (row.use != USE::REFUSED) options.emplace_back(row.text);
    return options;
}

COMMAND read_command(const WORDS& words) {
    READER reader = {.words = words, .command = {}};
    while (reader.next < words.size()) {
        const std::string& word = words[reader.next++];
        if (word.size() > 1 && word[0] == '-')
            read_option(reader, word);
        else
            read_file(reader, word);
    }
    complete_inlining(reader);
    complete_inline_limit(reader.command);
    reader.command.is_whole_program = !reader.code[CODE_GROUP::WHOLE_PROGRAM].optimizer.empty();
    check_whole(reader);
    // In front of the words that the user gives the optimizer, which count more.
    for (const auto& [group, row] : reader.code) {
        WORDS& optimizer = reader.command.optimizer;
        if (!row.optimizer.empty()) optimizer.emplace(optimizer.begin(), row.optimizer);
        if (!row.translator.empty()) reader.command.translator.emplace_back(row.translator);
        if (!row.generator.empty()) reader.command.code_generator.emplace_back(row.generator);
    }
    WORDS& optimizer = reader.command.optimizer;
    if (!reader.command.inline_limit.empty())
        optimizer.insert(optimizer.begin(), reader.command.inline_limit);
    return std::move(reader.command);
}

} // namespace pelorus
