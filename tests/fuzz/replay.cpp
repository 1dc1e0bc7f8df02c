// Gives the files and folders that are named to a fuzz target, one after another, without a fuzzer.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "fuzz/target.h"

namespace {

namespace fs = std::filesystem;

void replay(const fs::path& path) {
    if (fs::is_directory(path)) {
        for (const auto& entry : fs::directory_iterator(path)) replay(entry.path());
        return;
    }
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    const std::string bytes = text.str();
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int count, char** arguments) {
    for (int i = 1; i < count; ++i) replay(arguments[i]);
}
