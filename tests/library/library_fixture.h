// A machine that does nothing but call library functions: memory, output and the ends of runs.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "icode-run/library.h"

namespace pelorus {

struct MACHINE {
    MEMORY* memory = nullptr;
    std::string output[3];
    std::map<ADDRESS, std::function<int64_t(const std::vector<GUEST_VALUE>&)>> functions;
};

// What the functions of the machine throw.
struct Trap : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct Unsupported : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct Exit {
    int status;
};

// An argument of a call.
struct ARG {
    GUEST_VALUE value;
    ARG(int number) : ARG(int64_t{number}, 4) {}
    ARG(uint32_t number) : ARG(int64_t{number}, 4) {} // an address too
    ARG(long long number) : ARG(int64_t{number}, 8) {}
    ARG(double number) {
        value.kind = GUEST_VALUE::FLOATING;
        value.size = 8;
        value.floating = number;
    }
    ARG(const GUEST_VALUE& given) : value(given) {}

private:
    ARG(int64_t number, uint8_t size) {
        value.kind = GUEST_VALUE::INTEGER;
        value.size = size;
        value.integer = number;
    }
};

class Library : public testing::Test {
protected:
    Library();
    ~Library() override;

    // Memory of malloc with these bytes and a zero byte behind them.
    ADDRESS text(std::string_view bytes);
    std::string at(ADDRESS place);
    ADDRESS block(uint32_t size) { return word("_malloc", {size}); }
    template <typename T>
    T load_at(ADDRESS place) {
        T value;
        memcpy(&value, read_place(machine, place, sizeof value), sizeof value);
        return value;
    }
    template <typename T>
    void store_at(ADDRESS place, T value) {
        memcpy(write_place(machine, place, sizeof value), &value, sizeof value);
    }

    GUEST_VALUE call(std::string_view name, std::initializer_list<ARG> arguments, GUEST_VALUE::KIND kind,
                     uint8_t size);
    int32_t number(std::string_view name, std::initializer_list<ARG> arguments) {
        return static_cast<int32_t>(call(name, arguments, GUEST_VALUE::INTEGER, 4).integer);
    }
    int64_t wide(std::string_view name, std::initializer_list<ARG> arguments) {
        return call(name, arguments, GUEST_VALUE::INTEGER, 8).integer;
    }
    ADDRESS word(std::string_view name, std::initializer_list<ARG> arguments) {
        return call(name, arguments, GUEST_VALUE::POINTER, 4).address;
    }
    double real(std::string_view name, std::initializer_list<ARG> arguments) {
        return call(name, arguments, GUEST_VALUE::FLOATING, 8).floating;
    }
    // The message of the trap that the call ends in; "" when it does not.
    std::string trapped(std::string_view name, std::initializer_list<ARG> arguments);
    int32_t error() { return load_at<int32_t>(word("___errno_location", {})); }
    std::string printed(std::string_view format, std::initializer_list<ARG> arguments);
    // A function of the program.
    ADDRESS function(std::function<int64_t(const std::vector<GUEST_VALUE>&)> code);

    MACHINE machine;
    std::string folder; // where the program's files are
    LIBRARY* library;
};

} // namespace pelorus
