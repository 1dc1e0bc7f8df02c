// Every function of the library with arguments of any kind: whatever a program hands over, the run ends or
// goes on, and the host comes to no harm, which the sanitizers watch.
//
// PELORUS_RANDOM_CALLS=n in the environment makes n calls of each function.
#include "library/library_fixture.h"

#include <fcntl.h>
#include <random>
#include <unistd.h>

#include "icode-run/library_call.h"

namespace pelorus {
namespace {

#ifdef PELORUS_SANITIZED
constexpr int USUAL_CALLS = 100;
#else
constexpr int USUAL_CALLS = 400;
#endif

std::vector<const LIBRARY_ROW*> all_rows() {
    std::vector<const LIBRARY_ROW*> rows;
    for (const auto& table : library_tables())
        for (const LIBRARY_ROW& row : table) rows.push_back(&row);
    return rows;
}

// Work that grows with the value of an argument: the order of a Bessel function.
bool takes_long(std::string_view name) { return name.starts_with("_jn") || name.starts_with("_yn"); }

class RandomCalls : public Library {
protected:
    RandomCalls() {
        const int nothing = open("/dev/null", O_RDONLY);
        dup2(nothing, STDIN_FILENO);
        close(nothing);
        for (const char* name : {"_stdin", "_stdout", "_stderr"})
            addresses.push_back(load_at<ADDRESS>(find_library_variable(*library, name)));
        for (const char* bytes :
             {"", "%d %s %lld", "%5.3f|%n", "%[a-f]%i", "w+", "name", "12.5e3 0x1F abc", "-99999999999"})
            addresses.push_back(text(bytes));
        for (uint32_t size : {0u, 1u, 4u, 16u, 200u}) addresses.push_back(block(size));
        addresses.push_back(function([](const auto&) { return int64_t{-1}; }));
        addresses.push_back(function([](const auto&) { return int64_t{0}; }));
    }

    uint32_t pick(uint32_t count) { return static_cast<uint32_t>(random() % count); }

    GUEST_VALUE any_value() {
        static const int64_t NUMBERS[] = {0,  1,    2,   3,         8,         16,         100,
                                          -1, -128, 255, INT32_MAX, INT32_MIN, UINT32_MAX, INT64_MIN};
        static const double REALS[] = {0.0, -1.5, 1e300, -1e300, 5e-324, 1.0 / 0.0, 0.0 / 0.0};
        switch (pick(8)) {
        case 0:
        case 1:
        case 2: return ARG(static_cast<int>(NUMBERS[pick(std::size(NUMBERS))])).value;
        case 3: return ARG(static_cast<long long>(NUMBERS[pick(std::size(NUMBERS))])).value;
        case 4: return ARG(REALS[pick(std::size(REALS))]).value;
        case 5: {
            GUEST_VALUE list;
            list.kind = GUEST_VALUE::STRUCTURE;
            list.structure_size = 4;
            list.address = addresses[pick(static_cast<uint32_t>(addresses.size()))];
            return list;
        }
        default:
            return ARG(addresses[pick(static_cast<uint32_t>(addresses.size()))] + (pick(4) ? 0 : pick(9)))
                .value;
        }
    }

    // False when the program has ended.
    void call_at_random(const LIBRARY_ROW& row) {
        std::vector<GUEST_VALUE> values(pick(6));
        for (GUEST_VALUE& value : values) value = any_value();
        GUEST_VALUE result;
        result.kind = static_cast<GUEST_VALUE::KIND>(pick(4));
        result.size = 4;
        GUEST_CALL made{machine, *library, values.data(), static_cast<uint32_t>(values.size()), result};
        try {
            row.function(made);
            ++returned;
        } catch (const Trap&) {
        } catch (const Unsupported&) {
        } catch (const Exit&) {
        }
    }

    std::vector<ADDRESS> addresses;
    std::mt19937 random{1};
    int returned = 0;
};

TEST_F(RandomCalls, DoNoHarm) {
    const char* wanted = getenv("PELORUS_RANDOM_CALLS");
    const int calls = wanted ? atoi(wanted) : USUAL_CALLS; // of each function
    const std::vector<const LIBRARY_ROW*> rows = all_rows();
    for (const LIBRARY_ROW* row : rows) {
        if (takes_long(row->name)) continue;
        for (int i = 0; i < calls; ++i) call_at_random(*row);
    }
    EXPECT_GT(rows.size(), 500u);
    EXPECT_GT(returned, 25 * calls);
}

// No two rows have one name, and each is a linkage name.
TEST_F(RandomCalls, EveryRowIsFound) {
    for (const LIBRARY_ROW* row : all_rows()) {
        EXPECT_TRUE(row->name.starts_with("_")) << row->name;
        EXPECT_EQ(find_library_function(row->name), row) << row->name;
    }
}

} // namespace
} // namespace pelorus
