// The optimizer inside the test's own process, run after run.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace pelorus {

struct ENDED {
    int status = 0;
    std::string messages; // what was printed on both standard streams
};

struct OPTIMIZED : ENDED {
    std::string output; // the bytes of the file; empty when there is none
};

// A place for the files of one process: a folder in memory. The standard streams of the process lead into a
// buffer from then on; what the test itself has to say goes to `report`. One a process.
class WORKPLACE {
public:
    WORKPLACE();
    ~WORKPLACE();
    WORKPLACE(const WORKPLACE&) = delete;
    WORKPLACE& operator=(const WORKPLACE&) = delete;

    // Writes the input of the runs that follow.
    void put_input(std::string_view bytes) const;
    OPTIMIZED optimize(const std::vector<std::string>& options) const;
    // Runs anything that may end the process by the driver's ends.
    ENDED run(const std::function<int()>& program) const;
    FILE* report() const { return report_; }

private:
    std::string folder_, input_, output_;
    FILE* report_; // the standard error stream as it was
};

std::string words_of(const std::vector<std::string>& options);

} // namespace pelorus
