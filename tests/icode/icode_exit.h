// The reader's way out, as an exception.
#pragma once

namespace pelorus {

struct ICODE_EXIT {
    int status;
};
[[noreturn]] inline void throw_exit(int status) { throw ICODE_EXIT{status}; }

} // namespace pelorus
