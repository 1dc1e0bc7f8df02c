// Turns an options object into settings; see options.h.
//
// 1. Go through the options that are on, by code: most set one word, as options.def says; the others have a
//    function each.
// 2. Force the settings that follow from others.
//
// What the driver itself does with an option (its streams, the help) is not here.
#include <cctype>
#include <cstdlib>

#include "driver/options/option_state.h"
#include "support/pseudo_options.h"

namespace pelorus {

namespace {

enum class EFFECT : uint8_t { OTHER, CONSTANT, NUMBER };

struct OPTION_EFFECT {
    int32_t SETTINGS::* setting; // null for OTHER
    int32_t value;               // of CONSTANT
    EFFECT effect;
};

constexpr OPTION_EFFECT EFFECTS[OPTION_COUNT] = {
#define SETS(setting, value) {&SETTINGS::setting, (value), EFFECT::CONSTANT}
#define SETS_NUMBER(setting) {&SETTINGS::setting, 0, EFFECT::NUMBER}
#define SETS_OTHER(text)     {nullptr, 0, EFFECT::OTHER}

#define OPTION(code, id, name, kind, argument, minimum, maximum, radix, effect, status, help) effect,
#include "driver/options/options.def"
#undef SETS
#undef SETS_NUMBER
#undef SETS_OTHER
};

// What the enumerated values of options.def stand for.
constexpr long CODE_STATE_THUMB = 4;
constexpr long SIMD_V6 = 6;
constexpr long PROCESSOR_NONE = 18;
constexpr long PROCESSOR_5 = 19;

void add_lists(const OPTIONS& options, int code, std::string_view prefix) {
    for (int i = 0; i < option_count(options, code); ++i)
        add_pseudo_options(prefix, option_text(options, code, i));
}

void apply_digits(const OPTIONS& options, SETTINGS& target) {
    for (int i = 0; i < option_count(options, OPT_DEBUG_DIGIT); ++i) {
        const std::string_view element = option_text(options, OPT_DEBUG_DIGIT, i);
        if (element.size() != 1 || !isdigit(static_cast<unsigned char>(element[0]))) {
            target.trace_details = 1;
        } else if (option_given(options, OPT_DEBUG)) {
            target.debug_digits[static_cast<size_t>(element[0] - '0')] = 1;
        }
    }
}

int32_t processor_version(long value) {
    if (value == PROCESSOR_NONE) return 0;
    return value == PROCESSOR_5 ? 5 : 6;
}

void apply_other(const OPTIONS& options, int code, SETTINGS& target) {
    switch (code) {
    case OPT_DEBUG_DIGIT: apply_digits(options, target); break;
    case OPT_CODE_STATE:
        if (option_value(options, code) == CODE_STATE_THUMB) target.thumb_state = 1;
        break;
    case OPT_PSEUDO_DEBUG: add_lists(options, code, "debug"); break;
    case OPT_PSEUDO_DISABLE: add_lists(options, code, "disable"); break;
    case OPT_SIMD: target.packed_data = option_value(options, code) == SIMD_V6; break;
    case OPT_ENDIAN: target.big_endian = option_value(options, code) != 0; break;
    case OPT_VECTORIZE: target.vectorize = target.analyze_dependences = 1; break;
    case OPT_PROCESSOR: target.processor_version = processor_version(option_value(options, code)); break;
    case OPT_SKIP_STEP:
        for (int i = 0; i < option_count(options, code); ++i) {
            target.skipped_steps.set(static_cast<size_t>(option_value(options, code, i)));
        }
        break;
    default: break; // the driver's
    }
}

void apply_option(const OPTIONS& options, int code, SETTINGS& target) {
    const OPTION_EFFECT& effect = EFFECTS[code];
    switch (effect.effect) {
    case EFFECT::CONSTANT: target.*effect.setting = effect.value; break;
    case EFFECT::NUMBER: target.*effect.setting = static_cast<int32_t>(option_value(options, code)); break;
    case EFFECT::OTHER: apply_other(options, code, target); break;
    }
}

void force_dependent_settings(const OPTIONS& options, SETTINGS& target) {
    if (!option_given(options, OPT_DEBUG)) target.debug_digits.fill(0);
    if (target.vectorize) {
        // Jammed nests hide the unit strides that the vectorizer looks for; straight, single loops show them.
        target.unroll_and_jam = 0;
        target.convert_ifs = 1;
        target.collapse_loops = 1;
    }
    if (target.interleave_text) target.output_comments = 1;
    if (target.optimization_level == 0) target.symbolic_debug = 1;
}

} // namespace

void apply_options(const OPTIONS& options, SETTINGS& target) {
    for (int code = 0; code < OPTION_COUNT; ++code) {
        if (option_enabled(options, code)) apply_option(options, code, target);
    }
    if (option_enabled(options, OPT_LEVEL) && target.optimization_level == 4) target.level4_inlining = 1;
    force_dependent_settings(options, target);
}

} // namespace pelorus
