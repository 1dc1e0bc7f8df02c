// The reducer's passes, on the golden cases: what each takes away leaves good icode nearly always, so that
// few runs are in vain, and everything that a pass counts as an item goes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "icode/text_form.h"
#include "icode/validate_file.h"
#include "passes.h"
#include "unit.h"

namespace pelorus {
namespace {

struct SAMPLE {
    std::string name;
    PARTS_FILE file;
};

// What no golden case has.
constexpr const char* FURTHER = R"(header "f.c"
assembly "nop" @1:1:1
comment "first"
function @_f @1:1:1
    body
  label 3
    statement @1:2:5 UCALL:void(UAND:proc*(@_f))
    comment "second"
end_function @1:9:1
end
section types
type proc FUNCTION return=void
end
section file_names
file_name "f.c"
end
section symbols
symbol "_f" class=extdef flags=defined type=proc @1:1:1
end
)";

// The golden cases that are good icode.
std::vector<SAMPLE> samples() {
    std::vector<SAMPLE> all;
    const ASSEMBLY further = assemble_icode(FURTHER, "further");
    EXPECT_TRUE(further.good) << further.error;
    EXPECT_EQ(validate_icode(further.bytes, 0, {}), 0U);
    EXPECT_TRUE(take_apart(further.bytes, all.emplace_back("further", PARTS_FILE{}).file));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(PELORUS_TEST_DATA)) {
        if (entry.path().extension() != ".ict") continue;
        std::ostringstream text;
        text << std::ifstream(entry.path()).rdbuf();
        const ASSEMBLY assembly = assemble_icode(text.str(), entry.path().string());
        SAMPLE sample{entry.path().filename().string(), {}};
        if (!assembly.good || validate_icode(assembly.bytes, 0, {})) continue;
        EXPECT_TRUE(take_apart(assembly.bytes, sample.file)) << sample.name;
        all.push_back(std::move(sample));
    }
    return all;
}

bool is_good(PARTS_FILE& file) {
    number_calls(file);
    return validate_icode(put_together(file), 0, {}) == 0;
}

TEST(Reductions, TakeItemsAwayAndLeaveGoodIcode) {
    const std::vector<SAMPLE> all = samples();
    ASSERT_GT(all.size(), 30U);
    for (const REDUCTION& pass : reductions()) {
        size_t items = 0, good = 0;
        for (const SAMPLE& sample : all) {
            PARTS_FILE whole = sample.file;
            const size_t count = pass.count(whole);
            for (size_t i = 0; i < count; ++i) {
                PARTS_FILE smaller = sample.file;
                EXPECT_TRUE(pass.apply(smaller, i, 1)) << pass.name << ", " << sample.name;
                EXPECT_TRUE(put_together(smaller) != put_together(whole)) << pass.name << ", " << sample.name;
                good += is_good(smaller);
            }
            items += count;
            PARTS_FILE least = sample.file;
            if (count) pass.apply(least, 0, count);
        }
        EXPECT_GT(items, 0U) << pass.name << " finds nothing in any case";
        EXPECT_GT(good * 10, items * 7) << pass.name << ": " << good << " of " << items << " are good";
    }
}

// Symbols and types go with the numbers of those behind them.
TEST(Reductions, NumberAnewWhatStays) {
    for (const SAMPLE& sample : samples()) {
        PARTS_FILE file = sample.file;
        for (const REDUCTION& pass : table_reductions())
            if (std::string_view(pass.name).find("symbols") != std::string_view::npos ||
                std::string_view(pass.name) == "types")
                if (const size_t count = pass.count(file)) pass.apply(file, 0, count);
        EXPECT_TRUE(is_good(file)) << sample.name;
    }
}

} // namespace
} // namespace pelorus
