// What several unit tests need.
#pragma once

#include <cstdio>
#include <string>

#include "support/trace.h"

namespace pelorus {

// Thrown by the tests' `fatal_exit`.
struct FatalExit {};

// Switches the debug trace on for the life of the object and collects what it prints.
class TraceCapture {
public:
    TraceCapture() : before_(trace_state) {
        trace_state.debug_output = 1;
        trace_state.debug_stream = open_memstream(&text_, &size_);
    }
    ~TraceCapture() {
        fclose(trace_state.debug_stream);
        free(text_);
        trace_state = before_;
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::string text() {
        fflush(trace_state.debug_stream);
        return std::string(text_, size_);
    }

private:
    TRACE before_;
    char* text_ = nullptr;
    size_t size_ = 0;
};

} // namespace pelorus
