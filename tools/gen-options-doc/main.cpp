// Prints docs/options.md from the option table:
//
//   gen-options-doc > docs/options.md
//
// The rules of reading an option and the text about pseudo-options stand here; every fact about a single
// option comes from driver/options/options.def, and the defaults from the settings record.
#include <cstdio>
#include <initializer_list>
#include <string>

#include "driver/options/option_table.h"
#include "support/settings.h"

namespace pelorus {

namespace {

enum class SETTING_SOURCE : uint8_t { OTHER, CONSTANT, ARGUMENT };

// What an option sets, in words.
struct SETTING_DOC {
    SETTING_SOURCE source;
    const char* text; // the setting's name, or a description when the source is OTHER
    int32_t value;    // of CONSTANT
    int32_t normal;   // the setting's default; 0 for OTHER
};

struct OPTION_DOC {
    const char* help;
    bool is_read;
    SETTING_DOC setting;
};

constexpr SETTINGS DEFAULTS;
constexpr bool READ = true;
constexpr bool UNREAD = false;

constexpr OPTION_DOC DOCS[OPTION_COUNT] = {
#define SETS(setting, value) {SETTING_SOURCE::CONSTANT, #setting, (value), DEFAULTS.setting}
#define SETS_NUMBER(setting) {SETTING_SOURCE::ARGUMENT, #setting, 0, DEFAULTS.setting}
#define SETS_OTHER(text)     {SETTING_SOURCE::OTHER, text, 0, 0}

#define OPTION(code, id, name, kind, argument, minimum, maximum, radix, effect, status, help)                \
    {help, status, effect},
#include "driver/options/options.def"
};

constexpr const char* INTRODUCTION = R"(# Options of the optimizer

This file is printed by `gen-options-doc` from `src/driver/options/options.def`; change that table.

    pelorus [-options] input [output]

## How an option is written

- An option begins with `-`. The names below include that `-`; those that begin with `--` are names that begin
  with `-` themselves.
- One word may hold several options: `-o2i10Z1` is `-o2 -i10 -Z1`. Where several names fit, the longest
  counts: `-op1` is the mode of the file, not a level.
- An argument stands right behind the name (`-o2`), or behind `=` (`--code_state=16`), or is the next word
  (`-o 2`). A number ends where its digits end; every other argument takes the rest of the word. The
  level of `--trace` may be left out, so it is never the next word.
- Numbers are decimal; those shown in hexadecimal are hexadecimal, with or without `0x`.
- Enumerated values may be written in either case. So may names, but the optimizer warns: `-O2` must be `-o2`.
- An option given twice counts with its last argument; a list option gathers all of them.
- A missing argument, a number out of its range, a value that is none or a conflict ends the run with status
  1. Behind the message stands where the option was given, when that was not the command line.
- What means nothing is passed over without a message: a word, or the rest of a word, that begins with no
  known name (`-i10k` is `-i10`), a name of `--debug` or `--disable` that nothing asks for, a step of
  `--skip_step` that cannot be left out. `--debug=strict` makes each of them an error, with a guess at what
  was meant. `-#` in front of the others shows on the standard output how each word is read.
- The input file may carry option sets, and a function options of its own. The command line wins over the
  file's sets; a function's options replace the level, the inline threshold, the code size and the code state
  for that function, starting from the defaults, and may not take their arguments from a following word.
  Everything else that they set, pseudo-options included, is laid over what the command line gave; after the
  function all of it is taken back. What concerns the run as a whole has no effect there: `--help`,
  `--version`, `--trace`, `--info`, `--info_file`, `--ignore_file_options`.
)";

constexpr const char* FILES = R"(
## Files and exit statuses

- Without a second name the output is the input's name with the extension `.opt`. `-` is the standard output;
  it may be a pipe, and what the optimizer would print there goes to the standard error stream then.
- The information file is the input's name with the extension `.nfo`, unless `--info_file` names it, the debug
  trace with the extension `.odb`. An input with two extensions, such as `prog.c.if`, gives `prog.c` for
  output and information file. A derived name is refused when a file lies there that is plainly not the
  optimizer's, and no two files of a run may be the same, by whatever names or links.
- Exit status 0: the output is complete. 1: an error in options, files or input, an impossible state, or rules
  broken under `--debug=verify`; there is no output then, but for `--debug=verify` and `--keep_opt_ifile`. A
  write that fails, because a disk is full or a limit reached, is such an error.
- Exit status 2: a fatal signal. The report names the function; nothing else is touched, so what was written
  of the output until then stays and is not complete.
)";

constexpr const char* PSEUDO_OPTIONS = R"(
## Pseudo-options

`--debug=` and `--disable=` take names, separated by `,`, that single passes ask for: `--debug=zalloc` sets
the key `debug:zalloc` to 1, `--disable=simpcfg` sets `disable:simpcfg`. A name may have a value:
`--debug=dump_after=3` sets `debug:dump_after` to 3; with `debug:` or `disable:` in front it is a whole key,
so that `--debug=debug:dump_after=3` says the same. `docs/passes.md` lists the names that something asks for.
A name that nothing asks for has no effect, unless `--debug=strict` refuses it.
)";

constexpr const char* OPTIONS_HEADING = R"(
## The options

"Sets" names the word of `src/support/settings.h`, or what else the option acts on. An option marked † is
read, checked and stored, but nothing acts on it yet, because what it steers is not built.

| Option | Argument | What it does | Sets | Code |
|---|---|---|---|---|
)";

constexpr const char* CONFLICTS_HEADING = R"(
## Conflicts

What giving one option means for another that was given before it. Other pairs do not interact.

| Option | given after | Effect |
|---|---|---|
)";

bool is_long_name(const OPTION_ROW& row) { return row.name_length > 1 && option_name(row).text[0] == '-'; }

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) text += part;
    return text;
}

std::string upper_case(std::string text) {
    for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - ('a' - 'A') : c);
    return text;
}

// As the user types it: "-oLEVEL", "--arch=VERSION".
std::string spelling(const OPTION_ROW& row) {
    std::string text = joined({"-", option_name(row).view()});
    if (row.kind == OPTION_KIND::NONE) return text;
    if (is_long_name(row)) text += "=";
    return text + upper_case(row.argument);
}

std::string number_text(int64_t number, bool is_hexadecimal) {
    char text[32];
    if (is_hexadecimal) {
        snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(number));
    } else {
        snprintf(text, sizeof text, "%lld", static_cast<long long>(number));
    }
    return text;
}

std::string value_list(int code) {
    std::string list;
    for (const OPTION_VALUE& value : option_values()) {
        if (value.code != code) continue;
        if (!list.empty()) list += ", ";
        list += joined({"`", value.text, "`"});
    }
    return list;
}

std::string allowed_arguments(const OPTION_ROW& row) {
    const bool is_hexadecimal = row.kind == OPTION_KIND::HEXNUM;
    switch (row.kind) {
    case OPTION_KIND::NONE: return "";
    case OPTION_KIND::STRING: return "text";
    case OPTION_KIND::STRING_LIST: return "text, may be repeated";
    case OPTION_KIND::ENUMERATED: return value_list(row.code);
    case OPTION_KIND::NUMBER:
    case OPTION_KIND::HEXNUM:
    case OPTION_KIND::NUMBER_LIST: break;
    }
    const std::string range =
        number_text(row.minimum, is_hexadecimal) + " to " + number_text(row.maximum, is_hexadecimal);
    if (row.argument_left_out >= 0) return range + ", may be left out";
    return row.kind == OPTION_KIND::NUMBER_LIST ? range + ", several with `,`" : range;
}

std::string setting_text(const SETTING_DOC& setting) {
    const std::string value = std::to_string(setting.value);
    const std::string normal = std::to_string(setting.normal);
    switch (setting.source) {
    case SETTING_SOURCE::OTHER: return setting.text;
    case SETTING_SOURCE::CONSTANT:
        return joined({"`", setting.text, "` = ", value, " (default ", normal, ")"});
    case SETTING_SOURCE::ARGUMENT: return joined({"`", setting.text, "` (default ", normal, ")"});
    }
    return "";
}

void print_options() {
    fputs(OPTIONS_HEADING, stdout);
    for (const OPTION_ROW& row : option_rows()) {
        const OPTION_DOC& doc = DOCS[row.code];
        printf("| `%s`%s | %s | %s | %s | %d |\n", spelling(row).c_str(), doc.is_read ? "" : " †",
               allowed_arguments(row).c_str(), doc.help, setting_text(doc.setting).c_str(), row.code);
    }
}

const char* conflict_text(CONFLICT conflict) {
    switch (conflict) {
    case CONFLICT::NONE: break;
    case CONFLICT::CLEARS: return "replaces it";
    case CONFLICT::OVERRIDES: return "replaces it, with a warning";
    case CONFLICT::FAILS: return "is an error";
    }
    return "";
}

void print_conflicts() {
    fputs(CONFLICTS_HEADING, stdout);
    for (const OPTION_ROW& row : option_rows()) {
        for (const OPTION_ROW& earlier : option_rows()) {
            const CONFLICT conflict = option_conflict(row.code, earlier.code);
            if (conflict == CONFLICT::NONE) continue;
            printf("| `-%s` | `-%s` | %s |\n", option_name(row).c_str(), option_name(earlier).c_str(),
                   conflict_text(conflict));
        }
    }
}

} // namespace

} // namespace pelorus

int main() {
    fputs(pelorus::INTRODUCTION, stdout);
    pelorus::print_options();
    pelorus::print_conflicts();
    fputs(pelorus::FILES, stdout);
    fputs(pelorus::PSEUDO_OPTIONS, stdout);
    return fflush(stdout) == 0 ? 0 : 1;
}
