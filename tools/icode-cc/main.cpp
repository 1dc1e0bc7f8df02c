// icode-cc: C to icode for 32-bit ARM with the hard-float EABI.
//
//   icode-cc [options of the clang driver] input.c -o out.if
//
// 1. The words of the command line go through clang's own driver, so search paths, -I, -D, -U, -std, -W, -f,
// -include and the options for dependency files mean what they mean there. -O is left out, since it is the
// optimizer's: no macro tells it.
// 2. clang parses and checks the whole file. 3. The declarations are converted (unit.h) into an unnamed file.
// 4. It is copied to the output when nothing was refused, so there is never half an output.
//
// With -E, -M or -MM it does what clang does. What has no icode is refused with its place: assembly with
// labels.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "clang/AST/ASTConsumer.h"
#include "clang/AST/Attr.h"
#include "clang/Driver/Compilation.h"
#include "clang/Driver/Driver.h"
#include "clang/Frontend/CompilerInstance.h"
#include "clang/Frontend/FrontendActions.h"
#include "clang/Frontend/Utils.h"
#include "clang/FrontendTool/Utils.h"
#include "llvm/TargetParser/Host.h"
#include "llvm/TargetParser/Triple.h"

#include "assembly.h"
#include "body.h"
#include "common/same_file.h"
#include "objects.h"

namespace pelorus {

using namespace clang;

namespace {

constexpr const char* TARGET = "--target=armv7-linux-gnueabihf";

constexpr const char* USAGE = "usage: icode-cc [options] input.c -o out.if\n"
                              "       icode-cc -E [options] input.c [-o file]\n"
                              "Options are those of the clang driver; the target is always 32-bit ARM.\n";

// --- The conversion of a parsed file ---

void write_definition(UNIT& unit, const FunctionDecl* function) {
    SYMBOL* symbol = function_symbol(unit, function);
    declare_global(*unit.writer, symbol);
    write_function(unit, function, symbol);
}

// One declaration of the file, if it is a definition that is needed now. True when it was written.
bool write_if_needed(UNIT& unit, const Decl* decl) {
    if (const auto* function = dyn_cast<FunctionDecl>(decl)) {
        if (alias_of(function)) return declare_global(*unit.writer, function_symbol(unit, function)), true;
        if (!function->doesThisDeclarationHaveABody() || !must_emit(unit, function)) return false;
        write_definition(unit, function);
        return true;
    }
    if (const auto* variable = dyn_cast<VarDecl>(decl)) {
        if (variable->getStorageClass() == SC_Register) return true; // no object
        const VarDecl* definition = variable->getDefinition();
        if (!definition) definition = const_cast<VarDecl*>(variable)->getActingDefinition();
        const bool alias = alias_of(variable);
        if ((!definition || definition != variable) && !alias) return false;
        if (!alias && !must_emit(unit, variable)) return false;
        write_variable(unit, variable);
        return true;
    }
    if (const auto* assembly = dyn_cast<FileScopeAsmDecl>(decl)) {
        write_file_assembly(unit, assembly);
        return true;
    }
    return false;
}

void write_copies(UNIT& unit) {
    while (!unit.pending_copies.empty()) {
        const PENDING_COPY copy = unit.pending_copies.front();
        unit.pending_copies.erase(unit.pending_copies.begin());
        write_function(unit, copy.definition, copy.symbol);
    }
}

// Goes over the file in source order until nothing new is needed: a definition may be needed only by a later
// one.
void write_definitions(UNIT& unit) {
    std::vector<const Decl*> waiting;
    for (const Decl* decl : unit.ast->getTranslationUnitDecl()->decls())
        if (isa<FunctionDecl, VarDecl, FileScopeAsmDecl>(decl)) waiting.push_back(decl);
    for (bool changed = true; changed;) {
        const size_t before = waiting.size() + unit.pending_copies.size();
        std::erase_if(waiting, [&](const Decl* decl) { return write_if_needed(unit, decl); });
        changed = waiting.size() != before || !unit.pending_copies.empty();
        write_copies(unit);
        write_pending_objects(unit);
    }
}

// What one run of the front end leaves.
struct RESULT {
    FILE* file = nullptr; // an unnamed file with the icode; the writer has a stream of its own on it
    bool complete = false;
};

class CONVERTER final : public ASTConsumer {
public:
    CONVERTER(RESULT& result, std::string name, bool common, bool inlines)
        : result_(result), name_(std::move(name)), merges_tentative_(common), hints_inline_(inlines) {}

    void HandleTranslationUnit(ASTContext& context) override {
        if (context.getDiagnostics().hasErrorOccurred()) return;
        register_file_opcodes();
        validate_opcode_tables();
        UNIT unit;
        unit.ast = &context;
        unit.merges_tentative = merges_tentative_;
        unit.hints_inline = hints_inline_;
        set_type_package(&unit.types);
        const int descriptor = dup(fileno(result_.file));
        FILE* stream = descriptor < 0 ? nullptr : fdopen(descriptor, "w+b");
        if (!stream) return;
        unit.writer = create_icode(stream, name_.c_str(), name_.c_str(), unit.types);
        number_declarations(unit);
        write_definitions(unit);
        if (unit.refused) {
            abandon_icode_writer(unit.writer);
        } else {
            result_.complete = close_icode_writer(unit.writer);
        }
        set_type_package(nullptr);
    }

private:
    RESULT& result_;
    std::string name_;
    bool merges_tentative_, hints_inline_;
};

class CONVERT_ACTION final : public ASTFrontendAction {
public:
    CONVERT_ACTION(RESULT& result, bool inlines) : result_(result), hints_inline_(inlines) {}

protected:
    std::unique_ptr<ASTConsumer> CreateASTConsumer(CompilerInstance& compiler, StringRef file) override {
        return std::make_unique<CONVERTER>(result_, file.str(), !compiler.getCodeGenOpts().NoCommon,
                                           hints_inline_);
    }

private:
    RESULT& result_;
    bool hints_inline_;
};

// --- The command line ---

struct COMMAND {
    std::vector<const char*> words; // for the clang driver
    const char* output = nullptr;   // of -o
    bool preprocesses = false;      // -E, -M or -MM
    bool asks = false;              // -print-...
    bool hints_inline = true;       // the last of -finline and -fno-inline
};

bool begins_with(const char* text, const char* start) { return !strncmp(text, start, strlen(start)); }

COMMAND read_command(int count, char** words) {
    COMMAND command;
    command.words = {ICODE_CC_CLANG, TARGET, "-std=gnu11", "-c"};
    for (int i = 1; i < count; ++i) {
        const char* word = words[i];
        if (begins_with(word, "-O") || !strcmp(word, "-c")) continue;
        if (!strcmp(word, "-o") && i + 1 < count)
            command.output = words[i + 1];
        else if (begins_with(word, "-o") && word[2])
            command.output = word + 2;
        if (!strcmp(word, "-E") || !strcmp(word, "-M") || !strcmp(word, "-MM")) command.preprocesses = true;
        if (!strcmp(word, "-finline") || !strcmp(word, "-fno-inline")) command.hints_inline = word[2] == 'i';
        command.asks = command.asks || begins_with(word, "-print-");
        command.words.push_back(word);
        if (!strcmp(word, "-o") && i + 1 < count) command.words.push_back(words[++i]);
    }
    // clang's library puts -fsyntax-only in, which a preprocessor run does not use.
    if (command.preprocesses) command.words.insert(command.words.begin() + 1, "-Qunused-arguments");
    return command;
}

bool copy_file(FILE* from, FILE* to) {
    char buffer[65536];
    if (fseek(from, 0, SEEK_SET) != 0) return false;
    errno = 0;
    while (const size_t count = fread(buffer, 1, sizeof buffer, from))
        if (fwrite(buffer, 1, count, to) != count) return false;
    return !ferror(from);
}

bool write_output(const char* name, FILE* from) {
    FILE* file = fopen(name, "wb");
    const bool copied = file && copy_file(from, file);
    if (file && fclose(file) == 0 && copied) return true;
    fprintf(stderr, "icode-cc: cannot write %s: %s\n", name, strerror(errno));
    std::error_code ignored;
    if (file && std::filesystem::is_regular_file(name, ignored)) remove(name); // a device stays
    return false;
}

bool is_wanted_target(const CompilerInstance& compiler) {
    const llvm::Triple triple(compiler.getTargetOpts().Triple);
    return triple.isARM() || triple.isThumb();
}

// The dependency file, too, must not be the source.
bool spares_input(const CompilerInstance& compiler, const COMMAND& command) {
    const std::string source = compiler.getFrontendOpts().Inputs[0].getFile().str();
    const std::string dependencies = compiler.getDependencyOutputOpts().OutputFile;
    for (const std::string& output : {std::string(command.output ? command.output : ""), dependencies}) {
        if (!is_same_file(source, output)) continue;
        fprintf(stderr, "icode-cc: %s is the input\n", output.c_str());
        return false;
    }
    return true;
}

// Runs the conversion; false after a message.
bool convert(CompilerInstance& compiler, const COMMAND& command) {
    if (!command.output) {
        fprintf(stderr, "icode-cc: no output file; use -o\n");
        return false;
    }
    RESULT result{tmpfile()};
    if (!result.file) {
        fprintf(stderr, "icode-cc: cannot make a temporary file: %s\n", strerror(errno));
        return false;
    }
    CONVERT_ACTION action(result, command.hints_inline);
    const bool parsed = compiler.ExecuteAction(action) && result.complete;
    const bool written = parsed && write_output(command.output, result.file);
    fclose(result.file);
    return written;
}

// -print-resource-dir and the like: clang's driver answers while it reads the words, and has nothing to run.
int answer(const COMMAND& command, DiagnosticsEngine& diagnostics) {
    driver::Driver driver(command.words[0], llvm::sys::getDefaultTargetTriple(), diagnostics);
    const std::unique_ptr<driver::Compilation> nothing(driver.BuildCompilation(command.words));
    return diagnostics.hasErrorOccurred();
}

int run_compiler(const COMMAND& command) {
    CompilerInstance compiler;
    auto diagnostics =
        CompilerInstance::createDiagnostics(CreateAndPopulateDiagOpts(command.words).release());
    if (command.asks) return answer(command, *diagnostics);
    CreateInvocationOptions options;
    options.Diags = diagnostics;
    std::shared_ptr<CompilerInvocation> invocation = createInvocation(command.words, options);
    if (!invocation || diagnostics->hasErrorOccurred()) return 1;
    compiler.setInvocation(invocation);
    compiler.createDiagnostics();
    if (!is_wanted_target(compiler) || compiler.getFrontendOpts().Inputs.size() != 1) {
        fprintf(stderr, "icode-cc: one C file for 32-bit ARM is wanted\n");
        return 1;
    }
    if (!spares_input(compiler, command)) return 1;
    if (command.preprocesses) return ExecuteCompilerInvocation(&compiler) ? 0 : 1;
    if (compiler.getFrontendOpts().Inputs[0].getKind().getLanguage() != Language::C) {
        fprintf(stderr, "icode-cc: the input is not C\n");
        return 1;
    }
    return convert(compiler, command) ? 0 : 1;
}

// --- The stack ---

// clang and the conversion go down by recursion, into a chain of `else if` as deep as it is long.
constexpr size_t STACK_BYTES = size_t(1) << 30;

void report_overflow(int) {
    constexpr char message[] = "icode-cc: the statements or expressions of the file nest too deep\n";
    const ssize_t ignored = write(2, message, sizeof message - 1);
    _exit(ignored < 0 ? 2 : 1);
}

// The stack's end is a page without access. `memory` is for the handler, which cannot run on a full stack.
void catch_overflow(std::vector<char>& memory) {
    stack_t other{};
    other.ss_sp = memory.data();
    other.ss_size = memory.size();
    sigaltstack(&other, nullptr);
    struct sigaction action{};
    action.sa_handler = report_overflow;
    action.sa_flags = SA_ONSTACK;
    sigaction(SIGSEGV, &action, nullptr);
}

struct RUN {
    const COMMAND* command;
    int status;
};

void* run_on_thread(void* given) {
    RUN& run = *static_cast<RUN*>(given);
    std::vector<char> memory(65536);
    catch_overflow(memory);
    run.status = run_compiler(*run.command);
    return nullptr;
}

int run_with_large_stack(const COMMAND& command) {
    RUN run{&command, 1};
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, STACK_BYTES);
    if (pthread_create(&thread, &attributes, run_on_thread, &run) != 0) {
        fprintf(stderr, "icode-cc: no memory for the stack\n");
        return 1;
    }
    pthread_join(thread, nullptr);
    return run.status;
}

} // namespace

} // namespace pelorus

int main(int count, char** words) {
    using namespace pelorus;
    for (int i = 1; i < count; ++i) {
        if (!strcmp(words[i], "--help")) return fputs(USAGE, stdout), 0;
        if (!strcmp(words[i], "--version")) return printf("icode-cc %s\n", PELORUS_VERSION), 0;
    }
    if (count < 2) return fputs(USAGE, stderr), 1;
    return run_with_large_stack(read_command(count, words));
}
