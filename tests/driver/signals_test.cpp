#include "driver/signals.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include "ir/funinfo.h"
#include "support/run.h"

namespace pelorus {
namespace {

class Signals : public testing::Test {
protected:
    void SetUp() override {
        run = RUN();
        run.program_name = "opt";
        run.input_name = "in.if";
    }
    void TearDown() override { run = RUN(); }

    static std::string report(int signal_number) {
        testing::internal::CaptureStderr();
        report_signal(signal_number);
        return testing::internal::GetCapturedStderr();
    }
    static std::string expected(const std::string& what, const std::string& function) {
        return "\nINTERNAL ERROR: opt " + what + " while\n                processing function " + function +
               " file in.if\n\nThis is a serious problem.  Please contact Customer\n"
               "Support with this message and a copy of the input file\n"
               "and help us to continue to make the tools more robust.\n\n";
    }
};

TEST_F(Signals, ReportNamesTheFaultAndTheFunction) {
    FUNINFO info{};
    info.name = "work";
    run.current_function = &info;
    EXPECT_EQ(report(SIGILL), expected("executed an illegal instruction", "work"));
    EXPECT_EQ(report(SIGFPE), expected("received a floating point exception", "work"));
    EXPECT_EQ(report(SIGSEGV), expected("experienced a segmentation fault", "work"));
    EXPECT_EQ(report(SIGABRT), expected("aborted", "work"));
    EXPECT_EQ(report(SIGINT), expected("experienced a fatal internal fault", "work"));
    EXPECT_EQ(report(SIGTERM), "[opt received a terminate signal]\n");
}

TEST_F(Signals, ReportDoesNotFollowWhatCannotBeAPointer) {
    const std::string unknown = expected("aborted", "<unknown>");
    EXPECT_EQ(report(SIGABRT), unknown);
    run.current_function = reinterpret_cast<FUNINFO*>(uintptr_t{1000});
    EXPECT_EQ(report(SIGABRT), unknown);
    FUNINFO info{};
    info.name = reinterpret_cast<const char*>(uintptr_t{1000});
    run.current_function = &info;
    EXPECT_EQ(report(SIGABRT), unknown);
}

TEST_F(Signals, EveryFatalSignalEndsTheProcessWithStatus2) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto die = [](int signal_number) {
        install_signal_handlers();
        raise(signal_number);
    };
    for (const int signal_number : {SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGINT})
        EXPECT_EXIT(die(signal_number), testing::ExitedWithCode(2), "INTERNAL ERROR: opt ");
    EXPECT_EXIT(die(SIGTERM), testing::ExitedWithCode(2), "opt received a terminate signal");
}

// Deeper than any stack; each frame depends on the one above.
int descend(const volatile char* above, int depth) {
    volatile char frame[4096];
    frame[0] = above[0];
    return depth ? descend(frame, depth - 1) + frame[0] : frame[0];
}

TEST_F(Signals, AStackThatOverflowedLeavesRoomForTheReport) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto overflow = [] {
        install_signal_handlers();
        const volatile char top = 0;
        exit(descend(&top, 1 << 24));
    };
    EXPECT_EXIT(overflow(), testing::ExitedWithCode(2), "opt experienced a segmentation fault while");
}

} // namespace
} // namespace pelorus
