// Values of fields, from and to bytes; see text_value.h.
//
// A decoder accepts only what the encoder gives back unchanged. LEB128 numbers come in more than one length,
// so the length is kept when it is not the shortest. Numbers whose signedness depends on a type (v, i) stay
// encoded: a record's extent must not depend on the types that happen to be known.
#include "icode/text_value.h"

#include <algorithm>

namespace pelorus {

namespace {

// The length of the LEB128 at `at`; 0 when there is none.
size_t leb_length(std::string_view bytes, size_t at) {
    for (size_t length = 1; length <= LONGEST_NUMBER && at + length <= bytes.size(); ++length)
        if (!(static_cast<uint8_t>(bytes[at + length - 1]) & 0x80)) return length;
    return 0;
}

uint64_t leb_bits(std::string_view encoding) {
    uint64_t bits = 0;
    for (size_t i = 0; i < encoding.size() && i * 7 < 64; ++i)
        bits |= static_cast<uint64_t>(static_cast<uint8_t>(encoding[i]) & 0x7F) << (i * 7);
    return bits;
}

// Takes the number when encoding it in the same length gives the same bytes.
template <class ENCODE>
bool accept(std::string_view encoding, TEXT_NUMBER number, size_t shortest, ENCODE encode,
            TEXT_NUMBER& result) {
    number.width = encoding.size() == shortest ? 0 : static_cast<uint32_t>(encoding.size());
    std::string again;
    encode(number, again);
    if (again != encoding) return false;
    result = number;
    return true;
}

bool decode_fixed(size_t size, std::string_view bytes, size_t& at, TEXT_NUMBER& number) {
    if (bytes.size() - at < size) return false;
    number = {};
    for (size_t i = 0; i < size; ++i)
        number.value |= static_cast<uint64_t>(static_cast<uint8_t>(bytes[at + i])) << (8 * i);
    at += size;
    return true;
}

void encode_fixed(size_t size, uint64_t value, std::string& bytes) {
    for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
}

bool decode_signed_byte(std::string_view bytes, size_t& at, TEXT_NUMBER& number) {
    if (!decode_fixed(1, bytes, at, number)) return false;
    number.value = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int8_t>(number.value)));
    return true;
}

bool decode_position(std::string_view bytes, size_t& at, TEXT_VALUE& value) {
    if (!decode_uleb(bytes, at, value.numbers[0])) return false;
    if (!value.numbers[0].value) return true;
    return decode_uleb(bytes, at, value.numbers[1]) && decode_uleb(bytes, at, value.numbers[2]);
}

bool decode_string(std::string_view bytes, size_t& at, std::string_view& text) {
    const size_t end = bytes.find('\0', at);
    if (end == std::string_view::npos) return false;
    text = bytes.substr(at, end - at);
    at = end + 1;
    return true;
}

bool decode_strings(std::string_view bytes, size_t& at, TEXT_VALUE& value) {
    if (!decode_uleb(bytes, at, value.numbers[0])) return false;
    for (uint64_t count = value.numbers[0].value; count; --count) {
        std::string_view text;
        if (!decode_string(bytes, at, text)) return false;
        value.strings.push_back(text);
    }
    return true;
}

bool decode_run(uint64_t size, std::string_view bytes, size_t& at, std::string_view& text) {
    if (size > bytes.size() - at) return false;
    text = bytes.substr(at, size);
    at += size;
    return true;
}

bool decode_counted(std::string_view bytes, size_t& at, TEXT_VALUE& value) {
    return decode_uleb(bytes, at, value.numbers[0]) &&
           decode_run(value.numbers[0].value, bytes, at, value.text);
}

bool decode_halves(std::string_view bytes, size_t& at, TEXT_VALUE& value) {
    return decode_fixed(1, bytes, at, value.numbers[0]) &&
           decode_run(2 * value.numbers[0].value, bytes, at, value.text);
}

void encode_position(const TEXT_VALUE& value, std::string& bytes) {
    encode_uleb(value.numbers[0], bytes);
    if (!value.numbers[0].value) return;
    encode_uleb(value.numbers[1], bytes);
    encode_uleb(value.numbers[2], bytes);
}

void encode_string(std::string_view text, std::string& bytes) { bytes.append(text).push_back('\0'); }

void encode_strings(const TEXT_VALUE& value, std::string& bytes) {
    encode_uleb({value.strings.size(), value.numbers[0].width}, bytes);
    for (const std::string_view text : value.strings) encode_string(text, bytes);
}

} // namespace

size_t shortest_uleb(uint64_t value) {
    size_t size = 1;
    while (value >>= 7) ++size;
    return size;
}

size_t shortest_sleb(int64_t value) {
    size_t size = 1;
    for (; value < -64 || value > 63; value >>= 7) ++size;
    return size;
}

bool decode_uleb(std::string_view bytes, size_t& at, TEXT_NUMBER& number) {
    const std::string_view encoding = bytes.substr(at, leb_length(bytes, at));
    if (encoding.empty()) return false;
    const uint64_t value = leb_bits(encoding);
    if (!accept(encoding, {value, 0}, shortest_uleb(value), encode_uleb, number)) return false;
    at += encoding.size();
    return true;
}

bool decode_sleb(std::string_view bytes, size_t& at, TEXT_NUMBER& number) {
    const std::string_view encoding = bytes.substr(at, leb_length(bytes, at));
    if (encoding.empty()) return false;
    uint64_t value = leb_bits(encoding);
    const bool negative = (encoding.back() & 0x40) != 0;
    if (negative && encoding.size() < 10) value |= ~uint64_t{0} << (7 * encoding.size());
    if (!accept(encoding, {value, 0}, shortest_sleb(static_cast<int64_t>(value)), encode_sleb, number))
        return false;
    at += encoding.size();
    return true;
}

void encode_uleb(const TEXT_NUMBER& number, std::string& bytes) {
    uint64_t value = number.value;
    const size_t size = std::max<size_t>(number.width, shortest_uleb(value));
    for (size_t i = 1; i <= size; ++i, value >>= 7)
        bytes.push_back(static_cast<char>((value & 0x7F) | (i < size ? 0x80 : 0)));
}

void encode_sleb(const TEXT_NUMBER& number, std::string& bytes) {
    auto value = static_cast<int64_t>(number.value);
    const size_t size = std::max<size_t>(number.width, shortest_sleb(value));
    for (size_t i = 1; i <= size; ++i, value >>= 7)
        bytes.push_back(static_cast<char>((value & 0x7F) | (i < size ? 0x80 : 0)));
}

bool decode_value(char code, std::string_view bytes, size_t& at, TEXT_VALUE& value) {
    switch (code) {
    case 'y':
    case 'f': return decode_fixed(1, bytes, at, value.numbers[0]);
    case 'b': return decode_signed_byte(bytes, at, value.numbers[0]);
    case 'h': return decode_fixed(2, bytes, at, value.numbers[0]);
    case 'w': return decode_fixed(4, bytes, at, value.numbers[0]);
    case 'u':
    case 't':
    case 'g': return decode_uleb(bytes, at, value.numbers[0]);
    case 'l': return decode_sleb(bytes, at, value.numbers[0]);
    case 'i':
    case 'v': {
        const size_t length = leb_length(bytes, at);
        return length && decode_run(length, bytes, at, value.text);
    }
    case 's': return decode_string(bytes, at, value.text);
    case 'p': return decode_position(bytes, at, value);
    case 'n': return decode_strings(bytes, at, value);
    case 'm': return decode_halves(bytes, at, value);
    case 'c': return decode_counted(bytes, at, value);
    default: return decode_run(bytes.size() - at, bytes, at, value.text);
    }
}

void encode_value(char code, const TEXT_VALUE& value, std::string& bytes) {
    switch (code) {
    case 'y':
    case 'f':
    case 'b': encode_fixed(1, value.numbers[0].value, bytes); break;
    case 'h': encode_fixed(2, value.numbers[0].value, bytes); break;
    case 'w': encode_fixed(4, value.numbers[0].value, bytes); break;
    case 'u':
    case 't':
    case 'g': encode_uleb(value.numbers[0], bytes); break;
    case 'l': encode_sleb(value.numbers[0], bytes); break;
    case 's': encode_string(value.text, bytes); break;
    case 'p': encode_position(value, bytes); break;
    case 'n': encode_strings(value, bytes); break;
    case 'm':
        encode_fixed(1, value.text.size() / 2, bytes);
        bytes.append(value.text);
        break;
    case 'c':
        encode_uleb({value.text.size(), value.numbers[0].width}, bytes);
        bytes.append(value.text);
        break;
    default: bytes.append(value.text); break;
    }
}

const char* payload_codes(PAYLOAD payload) {
    switch (payload) {
    case PAYLOAD::NONE: return "";
    case PAYLOAD::LABEL:
    case PAYLOAD::SWITCH:
    case PAYLOAD::CALL:
    case PAYLOAD::SKIP: return "u";
    case PAYLOAD::SYMBOL: return "uu";
    case PAYLOAD::BYTES: return "c";
    case PAYLOAD::INTEGER: return "i";
    case PAYLOAD::FLOAT:
    case PAYLOAD::DECIMAL:
    case PAYLOAD::TEXT: return "s";
    case PAYLOAD::FIELD: return "but";
    case PAYLOAD::DDNODE: return "uuy";
    case PAYLOAD::DROPPED: return "l";
    }
    return "";
}

bool decode_payload(PAYLOAD payload, std::string_view bytes, size_t& at, TEXT_VALUE& value) {
    const char* codes = payload_codes(payload);
    if (!codes[0] || !codes[1]) return !codes[0] || decode_value(codes[0], bytes, at, value);
    for (size_t i = 0; codes[i]; ++i) {
        TEXT_VALUE part;
        if (!decode_value(codes[i], bytes, at, part)) return false;
        value.numbers[i] = part.numbers[0];
    }
    return true;
}

void encode_payload(PAYLOAD payload, const TEXT_VALUE& value, std::string& bytes) {
    const char* codes = payload_codes(payload);
    if (!codes[0]) return;
    if (!codes[1]) return encode_value(codes[0], value, bytes);
    for (size_t i = 0; codes[i]; ++i) {
        TEXT_VALUE part;
        part.numbers[0] = value.numbers[i];
        encode_value(codes[i], part, bytes);
    }
}

PAYLOAD opcode_payload(uint8_t op) { return op <= LAST_OPCODE ? opcode_facts[op].payload : PAYLOAD::NONE; }

uint32_t record_children(uint8_t op) {
    const int arity = opcode_arity(op);
    return arity <= 0 || opcode_is_leaf_record(op) ? 0 : static_cast<uint32_t>(arity);
}

} // namespace pelorus
