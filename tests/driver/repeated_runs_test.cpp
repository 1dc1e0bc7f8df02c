// The optimizer many times in one process: each run must do what a process of its own does.
#include <fcntl.h>
#include <unistd.h>

#include <random>
#include <regex>

#include "driver/driver.h"
#include "driver/files.h"
#include "icode/text_form.h"
#include "ir/symbol.h"
#include "memory/zone.h"
#include "program_fixture.h"

namespace pelorus {
namespace {

namespace fs = std::filesystem;

#ifdef PELORUS_SANITIZED
constexpr size_t CASE_STEP = 6; // a process takes fifty times as long
#else
constexpr size_t CASE_STEP = 2;
#endif

struct ProcessEnd {
    int status;
};

struct JOB {
    std::string what; // for messages
    std::string input;
    std::vector<std::string> words;
};

struct OUTCOME {
    int status = 0;
    std::vector<std::string> texts; // output, trace, information, what was printed
    bool operator==(const OUTCOME&) const = default;
};

std::string golden_options(const std::string& text) {
    const size_t at = text.find("; RUN:");
    return at == std::string::npos ? "" : text.substr(at + 6, text.find('\n', at) - at - 6);
}

std::vector<std::string> words_of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

std::string damaged(std::string bytes, std::mt19937& dice) {
    if (dice() % 4 == 0) return bytes.substr(0, dice() % bytes.size());
    for (auto count = 1 + dice() % 3; count; --count)
        bytes[dice() % bytes.size()] = static_cast<char>(dice());
    return bytes;
}

// Every golden case at all levels, with switches that leave something behind, and damaged.
std::vector<JOB> all_jobs() {
    constexpr const char* SWITCHES[] = {
        "--debug=verify", "--trace",        "--debug=stats", "",   "--debug=zalloc",
        "--all_volatile", "--debug=strict", "--trace=2",     "-Z1"};
    std::vector<fs::path> paths;
    for (const auto& entry : fs::recursive_directory_iterator(PELORUS_TEST_DATA))
        if (entry.path().extension() == ".ict") paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::mt19937 dice(1);
    std::vector<JOB> jobs;
    for (size_t i = 0; i < paths.size(); i += CASE_STEP) {
        std::ostringstream text;
        text << std::ifstream(paths[i]).rdbuf();
        const std::string bytes = assemble_icode(text.str(), paths[i].string()).bytes;
        const auto add = [&](const std::string& input, const std::string& options) {
            jobs.push_back({paths[i].string() + " " + options, input, words_of(options)});
        };
        add(bytes, golden_options(text.str()));
        for (int level = 0; level <= 4; ++level) {
            const std::string options =
                "-o" + std::to_string(level) + " " + SWITCHES[jobs.size() % std::size(SWITCHES)];
            add(bytes, options);
            if (!bytes.empty()) add(damaged(bytes, dice), options);
        }
    }
    return jobs;
}

class RepeatedRuns : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        home_ = fs::current_path();
        fs::current_path(path("."));
        end_before_ = end_process;
        end_process = [](int status) { throw ProcessEnd{status}; };
    }
    void TearDown() override {
        end_process = end_before_;
        fs::current_path(home_);
        ProgramTest::TearDown();
    }

    OUTCOME in_this_process(const JOB& job) const {
        return outcome_of(job, [&] {
            std::vector<std::string> words{PELORUS_EXECUTABLE};
            words.insert(words.end(), job.words.begin(), job.words.end());
            words.emplace_back("case.if");
            std::vector<char*> arguments;
            for (std::string& word : words) arguments.push_back(word.data());
            return run_with_streams([&] {
                try {
                    return run_optimizer(static_cast<int>(words.size()), arguments.data());
                } catch (const ProcessEnd& end) {
                    return end.status;
                }
            });
        });
    }

    OUTCOME in_a_process_of_its_own(const JOB& job) const {
        return outcome_of(job, [&] {
            std::string words;
            for (const std::string& word : job.words) words += word + " ";
            return run_program(words + "case.if").status;
        });
    }

private:
    template <class RUN_JOB>
    OUTCOME outcome_of(const JOB& job, RUN_JOB run_job) const {
        for (const char* name : {"case.opt", "case.odb", "case.nfo"}) fs::remove(path(name));
        put("case.if", job.input);
        OUTCOME outcome{.status = run_job(), .texts = {}};
        static const std::regex times("[0-9.]+ sec for");
        for (const char* name : {"case.opt", "case.odb", "case.nfo", "stdout.txt", "stderr.txt"})
            outcome.texts.push_back(std::regex_replace(get(name), times, "sec for"));
        return outcome;
    }

    template <class RUN_JOB>
    static int run_with_streams(RUN_JOB run_job) {
        fflush(nullptr);
        const int before[] = {dup(1), dup(2)};
        const char* const names[] = {"stdout.txt", "stderr.txt"};
        for (int i = 0; i < 2; ++i) {
            const int file = open(names[i], O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(file, i + 1);
            close(file);
        }
        const int status = run_job();
        fflush(nullptr);
        for (int i = 0; i < 2; ++i) {
            dup2(before[i], i + 1);
            close(before[i]);
        }
        return status;
    }

    fs::path home_;
    void (*end_before_)(int) = nullptr;
};

TEST_F(RepeatedRuns, DoWhatFreshProcessesDoInAnyOrder) {
    const std::vector<JOB> jobs = all_jobs();
    std::vector<OUTCOME> expected;
    for (const JOB& job : jobs) expected.push_back(in_a_process_of_its_own(job));
    for (size_t i = 0; i < jobs.size(); ++i)
        EXPECT_EQ(in_this_process(jobs[i]).texts, expected[i].texts) << "forwards: " << jobs[i].what;
    for (size_t i = jobs.size(); i--;) {
        const OUTCOME outcome = in_this_process(jobs[i]);
        EXPECT_EQ(outcome.texts, expected[i].texts) << "backwards: " << jobs[i].what;
        EXPECT_EQ(outcome.status, expected[i].status) << jobs[i].what;
    }
}

// What a run leaves that an error ended within a pass lies in storage that the next run gives back.
TEST_F(RepeatedRuns, BeginAnewAfterOneThatEndedWithinAPass) {
    const JOB job{"good", file_of_functions({{"_f", 1}}).bytes(), {"-o3"}};
    const OUTCOME expected = in_this_process(job);
    expose_symbol(zone_new<SYMBOL>(false));
    EXPECT_EQ(in_this_process(job), expected);
}

// A process that may only have few files open does not run out of them.
TEST_F(RepeatedRuns, LeaveNoFileOpen) {
    const auto open_files = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const std::string good = file_of_functions({{"_f", 1}}).bytes();
    ICODE_FILE doubled = file_of_functions({{"_f", 1}});
    doubled.string_lists = record(111, BYTES().u(0).u(9).s("x"));
    const JOB jobs[] = {{"good", good, {"--trace", "-o3"}},
                        {"cut", good.substr(0, good.size() / 2), {"--trace", "-o3"}},
                        {"no icode", "text", {}},
                        {"string lists", doubled.bytes(), {}},
                        {"options", good, {"--debug=strict", "--unknown"}}};
    for (const JOB& job : jobs) in_this_process(job);
    const auto before = open_files();
    for (const JOB& job : jobs) in_this_process(job);
    EXPECT_EQ(open_files(), before);
}

} // namespace
} // namespace pelorus
