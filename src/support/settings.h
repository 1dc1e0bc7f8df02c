// The option globals: the settings that passes read directly.
//
// They are set once from the command line; a saved copy is the baseline to which every function returns after
// a per-function override (driver/options/option_sets.h). docs/options.md says which option sets which word,
// and which words nothing reads yet because the pass that they steer is not built: those are kept, saved and
// restored like the others.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>

namespace pelorus {

struct SETTINGS {
    // What the driver itself reads or prints.
    int32_t optimization_level = 1; // 0 to 4; selects the pipeline
    int32_t inline_threshold = 1;   // a function is inlined when size times call sites does not exceed this
    int32_t code_size_level = -1;   // negative: optimize for speed; 0 or more: optimize for size
    int32_t thumb_state = 0;        // nonzero when 16-bit Thumb code is generated
    int32_t processor_version = 0;  // 0, 5 or 6; -1 and 0 mean none in particular
    int32_t all_volatile = 0;       // 1: every lvalue that is not automatic is treated as volatile
    int32_t file_level_mode = 0;  // 0 off, 1 whole program, 3 library, other: both; forced to 0 below level 3
    int32_t level4_inlining = 0;  // 1: functions below 63 size units are inlining candidates
    int32_t keep_unoptimized = 0; // 1: an override asked for a level below 1, so the code stays as it is

    // The file as a whole.
    int32_t system_functions = 1;    // 0: the names of the C library's functions mean nothing special
    int32_t program_mode = 0;        // 2: tail recursion goes at every level and non-local values are copied
    int32_t no_uncalled_warning = 0; // 1: no warning for functions that nothing calls
    int32_t alias_precision = 2; // 0: a pointer may point anywhere; 1: per function; 2: over the whole file

    // Single passes on a function.
    int32_t symbolic_debug = 0;    // 1: variables stay where a debugger looks for them; forced on at level 0
    int32_t no_tail_recursion = 0; // 1: self tail calls stay calls
    int32_t float_reassociate = 0; // 1: sums and products of floating values may be regrouped
    int32_t no_divide_replacement = 0; // 1: a division by a constant stays a division
    int32_t stack_sharing = 1;         // 0: variables whose lives do not overlap keep their own stack slots

    // Loops.
    int32_t no_unroll = 0;      // 1: no loop is unrolled
    int32_t unroll_limit = 195; // size units that a loop's body may reach by unrolling
    int32_t unroll_and_jam = 1; // 0: nests are not unrolled from the outside; forced off by vectorizing
    int32_t convert_ifs = 0;    // 1: conditions in loop bodies become selections; forced on by vectorizing
    int32_t collapse_loops = 0; // 1: perfect nests become one loop; forced on by vectorizing
    int32_t vectorize = 0;      // 1: loops over packed data become packed-data operations
    int32_t analyze_dependences =
        0; // 1: dependences are found for every loop, not only for those worth changing

    // The target.
    int32_t packed_data = 0;   // 1: the processor has packed-data (SIMD) instructions
    int32_t char_pointers = 0; // 1: conversions to character pointers are marked with an opcode of their own
    int32_t big_endian = 0;    // 1: the most significant byte of a word comes first in memory

    // Outputs and diagnostics.
    int32_t interleave_text = 0;       // 1: each statement's text is written before it as a comment
    int32_t output_comments = 0;       // 1: passes may leave comments about what they did in the output
    int32_t keep_output = 0;           // 1: the output file of a run that failed is wanted
    int32_t print_debug = 0;           // 1: the trace is wanted on the standard error stream
    int32_t instrument = 0;            // 1: main is instrumented
    int32_t advice_topics = 0;         // one bit a topic of optimization advice
    int32_t graph_dumps = 0;           // one bit a pipeline step after which the graph is drawn
    std::bitset<2500> skipped_steps{}; // by number: pipeline steps, and members of groups (1803: 18.3)
    int32_t trace_details = 0;         // 1: passes add their tables to the trace

    std::array<int32_t, 10>
        debug_digits{}; // per-digit debug flags; cleared when the debug option is not given
};

extern SETTINGS settings;

// Puts every setting back to its default.
void reset_settings();

} // namespace pelorus
