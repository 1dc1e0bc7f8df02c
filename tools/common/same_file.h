// Whether two names are of one file, so that no program writes over what it reads.
#pragma once

#include <sys/stat.h>

#include <string>

namespace pelorus {

// Links of both kinds count as the file. False for names without a file, devices and pipes.
inline bool is_same_file(const std::string& a, const std::string& b) {
    struct stat first, second;
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && S_ISREG(first.st_mode) &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

} // namespace pelorus
