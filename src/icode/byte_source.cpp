// See byte_source.h. Reading goes byte by byte through the stream's buffer, which is as fast as anything for
// records of a dozen bytes; the offset is counted here, since asking the stream for it would cost a call.
#include "icode/byte_source.h"

#include <cstdlib>

#include "icode/format.h"

namespace pelorus {

bool BYTE_SOURCE::open(FILE* stream) {
    setvbuf(stream, nullptr, _IOFBF, ICODE_BUFFER_SIZE);
    const long start = ftell(stream);
    if (start < 0 || fseek(stream, 0, SEEK_END) != 0) return false;
    const long end = ftell(stream);
    if (end < start || fseek(stream, start, SEEK_SET) != 0) return false;
    stream_ = stream;
    start_ = static_cast<uint64_t>(start);
    size_ = limit_ = static_cast<uint64_t>(end - start);
    offset_ = 0;
    return true;
}

void BYTE_SOURCE::close() {
    if (stream_) fclose(stream_);
    stream_ = nullptr;
}

void BYTE_SOURCE::seek(uint64_t offset) {
    if (offset > size_) fail("an offset lies behind the end of the file");
    if (fseek(stream_, static_cast<long>(start_ + offset), SEEK_SET) != 0) fail("cannot be positioned");
    offset_ = offset;
}

void BYTE_SOURCE::fail(const char* message) {
    fault(fault_context, message);
    abort();
}

void BYTE_SOURCE::past_limit() {
    fail(offset_ >= size_ ? "the file ends in the middle of a record"
                          : "the fields pass the end of their record");
}

uint16_t BYTE_SOURCE::half() {
    const unsigned low = byte();
    return static_cast<uint16_t>(low | static_cast<unsigned>(byte()) << 8);
}

uint32_t BYTE_SOURCE::word() {
    const uint32_t low = half();
    return low | static_cast<uint32_t>(half()) << 16;
}

uint64_t BYTE_SOURCE::uleb64_from(uint8_t first) {
    uint64_t value = first & 0x7F;
    uint8_t group = first;
    for (unsigned shift = 7; group & 0x80; shift += 7) {
        group = byte();
        const uint64_t bits = group & 0x7F;
        if (bits && (shift > 63 || bits << shift >> shift != bits)) fail("a number needs more than 64 bits");
        if (shift <= 63) value |= bits << shift;
    }
    return value;
}

uint64_t BYTE_SOURCE::uleb64() { return uleb64_from(byte()); }

uint32_t BYTE_SOURCE::long_uleb(uint8_t first) {
    const uint64_t value = uleb64_from(first);
    if (value > UINT32_MAX) fail("a number needs more than 32 bits");
    return static_cast<uint32_t>(value);
}

int64_t BYTE_SOURCE::sleb64() {
    uint64_t value = 0;
    unsigned shift = 0;
    uint8_t group;
    do {
        group = byte();
        const uint64_t bits = group & 0x7F;
        if (shift < 63)
            value |= bits << shift;
        else if (bits != (static_cast<int64_t>(value) < 0 || (shift == 63 && bits == 0x7F) ? 0x7FU : 0U))
            fail("a number needs more than 64 bits");
        else if (shift == 63)
            value |= bits << 63;
        shift += 7;
    } while (group & 0x80);
    if ((group & 0x40) && shift < 64) value |= ~uint64_t{0} << shift;
    return static_cast<int64_t>(value);
}

int32_t BYTE_SOURCE::sleb() {
    const int64_t value = sleb64();
    if (value < INT32_MIN || value > INT32_MAX) fail("a number needs more than 32 bits");
    return static_cast<int32_t>(value);
}

const std::string& BYTE_SOURCE::string() {
    text_.clear();
    while (const uint8_t c = byte()) text_.push_back(static_cast<char>(c));
    return text_;
}

std::string_view BYTE_SOURCE::bytes(uint32_t count) {
    if (count > limit_ - offset_) fail("a count of bytes passes the end of its record");
    text_.resize(count);
    if (count && fread(text_.data(), 1, count, stream_) != count)
        fail("the file ends in the middle of a record");
    offset_ += count;
    return text_;
}

} // namespace pelorus
