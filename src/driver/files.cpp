// The files of the run, and the ends of the run that abandon them; see files.h.
#include "driver/files.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "driver/options/options.h"
#include "driver/output_stream.h"
#include "support/fatal.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace fs = std::filesystem;

RUN_FILES run_files;

// --- Names ---

namespace {

// Where the extension's "." stands; npos without one.
size_t extension_start(std::string_view name) {
    const size_t dot = name.rfind('.');
    const bool in_folder =
        dot != std::string_view::npos && name.find_first_of("/\\", dot) != std::string_view::npos;
    return in_folder ? std::string_view::npos : dot;
}

} // namespace

std::string without_extension(std::string_view name) {
    return std::string(name.substr(0, extension_start(name)));
}

std::string with_extension(std::string_view name, std::string_view extension, bool replace) {
    const bool has_one = extension_start(name) != std::string_view::npos;
    if (has_one && !replace) return std::string(name);
    return without_extension(name).append(extension);
}

// --- Shared files ---

namespace {

struct NAMED_FILE {
    const char* what;
    std::string name; // "": there is none
};

// The path under which the system knows the standard output.
constexpr const char* STANDARD_OUTPUT_PATH = "/dev/stdout";

// A file that does not exist yet is known by its path; devices and pipes lose nothing by being opened.
bool is_same_file(const std::string& a, const std::string& b) {
    std::error_code error;
    const fs::file_status status = fs::status(a, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) return false;
    if (fs::equivalent(a, b, error)) return true;
    const fs::path path = fs::weakly_canonical(fs::absolute(a, error), error);
    return !error && path == fs::weakly_canonical(fs::absolute(b, error), error) && !error;
}

std::array<NAMED_FILE, 4> files_of_run() {
    const bool to_standard = run.output_name == STANDARD_OUTPUT_NAME;
    return {{
        {"Input icode File", run.input_name},
        {"Output icode File", to_standard ? STANDARD_OUTPUT_PATH : run.output_name},
        {"Info File", run_files.info_wanted ? run_files.info_name : ""},
        {"Debug File", run_files.debug_name},
    }};
}

} // namespace

void refuse_shared_files() {
    const std::array<NAMED_FILE, 4> files = files_of_run();
    for (const NAMED_FILE& file : files) {
        for (const NAMED_FILE* other = files.data(); other != &file; ++other) {
            if (file.name.empty() || other->name.empty() || !is_same_file(file.name, other->name)) continue;
            fprintf(stderr, "\n>> %s Is Also The %s : %s, Aborting\n", file.what, other->what,
                    file.name.c_str());
            leave_run();
        }
    }
}

namespace {

// The first bytes of a file, none of a device. A file that cannot be read is left to the opening for writing;
// an empty one is what a run that was stopped leaves.
std::string file_head(const std::string& name) {
    std::error_code error;
    if (!fs::is_regular_file(name, error)) return "";
    FILE* stream = fopen(name.c_str(), "rb");
    if (!stream) return "";
    char head[32] = {};
    const size_t count = fread(head, 1, sizeof head, stream);
    fclose(stream);
    return {head, count};
}

bool is_icode(std::string_view head) { return head.find(ICODE_MAGIC) != std::string_view::npos; }
bool is_info(std::string_view head) { return head.starts_with(TOOL_NAME); }
bool is_text(std::string_view head) { return head.find('\0') == std::string_view::npos; }

void refuse_foreign_file(const char* what, const char* kind, const std::string& name,
                         bool (*is_ours)(std::string_view)) {
    const std::string head = file_head(name);
    if (head.empty() || is_ours(head)) return;
    fprintf(stderr, "\n>> %s File Exists And Is No %s File : %s, Aborting\n", what, kind, name.c_str());
    leave_run();
}

} // namespace

void refuse_foreign_files(bool output_is_derived) {
    if (output_is_derived && !run.output_name.ends_with(".opt"))
        refuse_foreign_file("Output", "icode", run.output_name, is_icode);
    if (run_files.info_wanted && run_files.info_name_derived && !run_files.info_name.ends_with(".nfo"))
        refuse_foreign_file("Info", "Info", run_files.info_name, is_info);
    if (!run_files.debug_name.empty()) refuse_foreign_file("Debug", "Debug", run_files.debug_name, is_text);
}

// --- Opening ---

namespace {

void say_cannot_open(const char* what, const std::string& name) {
    fprintf(stderr, "\n>> Cannot Open %s, %s : %s, Aborting\n", what, strerror(errno), name.c_str());
}

} // namespace

FILE* open_file(const char* what, const std::string& name, const char* mode) {
    if (FILE* stream = fopen(name.c_str(), mode)) return stream;
    say_cannot_open(what, name);
    leave_run();
}

void open_info_file() {
    trace_state.info_stream = open_file("Info File", run_files.info_name, "w");
    trace_state.info_output = true;
    print_banner(trace_state.info_stream);
    info("Build Number %s\n", PELORUS_VERSION);
}

bool wants_debug_stream() { return debug_switch("dump_after") || debug_switch("timing"); }

void open_debug_file(bool abort_on_failure) {
    if (trace_state.debug_stream) return;
    if (settings.print_debug) {
        trace_state.debug_stream = stderr;
        return;
    }
    run_files.debug_name = with_extension(run.input_name, ".odb", true);
    refuse_shared_files();
    trace_state.debug_stream = fopen(run_files.debug_name.c_str(), "w");
    if (trace_state.debug_stream) return;
    say_cannot_open("Debug File", run_files.debug_name);
    if (abort_on_failure) leave_run();
    trace_state.debug_stream = stderr;
}

void open_output_file() {
    if (run_files.info_wanted || !run_files.debug_name.empty()) refuse_shared_files();
    OWNED_STREAM stream(open_output_stream(run.output_name));
    if (!stream) {
        say_cannot_open("Output icode File", run.output_name);
        leave_run();
    }
    run_files.writer = create_icode(stream.get(), run.output_name.c_str(),
                                    icode_source_name(*run_files.reader), *type_package());
    [[maybe_unused]] FILE* writers = stream.release();
}

// --- Ends ---

// Only what is a file: the output may be a device, and a link's target is what is incomplete.
void remove_output() {
    if (run.output_name == STANDARD_OUTPUT_NAME) return;
    std::error_code error;
    const fs::path path = fs::canonical(run.output_name, error);
    if (!error && fs::is_regular_file(path, error)) fs::remove(path, error);
}

namespace {

void close_reader() {
    if (run_files.reader) close_icode(run_files.reader);
    run_files.reader = nullptr;
}

// False, after a message, when not all of the stream's text could be written.
bool close_text(FILE*& stream, const char* what, const std::string& name) {
    FILE* closing = std::exchange(stream, nullptr);
    if (!closing || closing == stderr) return true;
    errno = 0;
    const bool written = fflush(closing) == 0 && !ferror(closing);
    const int problem = errno;
    if (fclose(closing) == 0 && written) return true;
    fprintf(stderr, "\n>> Cannot Write %s, %s : %s\n", what, problem ? strerror(problem) : "write failed",
            name.c_str());
    return false;
}

bool close_debug_stream() {
    const bool complete = close_text(trace_state.debug_stream, "Debug File", run_files.debug_name);
    trace_state.debug_output = 0;
    return complete;
}

} // namespace

void write_side_file(const char* what, const std::string& name, const std::string& text) {
    if (run_files.side_file_failed) return;
    run_files.side_file_failed = true;
    for (const NAMED_FILE& file : files_of_run())
        if (!file.name.empty() && is_same_file(file.name, name)) {
            fprintf(stderr, "\n>> %s Is Also The %s : %s\n", what, file.what, name.c_str());
            return;
        }
    FILE* stream = fopen(name.c_str(), "w");
    if (!stream) {
        fprintf(stderr, "\n>> Cannot Open %s, %s : %s\n", what, strerror(errno), name.c_str());
        return;
    }
    fputs(text.c_str(), stream);
    run_files.side_file_failed = !close_text(stream, what, name);
}

bool close_icode_files() {
    close_reader();
    const bool complete =
        close_icode_writer(run_files.writer) ? finish_output_stream(run.output_name) : false;
    abandon_output_stream();
    run_files.writer = nullptr;
    if (!complete) remove_output();
    return complete;
}

void abandon_icode_files() {
    close_reader();
    if (!run_files.writer) return;
    abandon_icode_writer(run_files.writer);
    abandon_output_stream();
    run_files.writer = nullptr;
    if (!settings.keep_output) remove_output();
}

bool close_text_files() {
    trace("\n== END OF DEBUG OUTPUT==\n");
    const bool debug_complete = close_debug_stream();
    info("\n== END OF INFO OUTPUT==\n");
    const bool info_complete = close_text(trace_state.info_stream, "Info File", run_files.info_name);
    trace_state.info_output = false;
    return debug_complete && info_complete && !run_files.side_file_failed;
}

void (*end_process)(int status) = exit;

namespace {

// The run ends without their last lines.
void abandon_text_files() {
    for (FILE** stream : {&trace_state.debug_stream, &trace_state.info_stream})
        if (FILE* closing = std::exchange(*stream, nullptr); closing && closing != stderr) fclose(closing);
    trace_state = {};
}

bool leaving = false; // abnormally

} // namespace

void start_files() {
    close_reader();
    if (run_files.writer) abandon_icode_writer(std::exchange(run_files.writer, nullptr));
    start_output_stream();
    abandon_text_files();
    run_files = {};
    leaving = false;
}

void leave_run() {
    abandon_icode_files();
    abandon_text_files();
    end_process(1);
    abort();
}

void fatal_exit() {
    if (leaving) _Exit(1); // the clean-up itself failed
    leaving = true;
    abandon_icode_files();
    trace("\n>>>> Optimizer terminated abnormally.\n");
    close_debug_stream();
    fputs("\n>>>> Optimizer terminated abnormally\n", stderr);
    if (run.current_function) fprintf(stderr, ">>>>    in function %s()\n", run.current_function_name);
    fprintf(stderr, ">>>>    in file \"%s\"\n", run.current_file);
    abandon_text_files();
    leaving = false;
    end_process(1);
    abort();
}

} // namespace pelorus
