// The bytes of an icode file: the primitives of the format over a stdio stream, none of which passes the end
// of the record being read. Local to the reader.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace pelorus {

class BYTE_SOURCE {
public:
    // The icode starts where the stream stands. False when the stream cannot be positioned.
    bool open(FILE* stream);
    void close();

    uint64_t offset() const { return offset_; } // of the next byte, from the start of the icode
    uint64_t size() const { return size_; }     // bytes from the start of the icode to the end of the stream
    uint64_t limit() const { return limit_; }   // no byte at or behind it is read
    void set_limit(uint64_t limit) { limit_ = limit; }
    void set_no_limit() { limit_ = size_; }
    void seek(uint64_t offset);

    // The fault of the primitives below: called with what was wrong; it must not return.
    void (*fault)(void* context, const char* message) = nullptr;
    void* fault_context = nullptr;

    uint8_t byte() {
        if (offset_ >= limit_) past_limit();
        const int c = getc_unlocked(stream_);
        if (c == EOF) past_limit();
        ++offset_;
        return static_cast<uint8_t>(c);
    }
    int8_t signed_byte() { return static_cast<int8_t>(byte()); }
    uint16_t half();
    uint32_t word();
    uint64_t uleb64();
    int64_t sleb64();
    uint32_t uleb() {
        const uint8_t first = byte();
        return first < 0x80 ? first : long_uleb(first);
    }
    int32_t sleb();
    // Both live until the next string or bytes are read.
    const std::string& string();
    std::string_view bytes(uint32_t count);

private:
    [[noreturn]] void past_limit();
    [[noreturn]] void fail(const char* message);
    uint32_t long_uleb(uint8_t first);
    uint64_t uleb64_from(uint8_t first);

    FILE* stream_ = nullptr;
    uint64_t start_ = 0; // position of the icode in the stream
    uint64_t offset_ = 0;
    uint64_t size_ = 0;
    uint64_t limit_ = 0;
    std::string text_; // the one static buffer for strings
};

} // namespace pelorus
