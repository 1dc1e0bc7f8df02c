// See in_process.h.
#include "random/in_process.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "driver/driver.h"
#include "driver/files.h"
#include "support/settings.h"

namespace pelorus {

namespace {

struct PROCESS_ENDS {
    int status;
};

char messages[65536]; // more are lost

std::string take_messages() {
    fflush(stderr);
    const std::string text(messages, static_cast<size_t>(std::max(0L, ftell(stderr))));
    rewind(stderr);
    return text;
}

std::string bytes_of(const std::string& name) {
    std::string bytes;
    const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return bytes;
    bytes.resize(static_cast<size_t>(lseek(file, 0, SEEK_END)));
    const ssize_t count = pread(file, bytes.data(), bytes.size(), 0);
    bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
    close(file);
    return bytes;
}

} // namespace

WORKPLACE::WORKPLACE() : report_(stderr) {
    std::string pattern = access("/dev/shm", W_OK) == 0 ? "/dev/shm/pelorus-XXXXXX" : "/tmp/pelorus-XXXXXX";
    if (!mkdtemp(pattern.data())) {
        perror(pattern.c_str());
        exit(2);
    }
    folder_ = pattern;
    input_ = folder_ + "/in.if";
    output_ = folder_ + "/in.opt";
    // The streams and not their descriptors, on which sanitizers and fuzzers report.
    stdout = stderr = fmemopen(messages, sizeof messages, "w");
    end_process = [](int status) { throw PROCESS_ENDS{status}; };
}

WORKPLACE::~WORKPLACE() {
    for (const char* name : {"in.if", "in.opt", "in.odb", "in.nfo"}) unlink((folder_ + "/" + name).c_str());
    rmdir(folder_.c_str());
}

void WORKPLACE::put_input(std::string_view bytes) const {
    FILE* file = fopen(input_.c_str(), "wb");
    bool complete = file && fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (file) complete = fclose(file) == 0 && complete;
    if (complete) return;
    fprintf(report_, "%s cannot be written\n", input_.c_str());
    exit(2);
}

ENDED WORKPLACE::run(const std::function<int()>& program) const {
    ENDED result;
    try {
        result.status = program();
    } catch (const PROCESS_ENDS& end) {
        result.status = end.status;
    }
    result.messages = take_messages();
    reset_settings(); // what is volatile, for one, is what the options of the run said
    return result;
}

OPTIMIZED WORKPLACE::optimize(const std::vector<std::string>& options) const {
    std::vector<std::string> words{"pelorus"};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(input_);
    words.push_back(output_);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    unlink(output_.c_str());
    const ENDED ended =
        run([&] { return run_optimizer(static_cast<int>(arguments.size()), arguments.data()); });
    return {ended, bytes_of(output_)};
}

std::string words_of(const std::vector<std::string>& options) {
    std::string text;
    for (const std::string& option : options) text += " " + option;
    return text;
}

} // namespace pelorus
