// Whole files in memory; see whole_file.h.
#include "common/whole_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace pelorus {

namespace {

bool complain(const char* program, const std::string& name) {
    fprintf(stderr, "%s: %s: %s\n", program, name.c_str(), strerror(errno));
    return false;
}

bool write_stream(FILE* stream, std::string_view bytes) {
    return fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() && fflush(stream) == 0;
}

// Devices and pipes cannot be replaced by another file.
bool is_replaceable(const std::string& name) {
    struct stat info;
    return stat(name.c_str(), &info) != 0 || S_ISREG(info.st_mode);
}

} // namespace

bool read_file_bytes(const char* program, const std::string& name, std::string& bytes) {
    FILE* stream = name == "-" ? stdin : fopen(name.c_str(), "rb");
    if (!stream) return complain(program, name);
    bytes.clear();
    char buffer[65536];
    errno = 0;
    while (const size_t count = fread(buffer, 1, sizeof buffer, stream)) bytes.append(buffer, count);
    const bool good = !ferror(stream) || complain(program, name);
    if (stream != stdin) fclose(stream);
    return good;
}

bool write_file_bytes(const char* program, const std::string& name, std::string_view bytes) {
    if (name == "-") return write_stream(stdout, bytes) || complain(program, "standard output");
    const bool beside = is_replaceable(name);
    const std::string written = beside ? name + ".tmp" + std::to_string(getpid()) : name;
    FILE* stream = fopen(written.c_str(), "wb");
    if (!stream) return complain(program, name);
    const bool complete = write_stream(stream, bytes);
    const int problem = errno;
    const bool good = (fclose(stream) == 0) && complete;
    if (!complete) errno = problem;
    if (good && (!beside || rename(written.c_str(), name.c_str()) == 0)) return true;
    complain(program, name);
    if (beside) unlink(written.c_str());
    return false;
}

} // namespace pelorus
