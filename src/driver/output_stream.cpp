// See output_stream.h.
#include "driver/output_stream.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace pelorus {

namespace {

// The output while it is collected in memory.
struct COLLECTED_OUTPUT {
    FILE* destination = nullptr; // null while the writer writes to the output itself
    FILE* bytes = nullptr;       // a file in memory; the writer has a stream of its own to it
};
COLLECTED_OUTPUT collected;

// A second stream to the file of descriptor `descriptor`; the position is shared. Null, with errno set.
FILE* copy_of_stream(int descriptor, const char* mode) {
    const int copy = dup(descriptor);
    FILE* stream = copy < 0 ? nullptr : fdopen(copy, mode);
    if (stream || copy < 0) return stream;
    close(copy);
    errno = EBADF; // it is open for the other direction: a stream that was closed when the run began
    return nullptr;
}

bool is_file_or_pipe(const struct stat& info) {
    return S_ISREG(info.st_mode) || S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode);
}

bool is_standard_output(const struct stat& info) {
    struct stat standard{};
    return fstat(STDOUT_FILENO, &standard) == 0 && is_file_or_pipe(standard) &&
           standard.st_dev == info.st_dev && standard.st_ino == info.st_ino;
}

bool can_go_back(FILE* stream) { return lseek(fileno(stream), 0, SEEK_CUR) >= 0; }

// Has what the writer writes collected for `destination`.
FILE* collect_for(FILE* destination) {
    collected.destination = destination;
    const int memory = memfd_create("output", MFD_CLOEXEC);
    if (memory < 0) return nullptr;
    collected.bytes = fdopen(memory, "rb");
    return collected.bytes ? copy_of_stream(memory, "wb") : nullptr;
}

bool copy_bytes(FILE* from, FILE* to) {
    char buffer[65536];
    if (fseek(from, 0, SEEK_SET) != 0) return false;
    while (const size_t count = fread(buffer, 1, sizeof buffer, from))
        if (fwrite(buffer, 1, count, to) != count) return false;
    return !ferror(from) && fflush(to) == 0;
}

} // namespace

void provide_standard_streams() {
    for (const int wanted : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(wanted, F_GETFD) >= 0) continue;
        // The lowest free number is the wanted one, since those below are open.
        if (open("/dev/null", O_RDONLY) < 0) return;
    }
}

void start_output_stream() {
    static FILE* const standard_output = stdout;
    abandon_output_stream();
    stdout = standard_output;
}

bool output_is_standard(const std::string& name) {
    struct stat info{};
    return name == STANDARD_OUTPUT_NAME || (stat(name.c_str(), &info) == 0 && is_standard_output(info));
}

FILE* open_output_stream(const std::string& name) {
    const bool by_name = name == STANDARD_OUTPUT_NAME;
    FILE* stream = by_name ? copy_of_stream(STDOUT_FILENO, "wb") : fopen(name.c_str(), "wb");
    if (!stream) return nullptr;
    if (output_is_standard(name)) stdout = stderr; // the descriptor stays: "/dev/stdout" is still its name
    return by_name || !can_go_back(stream) ? collect_for(stream) : stream;
}

bool finish_output_stream(const std::string& name) {
    if (!collected.destination) return true;
    const bool complete = copy_bytes(collected.bytes, collected.destination);
    const int problem = complete ? 0 : errno;
    abandon_output_stream();
    if (complete) return true;
    fprintf(stderr, "\n>> Cannot Write Output icode File, %s : %s, Aborting\n",
            problem ? strerror(problem) : "write failed", name.c_str());
    return false;
}

void abandon_output_stream() {
    for (FILE** stream : {&collected.bytes, &collected.destination})
        if (*stream) fclose(std::exchange(*stream, nullptr));
}

} // namespace pelorus
