// The printf and scanf families: where the values come from and where the text goes; see format.h for what
// lies between.
#include <algorithm>
#include <cerrno>

#include "format.h"

namespace pelorus {

namespace {

// Each form of a function: the unnamed arguments follow, or a va_list does.
enum class FORM : uint8_t { DIRECT, LIST };

UNNAMED values_from(GUEST_CALL& call, FORM form, uint32_t index) {
    return form == FORM::DIRECT ? unnamed_arguments(call, index) : unnamed_of_va_list(call, index);
}

// The text of the format at argument `index` and the values behind it.
std::string formatted(GUEST_CALL& call, FORM form, uint32_t index) {
    UNNAMED values = values_from(call, form, index + 1);
    return format_text(word_argument(call, index), values);
}

void print(GUEST_CALL& call, STREAM& stream, const std::string& text) {
    give(call, write_bytes(stream, text) ? static_cast<int>(text.size()) : -1);
}

// FLAG arguments stand in front of the format in the checked forms.

template <FORM F, uint32_t FLAGS = 0>
void call_printf(GUEST_CALL& call) {
    print(call, standard_stream_of(call, 1), formatted(call, F, FLAGS));
}

template <FORM F, uint32_t FLAGS = 0>
void call_fprintf(GUEST_CALL& call) {
    STREAM& stream = stream_argument(call, 0);
    print(call, stream, formatted(call, F, 1 + FLAGS));
}

template <FORM F>
void call_dprintf(GUEST_CALL& call) {
    const int descriptor = int_argument(call, 0);
    const std::string text = formatted(call, F, 1);
    if (descriptor == 1 || descriptor == 2) return print(call, standard_stream_of(call, descriptor), text);
    set_errno(call.library, EBADF);
    give(call, -1);
}

template <FORM F>
void call_sprintf(GUEST_CALL& call) {
    const std::string text = formatted(call, F, 1);
    write_text(call.machine, word_argument(call, 0), text);
    give(call, static_cast<int64_t>(text.size()));
}

void store_within(GUEST_CALL& call, const std::string& text, uint32_t room) {
    if (room) write_text(call.machine, word_argument(call, 0), std::string_view(text).substr(0, room - 1));
    give(call, static_cast<int64_t>(text.size()));
}

template <FORM F>
void call_snprintf(GUEST_CALL& call) {
    const std::string text = formatted(call, F, 2);
    store_within(call, text, word_argument(call, 1));
}

// place, flag, room, format
template <FORM F>
void call_sprintf_chk(GUEST_CALL& call) {
    const std::string text = formatted(call, F, 3);
    const uint32_t room = word_argument(call, 2);
    if (text.size() >= room)
        trap(call.machine, "sprintf: %zu bytes do not fit into %u", text.size() + 1, room);
    store_within(call, text, room);
}

// place, size, flag, room, format
template <FORM F>
void call_snprintf_chk(GUEST_CALL& call) {
    const std::string text = formatted(call, F, 4);
    const uint32_t size = word_argument(call, 1), room = word_argument(call, 3);
    if (size > room) trap(call.machine, "snprintf: %u bytes do not fit into %u", size, room);
    store_within(call, text, size);
}

template <FORM F, uint32_t FLAGS = 0>
void call_asprintf(GUEST_CALL& call) {
    const std::string text = formatted(call, F, 1 + FLAGS);
    const ADDRESS block = allocate_text(call.library, text);
    store(call.machine, word_argument(call, 0), block);
    give(call, block ? static_cast<int64_t>(text.size()) : -1);
}

// --- Input ---

template <FORM F>
void call_scanf(GUEST_CALL& call) {
    UNNAMED values = values_from(call, F, 1);
    SCANNED input{call.machine, &standard_stream_of(call, 0)};
    give(call, scan_values(input, word_argument(call, 0), values));
}

template <FORM F>
void call_fscanf(GUEST_CALL& call) {
    UNNAMED values = values_from(call, F, 2);
    SCANNED input{call.machine, &stream_argument(call, 0)};
    give(call, scan_values(input, word_argument(call, 1), values));
}

template <FORM F>
void call_sscanf(GUEST_CALL& call) {
    UNNAMED values = values_from(call, F, 2);
    SCANNED input{call.machine, nullptr, word_argument(call, 0)};
    give(call, scan_values(input, word_argument(call, 1), values));
}

constexpr FORM DIRECT = FORM::DIRECT, LIST = FORM::LIST;

const LIBRARY_ROW FORMATTING_ROWS[] = {
    {"_printf", call_printf<DIRECT>, CALL_EFFECT::SEEN},
    {"_vprintf", call_printf<LIST>, CALL_EFFECT::SEEN},
    {"___printf_chk", call_printf<DIRECT, 1>, CALL_EFFECT::SEEN},
    {"___vprintf_chk", call_printf<LIST, 1>, CALL_EFFECT::SEEN},
    {"_fprintf", call_fprintf<DIRECT>, CALL_EFFECT::SEEN},
    {"_vfprintf", call_fprintf<LIST>, CALL_EFFECT::SEEN},
    {"___fprintf_chk", call_fprintf<DIRECT, 1>, CALL_EFFECT::SEEN},
    {"___vfprintf_chk", call_fprintf<LIST, 1>, CALL_EFFECT::SEEN},
    {"_dprintf", call_dprintf<DIRECT>, CALL_EFFECT::SEEN},
    {"_vdprintf", call_dprintf<LIST>, CALL_EFFECT::SEEN},
    {"_sprintf", call_sprintf<DIRECT>, CALL_EFFECT::INSIDE},
    {"_vsprintf", call_sprintf<LIST>, CALL_EFFECT::INSIDE},
    {"___sprintf_chk", call_sprintf_chk<DIRECT>, CALL_EFFECT::INSIDE},
    {"___vsprintf_chk", call_sprintf_chk<LIST>, CALL_EFFECT::INSIDE},
    {"_snprintf", call_snprintf<DIRECT>, CALL_EFFECT::INSIDE},
    {"_vsnprintf", call_snprintf<LIST>, CALL_EFFECT::INSIDE},
    {"___snprintf_chk", call_snprintf_chk<DIRECT>, CALL_EFFECT::INSIDE},
    {"___vsnprintf_chk", call_snprintf_chk<LIST>, CALL_EFFECT::INSIDE},
    {"_asprintf", call_asprintf<DIRECT>, CALL_EFFECT::INSIDE},
    {"_vasprintf", call_asprintf<LIST>, CALL_EFFECT::INSIDE},
    {"___asprintf_chk", call_asprintf<DIRECT, 1>, CALL_EFFECT::INSIDE},
    {"___vasprintf_chk", call_asprintf<LIST, 1>, CALL_EFFECT::INSIDE},
    {"_scanf", call_scanf<DIRECT>, CALL_EFFECT::SEEN},
    {"_vscanf", call_scanf<LIST>, CALL_EFFECT::SEEN},
    {"___isoc99_scanf", call_scanf<DIRECT>, CALL_EFFECT::SEEN},
    {"___isoc99_vscanf", call_scanf<LIST>, CALL_EFFECT::SEEN},
    {"_fscanf", call_fscanf<DIRECT>, CALL_EFFECT::SEEN},
    {"_vfscanf", call_fscanf<LIST>, CALL_EFFECT::SEEN},
    {"___isoc99_fscanf", call_fscanf<DIRECT>, CALL_EFFECT::SEEN},
    {"___isoc99_vfscanf", call_fscanf<LIST>, CALL_EFFECT::SEEN},
    {"_sscanf", call_sscanf<DIRECT>, CALL_EFFECT::INSIDE},
    {"_vsscanf", call_sscanf<LIST>, CALL_EFFECT::INSIDE},
    {"___isoc99_sscanf", call_sscanf<DIRECT>, CALL_EFFECT::INSIDE},
    {"___isoc99_vsscanf", call_sscanf<LIST>, CALL_EFFECT::INSIDE},
};

} // namespace

std::span<const LIBRARY_ROW> formatting_functions() { return FORMATTING_ROWS; }

} // namespace pelorus
