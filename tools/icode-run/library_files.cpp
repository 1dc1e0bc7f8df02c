// stdio.h but for formatted input and output: opening, characters, lines, blocks, positions.
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "streams.h"

namespace pelorus {

namespace {

constexpr int END = -1; // EOF of the machine

std::string text_copy_argument(GUEST_CALL& call, uint32_t index) {
    return std::string(read_text(call.machine, word_argument(call, index)));
}

// --- Opening and closing ---

void call_fopen(GUEST_CALL& call) {
    FILE* host = open_inside(call.library.folder, text_copy_argument(call, 0), text_copy_argument(call, 1));
    if (!host) set_errno(call.library, errno);
    give(call, host ? add_stream(call.library, host) : 0);
}

void call_fdopen(GUEST_CALL& call) {
    const int descriptor = int_argument(call, 0);
    if (descriptor >= 0 && descriptor <= 2) return give(call, standard_stream(call.library, descriptor));
    set_errno(call.library, EBADF);
    give(call, 0);
}

// The stream keeps its address.
void call_freopen(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 2);
    if (!word_argument(call, 0)) unsupported(call.machine, "freopen: a change of the mode alone");
    FILE* host = open_inside(call.library.folder, text_copy_argument(call, 0), text_copy_argument(call, 1));
    if (stream.host) fclose(stream.host);
    stream.host = host;
    stream.descriptor = -1;
    if (host) return give(call, stream.address);
    set_errno(call.library, errno);
    close_stream(stream);
    give(call, 0);
}

void call_fclose(GUEST_CALL& call) { give(call, close_stream(stream_argument(call, 0)) ? 0 : END); }

// A file without a name, in the host's memory.
void call_tmpfile(GUEST_CALL& call) {
    const int descriptor = memfd_create("stream", MFD_CLOEXEC);
    FILE* host = descriptor < 0 ? nullptr : fdopen(descriptor, "w+");
    if (!host && descriptor >= 0) close(descriptor);
    if (!host) set_errno(call.library, EMFILE);
    give(call, host ? add_stream(call.library, host) : 0);
}

void call_fflush(GUEST_CALL& call) {
    if (!word_argument(call, 0))
        close_library(call.library);
    else
        flush_stream(stream_argument(call, 0));
    give(call, 0);
}

// Nobody can see how the standard streams are buffered.
void call_setvbuf(GUEST_CALL& call) {
    stream_argument(call, 0);
    give(call, 0);
}

void give_error(GUEST_CALL& call, int error) {
    if (error) set_errno(call.library, error);
    give(call, error ? -1 : 0);
}

void call_remove(GUEST_CALL& call) {
    give_error(call, remove_inside(call.library.folder, text_copy_argument(call, 0)));
}

void call_rename(GUEST_CALL& call) {
    give_error(call,
               rename_inside(call.library.folder, text_copy_argument(call, 0), text_copy_argument(call, 1)));
}

// --- Characters, lines and blocks ---

void call_fgetc(GUEST_CALL& call) { give(call, read_character(stream_argument(call, 0))); }
void call_getchar(GUEST_CALL& call) { give(call, read_character(standard_stream_of(call, 0))); }

void call_ungetc(GUEST_CALL& call) {
    const int c = int_argument(call, 0);
    STREAM& stream = stream_argument(call, 1);
    const int byte = c == END ? END : c & 0xFF;
    give(call, push_back(stream, byte) ? byte : END);
}

void write_character(GUEST_CALL& call, STREAM& stream) {
    const auto byte = static_cast<unsigned char>(int_argument(call, 0));
    const auto c = static_cast<char>(byte);
    give(call, write_bytes(stream, std::string_view(&c, 1)) ? byte : END);
}

void call_fputc(GUEST_CALL& call) { write_character(call, stream_argument(call, 1)); }
void call_putchar(GUEST_CALL& call) { write_character(call, standard_stream_of(call, 1)); }

void call_fputs(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 1);
    give(call, write_bytes(stream, text_copy_argument(call, 0)) ? 1 : END);
}

void call_puts(GUEST_CALL& call) {
    const std::string line = text_copy_argument(call, 0) + "\n";
    give(call, write_bytes(standard_stream_of(call, 1), line) ? static_cast<int>(line.size()) : END);
}

// Up to `limit` characters, the last of them the end of the line.
std::string read_line(STREAM& stream, uint64_t limit, char end_of_line) {
    std::string line;
    while (line.size() < limit) {
        const int c = read_character(stream);
        if (c == EOF) break;
        line.push_back(static_cast<char>(c));
        if (line.back() == end_of_line) break;
    }
    return line;
}

void get_line(GUEST_CALL& call, int size, STREAM& stream) {
    const ADDRESS place = word_argument(call, 0);
    if (size <= 0) return give(call, 0);
    const std::string line = read_line(stream, static_cast<uint64_t>(size) - 1, '\n');
    if (line.empty() && size > 1) return give(call, 0);
    write_text(call.machine, place, line);
    give(call, place);
}

void call_fgets(GUEST_CALL& call) { get_line(call, int_argument(call, 1), stream_argument(call, 2)); }

// The checked forms have the room behind the place.
void check_room(GUEST_CALL& call, uint32_t room, uint32_t size) {
    if (size > room) trap(call.machine, "%u bytes do not fit into %u", size, room);
}

void call_fgets_chk(GUEST_CALL& call) {
    check_room(call, word_argument(call, 1), word_argument(call, 2));
    get_line(call, int_argument(call, 2), stream_argument(call, 3));
}

// The line goes to memory of malloc, which grows as it must.
void store_line(GUEST_CALL& call, const std::string& line) {
    const ADDRESS buffer_at = word_argument(call, 0), size_at = word_argument(call, 1);
    const auto buffer = load<ADDRESS>(call.machine, buffer_at);
    const auto room = load<uint32_t>(call.machine, size_at);
    if (buffer && room > line.size()) return write_text(call.machine, buffer, line);
    const auto size = std::max(static_cast<uint32_t>(line.size()) + 1, 120u);
    const ADDRESS grown = allocate(call.library, size, 8);
    if (!grown) trap(call.machine, "getline: no memory for a line of %zu bytes", line.size());
    free_block(call.machine, "getline", buffer);
    write_text(call.machine, grown, line);
    store(call.machine, buffer_at, grown);
    store(call.machine, size_at, size);
}

void read_any_line(GUEST_CALL& call, char end_of_line, uint32_t stream_index) {
    const std::string line = read_line(stream_argument(call, stream_index), UINT64_MAX, end_of_line);
    if (line.empty()) return give(call, -1);
    store_line(call, line);
    give(call, static_cast<int64_t>(line.size()));
}

void call_getline(GUEST_CALL& call) { read_any_line(call, '\n', 2); }
void call_getdelim(GUEST_CALL& call) { read_any_line(call, static_cast<char>(int_argument(call, 2)), 3); }

// The number of bytes of the block that arguments from `first` on describe.
uint32_t block_size(GUEST_CALL& call, uint32_t first) {
    const uint64_t size = uint64_t{word_argument(call, first)} * word_argument(call, first + 1);
    if (size > UINT32_MAX) trap(call.machine, "a block of %llu bytes", static_cast<unsigned long long>(size));
    return static_cast<uint32_t>(size);
}

// Reads at most `size` bytes to a place, which need not have room for more than there are.
uint32_t read_block(MACHINE& machine, STREAM& stream, ADDRESS place, uint32_t size) {
    std::string bytes;
    for (int c; bytes.size() < size && (c = read_character(stream)) != EOF;)
        bytes.push_back(static_cast<char>(c));
    const auto count = static_cast<uint32_t>(bytes.size());
    if (count) std::memcpy(write_place(machine, place, count), bytes.data(), count);
    return count;
}

void get_block(GUEST_CALL& call, uint32_t first) {
    const uint32_t size = block_size(call, first);
    STREAM& stream = stream_argument(call, first + 2);
    if (size == 0) return give(call, 0);
    give(call, read_block(call.machine, stream, word_argument(call, 0), size) / word_argument(call, first));
}

void call_fread(GUEST_CALL& call) { get_block(call, 1); }

void call_fread_chk(GUEST_CALL& call) {
    check_room(call, word_argument(call, 1), block_size(call, 2));
    get_block(call, 2);
}

void call_fwrite(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0);
    const uint32_t size = block_size(call, 1);
    STREAM& stream = stream_argument(call, 3);
    if (size == 0) return give(call, 0);
    const auto* bytes = reinterpret_cast<const char*>(read_place(call.machine, place, size));
    give(call, write_bytes(stream, std::string_view(bytes, size)) ? word_argument(call, 2) : 0);
}

// --- Positions and states ---

int moved(STREAM& stream, int64_t distance, int origin) {
    if (stream.host) return fseeko(stream.host, distance, origin) == 0 ? 0 : errno;
    return ESPIPE;
}

void call_fseek(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    const int origin = int_argument(call, 2);
    const bool is_known = origin >= SEEK_SET && origin <= SEEK_END;
    give_error(call, is_known ? moved(stream, int_argument(call, 1), origin) : EINVAL);
}

void call_ftell(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    const int64_t position = stream.host ? ftello(stream.host) : -1;
    if (position < 0) set_errno(call.library, stream.host ? errno : ESPIPE);
    give(call, position);
}

void call_rewind(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    moved(stream, 0, SEEK_SET);
    if (stream.host) clearerr(stream.host);
    stream.has_failed = false;
}

void call_fgetpos(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    const int64_t position = stream.host ? ftello(stream.host) : -1;
    if (position >= 0) store(call.machine, word_argument(call, 1), static_cast<int32_t>(position));
    give_error(call, position >= 0 ? 0 : ESPIPE);
}

void call_fsetpos(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    give_error(call, moved(stream, load<int32_t>(call.machine, word_argument(call, 1)), SEEK_SET));
}

void call_feof(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    give(call, stream.host ? feof(stream.host) != 0 : stream.at_end);
}

void call_ferror(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    give(call, stream.host ? ferror(stream.host) != 0 : stream.has_failed);
}

void call_clearerr(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    if (stream.host) clearerr(stream.host);
    stream.at_end = stream.has_failed = false;
}

void call_fileno(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    if (stream.descriptor < 0) unsupported(call.machine, "fileno of a file");
    give(call, stream.descriptor);
}

void call_check_stream(GUEST_CALL& call) { stream_argument(call, 0); }

void call_perror(GUEST_CALL& call) {
    const ADDRESS text = word_argument(call, 0);
    std::string message = strerror(load<int32_t>(call.machine, errno_of(call.library)));
    if (text && load_byte(call.machine, text)) message = text_copy_argument(call, 0) + ": " + message;
    write_bytes(standard_stream_of(call, 2), message + "\n");
}

// --- Descriptors: the three that a program begins with ---

void call_write(GUEST_CALL& call) {
    const int descriptor = int_argument(call, 0);
    const uint32_t size = word_argument(call, 2);
    if (descriptor != 1 && descriptor != 2) return give_error(call, EBADF);
    if (size) {
        const auto* bytes =
            reinterpret_cast<const char*>(read_place(call.machine, word_argument(call, 1), size));
        put_output(call.machine, descriptor, std::string_view(bytes, size));
    }
    give(call, size);
}

void call_read(GUEST_CALL& call) {
    const uint32_t size = word_argument(call, 2);
    if (int_argument(call, 0) != 0) return give_error(call, EBADF);
    give(call, read_block(call.machine, standard_stream_of(call, 0), word_argument(call, 1), size));
}

const LIBRARY_ROW FILE_ROWS[] = {
    {"_fopen", call_fopen, CALL_EFFECT::SEEN},
    {"_fopen64", call_fopen, CALL_EFFECT::SEEN},
    {"_fdopen", call_fdopen, CALL_EFFECT::SEEN},
    {"_freopen", call_freopen, CALL_EFFECT::SEEN},
    {"_fclose", call_fclose, CALL_EFFECT::SEEN},
    {"_tmpfile", call_tmpfile, CALL_EFFECT::SEEN},
    {"_fflush", call_fflush, CALL_EFFECT::SEEN},
    {"_setvbuf", call_setvbuf, CALL_EFFECT::SEEN},
    {"_setbuf", call_setvbuf, CALL_EFFECT::SEEN},
    {"_setlinebuf", call_setvbuf, CALL_EFFECT::SEEN},
    {"_remove", call_remove, CALL_EFFECT::SEEN},
    {"_unlink", call_remove, CALL_EFFECT::SEEN},
    {"_rename", call_rename, CALL_EFFECT::SEEN},
    {"_fgetc", call_fgetc, CALL_EFFECT::SEEN},
    {"_getc", call_fgetc, CALL_EFFECT::SEEN},
    {"__IO_getc", call_fgetc, CALL_EFFECT::SEEN},
    {"_getc_unlocked", call_fgetc, CALL_EFFECT::SEEN},
    {"_fgetc_unlocked", call_fgetc, CALL_EFFECT::SEEN},
    {"_getchar", call_getchar, CALL_EFFECT::SEEN},
    {"_getchar_unlocked", call_getchar, CALL_EFFECT::SEEN},
    {"_ungetc", call_ungetc, CALL_EFFECT::SEEN},
    {"_fputc", call_fputc, CALL_EFFECT::SEEN},
    {"_putc", call_fputc, CALL_EFFECT::SEEN},
    {"__IO_putc", call_fputc, CALL_EFFECT::SEEN},
    {"_putc_unlocked", call_fputc, CALL_EFFECT::SEEN},
    {"_fputc_unlocked", call_fputc, CALL_EFFECT::SEEN},
    {"_putchar", call_putchar, CALL_EFFECT::SEEN},
    {"_putchar_unlocked", call_putchar, CALL_EFFECT::SEEN},
    {"_fputs", call_fputs, CALL_EFFECT::SEEN},
    {"_fputs_unlocked", call_fputs, CALL_EFFECT::SEEN},
    {"_puts", call_puts, CALL_EFFECT::SEEN},
    {"_fgets", call_fgets, CALL_EFFECT::SEEN},
    {"_fgets_unlocked", call_fgets, CALL_EFFECT::SEEN},
    {"___fgets_chk", call_fgets_chk, CALL_EFFECT::SEEN},
    {"_getline", call_getline, CALL_EFFECT::SEEN},
    {"_getdelim", call_getdelim, CALL_EFFECT::SEEN},
    {"___getdelim", call_getdelim, CALL_EFFECT::SEEN},
    {"_fread", call_fread, CALL_EFFECT::SEEN},
    {"_fread_unlocked", call_fread, CALL_EFFECT::SEEN},
    {"___fread_chk", call_fread_chk, CALL_EFFECT::SEEN},
    {"_fwrite", call_fwrite, CALL_EFFECT::SEEN},
    {"_fwrite_unlocked", call_fwrite, CALL_EFFECT::SEEN},
    {"_fseek", call_fseek, CALL_EFFECT::SEEN},
    {"_fseeko", call_fseek, CALL_EFFECT::SEEN},
    {"_ftell", call_ftell, CALL_EFFECT::INSIDE},
    {"_ftello", call_ftell, CALL_EFFECT::INSIDE},
    {"_rewind", call_rewind, CALL_EFFECT::SEEN},
    {"_fgetpos", call_fgetpos, CALL_EFFECT::INSIDE},
    {"_fsetpos", call_fsetpos, CALL_EFFECT::SEEN},
    {"_feof", call_feof, CALL_EFFECT::INSIDE},
    {"_feof_unlocked", call_feof, CALL_EFFECT::INSIDE},
    {"_ferror", call_ferror, CALL_EFFECT::INSIDE},
    {"_ferror_unlocked", call_ferror, CALL_EFFECT::INSIDE},
    {"_clearerr", call_clearerr, CALL_EFFECT::INSIDE},
    {"_fileno", call_fileno, CALL_EFFECT::INSIDE},
    {"_flockfile", call_check_stream, CALL_EFFECT::INSIDE},
    {"_funlockfile", call_check_stream, CALL_EFFECT::INSIDE},
    {"_perror", call_perror, CALL_EFFECT::SEEN},
    {"_write", call_write, CALL_EFFECT::SEEN},
    {"_read", call_read, CALL_EFFECT::SEEN},
};

} // namespace

std::span<const LIBRARY_ROW> file_functions() { return FILE_ROWS; }

} // namespace pelorus
