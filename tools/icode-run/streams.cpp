// See streams.h.
//
// 1. Paths are walked part by part, each opened below the one before without following links. 2. Output of
// the standard streams goes to the machine at once, so that what a program has written is known whichever way
// it ends. 3. The host's standard input is read once and kept, so that each of several runs gets all of it.
#include "streams.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace pelorus {

namespace {

constexpr size_t OPEN_STREAMS = 64; // more would take the host's descriptors away

class DESCRIPTOR {
public:
    explicit DESCRIPTOR(int number) : number_(number) {}
    DESCRIPTOR(DESCRIPTOR&& other) noexcept : number_(other.release()) {}
    DESCRIPTOR& operator=(DESCRIPTOR&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    DESCRIPTOR(const DESCRIPTOR&) = delete;
    DESCRIPTOR& operator=(const DESCRIPTOR&) = delete;
    ~DESCRIPTOR() {
        if (number_ >= 0) close(number_);
    }
    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }
    explicit operator bool() const { return number_ >= 0; }

private:
    int number_;
};

// The folder that a path ends in, and the last part of the path.
struct PLACE {
    DESCRIPTOR folder;
    std::string name;
};

// Without a folder the host's errno says why.
PLACE find_place(const std::string& root, std::string_view path) {
    PLACE place{DESCRIPTOR(-1), {}};
    errno = path.empty() ? ENOENT : EACCES;
    if (root.empty() || path.empty() || path[0] == '/') return place;
    constexpr int FOLDER = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    place.folder = DESCRIPTOR(open(root.c_str(), FOLDER));
    while (place.folder) {
        const size_t slash = path.find('/');
        place.name = path.substr(0, slash);
        if (place.name == "..") {
            errno = EACCES;
            place.folder = DESCRIPTOR(-1);
        }
        if (slash == std::string_view::npos || !place.folder) break;
        path.remove_prefix(slash + 1);
        if (!place.name.empty() && place.name != ".")
            place.folder = DESCRIPTOR(openat(place.folder.get(), place.name.c_str(), FOLDER | O_NOFOLLOW));
    }
    return place;
}

// The flags of open for a mode of fopen; -1 for none.
int open_flags(std::string_view mode) {
    if (mode.empty()) return -1;
    const bool both = mode.find('+') != std::string_view::npos;
    const int exclusive = mode.find('x') != std::string_view::npos ? O_EXCL : 0;
    switch (mode[0]) {
    case 'r': return both ? O_RDWR : O_RDONLY;
    case 'w': return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC | exclusive;
    case 'a': return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND | exclusive;
    default: return -1;
    }
}

// --- The standard input ---

// What was read of it so far, by whichever run came first.
std::string& input_read() {
    static std::string bytes;
    return bytes;
}

bool read_more_input() {
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) return false;
    input_read().append(bytes, static_cast<size_t>(count));
    return true;
}

int read_standard_input(STREAM& stream) {
    if (!stream.pushed_back.empty()) {
        const char c = stream.pushed_back.back();
        stream.pushed_back.pop_back();
        return static_cast<unsigned char>(c);
    }
    if (stream.position == input_read().size() && !read_more_input()) {
        stream.at_end = true;
        return EOF;
    }
    return static_cast<unsigned char>(input_read()[stream.position++]);
}

} // namespace

// --- Files ---

FILE* open_inside(const std::string& folder, std::string_view path, std::string_view mode) {
    const int flags = open_flags(mode);
    if (flags < 0) {
        errno = EINVAL;
        return nullptr;
    }
    const PLACE place = find_place(folder, path);
    if (!place.folder) return nullptr;
    // Opening a pipe would wait for its other side.
    constexpr int ALWAYS = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    DESCRIPTOR file(openat(place.folder.get(), place.name.c_str(), flags | ALWAYS, 0644));
    struct stat status = {};
    if (!file || fstat(file.get(), &status) != 0) return nullptr;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EACCES;
        return nullptr;
    }
    FILE* host = fdopen(file.get(), std::string(mode).c_str());
    if (host) file.release();
    return host;
}

int remove_inside(const std::string& folder, std::string_view path) {
    const PLACE place = find_place(folder, path);
    if (!place.folder) return errno;
    if (unlinkat(place.folder.get(), place.name.c_str(), 0) == 0) return 0;
    if (errno != EISDIR) return errno;
    return unlinkat(place.folder.get(), place.name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

int rename_inside(const std::string& folder, std::string_view from, std::string_view to) {
    const PLACE source = find_place(folder, from);
    if (!source.folder) return errno;
    const PLACE target = find_place(folder, to);
    if (!target.folder) return errno;
    const int result =
        renameat(source.folder.get(), source.name.c_str(), target.folder.get(), target.name.c_str());
    return result == 0 ? 0 : errno;
}

// --- Streams ---

namespace {

// The program sees an object without a meaning; only its address counts.
ADDRESS register_stream(LIBRARY& library, ADDRESS address, FILE* host, int descriptor) {
    auto stream = std::make_unique<STREAM>();
    stream->host = host;
    stream->descriptor = descriptor;
    stream->address = address;
    stream->library = &library;
    library.streams[address] = std::move(stream);
    return address;
}

} // namespace

ADDRESS standard_stream(LIBRARY& library, int descriptor) {
    static const char* const NAMES[] = {"the standard input", "the standard output",
                                        "the standard error stream"};
    ADDRESS& address = library.standard_streams[descriptor];
    if (address) return address;
    address = library_object(library, NAMES[descriptor], zeros(4), 4);
    return register_stream(library, address, nullptr, descriptor);
}

ADDRESS add_stream(LIBRARY& library, FILE* host) {
    ADDRESS address = 0;
    if (library.streams.size() < OPEN_STREAMS)
        address = make_object(memory_of(library.machine), OBJECT_KIND::LIBRARY, 4, 4, "stream");
    if (address) return register_stream(library, address, host, -1);
    fclose(host);
    set_errno(library, EMFILE);
    return 0;
}

bool close_stream(STREAM& stream) {
    LIBRARY& library = *stream.library;
    FILE* host = std::exchange(stream.host, nullptr);
    const bool done = !host || fclose(host) == 0;
    end_object(memory_of(library.machine), stream.address);
    library.streams.erase(stream.address);
    return done;
}

void flush_stream(STREAM& stream) {
    if (stream.host) fflush(stream.host);
}

STREAM& standard_stream_of(GUEST_CALL& call, int descriptor) {
    const auto found = call.library.streams.find(standard_stream(call.library, descriptor));
    if (found == call.library.streams.end()) trap(call.machine, "standard stream %d is closed", descriptor);
    return *found->second;
}

STREAM& stream_argument(GUEST_CALL& call, uint32_t index) {
    const ADDRESS address = word_argument(call, index);
    const auto found = call.library.streams.find(address);
    if (found == call.library.streams.end())
        trap(call.machine, "argument %u is no open stream: %s", index + 1,
             describe_address(memory_of(call.machine), address).c_str());
    return *found->second;
}

int read_character(STREAM& stream) {
    if (stream.host) return fgetc(stream.host);
    if (stream.descriptor == 0) return read_standard_input(stream);
    stream.has_failed = true;
    set_errno(*stream.library, EBADF);
    return EOF;
}

bool push_back(STREAM& stream, int c) {
    if (c == EOF) return false;
    if (stream.host) return ungetc(c, stream.host) != EOF;
    stream.pushed_back.push_back(static_cast<char>(c));
    stream.at_end = false;
    return true;
}

bool write_bytes(STREAM& stream, std::string_view bytes) {
    if (bytes.empty()) return true;
    if (stream.host) {
        errno = 0;
        if (fwrite(bytes.data(), 1, bytes.size(), stream.host) == bytes.size()) return true;
        set_errno(*stream.library, errno);
        return false;
    }
    if (stream.descriptor == 0) {
        stream.has_failed = true;
        set_errno(*stream.library, EBADF);
        return false;
    }
    put_output(stream.library->machine, stream.descriptor, bytes);
    return true;
}

} // namespace pelorus
