// What the tests of the options share: an object, its words, and an exit that a test can see.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "driver/files.h"
#include "driver/options/options.h"
#include "support/pseudo_options.h"

namespace pelorus {

// Thrown in place of ending the run.
struct OptionExit {
    int status;
};

// What a call prints on a standard stream, and the status with which it ended the run, -1 when it did not.
struct Outcome {
    std::string output;
    std::string errors;
    int status = -1;
};

class OptionsTest : public testing::Test {
protected:
    void SetUp() override {
        exit_before_ = end_process;
        end_process = [](int status) { throw OptionExit{status}; };
        options_ = new_options();
        clear_pseudo_options();
        reset_settings();
    }
    void TearDown() override {
        release_options(options_);
        end_process = exit_before_;
        clear_pseudo_options();
        reset_settings();
    }

    static Outcome observe(const std::function<void()>& call) {
        Outcome outcome;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        try {
            call();
        } catch (const OptionExit& exit) {
            outcome.status = exit.status;
        }
        outcome.output = testing::internal::GetCapturedStdout();
        outcome.errors = testing::internal::GetCapturedStderr();
        return outcome;
    }

    // Parses one text that is to be accepted whole.
    Outcome parse(const std::string& text) {
        return observe([&] { EXPECT_TRUE(parse_option(*options_, text, words())) << text; });
    }

    // The error message of a text that is to end the run, in a fresh object.
    static std::string error_of(const std::string& text) {
        OPTIONS* options = new_options();
        const Outcome outcome = observe([&] { parse_option(*options, text); });
        release_options(options);
        EXPECT_EQ(outcome.status, 1) << text;
        return outcome.errors;
    }

    ARGUMENT_SOURCE words() { return {next_word, this}; }
    static const char* next_word(void* test) {
        auto& words = static_cast<OptionsTest*>(test)->words_;
        if (words.empty()) return nullptr;
        static std::string word;
        word = words.front();
        words.erase(words.begin());
        return word.c_str();
    }

    OPTIONS* options_ = nullptr;
    std::vector<std::string> words_; // the words that still follow

private:
    void (*exit_before_)(int) = nullptr;
};

} // namespace pelorus
