// complex.h, and the products and quotients of complex numbers that the compiler's library computes, all by
// the host's library. A complex number is a structure of two numbers of one type.
#include <complex>

#include "library_call.h"

namespace pelorus {

namespace {

template <typename T>
std::complex<T> number(GUEST_CALL& call, uint32_t index) {
    const GUEST_VALUE& value = argument(call, index);
    if (value.kind != GUEST_VALUE::STRUCTURE || value.structure_size != 2 * sizeof(T))
        trap(call.machine, "argument %u is no complex number", index + 1);
    const auto size = static_cast<uint32_t>(sizeof(T));
    return {load<T>(call.machine, value.address), load<T>(call.machine, value.address + size)};
}

template <typename T>
void give_number(GUEST_CALL& call, std::complex<T> value) {
    const T parts[] = {value.real(), value.imag()};
    give_structure(call, parts, sizeof parts);
}

template <typename T, std::complex<T> (*F)(const std::complex<T>&)>
void call_complex(GUEST_CALL& call) {
    give_number<T>(call, F(number<T>(call, 0)));
}

template <typename T, T (*F)(const std::complex<T>&)>
void call_real(GUEST_CALL& call) {
    give_real(call, static_cast<double>(F(number<T>(call, 0))));
}

template <typename T>
void call_complex_power(GUEST_CALL& call) {
    give_number<T>(call, std::pow(number<T>(call, 0), number<T>(call, 1)));
}

template <typename T>
std::complex<T> operand(GUEST_CALL& call, uint32_t index) {
    return {static_cast<T>(real_argument(call, index)), static_cast<T>(real_argument(call, index + 1))};
}

template <typename T>
void call_product(GUEST_CALL& call) {
    give_number<T>(call, operand<T>(call, 0) * operand<T>(call, 2));
}

template <typename T>
void call_quotient(GUEST_CALL& call) {
    give_number<T>(call, operand<T>(call, 0) / operand<T>(call, 2));
}

template <typename T>
T real_part(const std::complex<T>& z) {
    return z.real();
}

template <typename T>
T imaginary_part(const std::complex<T>& z) {
    return z.imag();
}

// The machine's long double is its double.
// NOLINTBEGIN(bugprone-macro-parentheses): names of templates and functions stand in none.
#define COMPLEX_ROWS_OF(NAME, FORM, FUNCTION)                                                                \
    {"_" NAME, FORM<double, FUNCTION<double>>, CALL_EFFECT::NONE},                                           \
        {"_" NAME "l", FORM<double, FUNCTION<double>>, CALL_EFFECT::NONE}, {                                 \
        "_" NAME "f", FORM<float, FUNCTION<float>>, CALL_EFFECT::NONE                                        \
    }
// NOLINTEND(bugprone-macro-parentheses)

const LIBRARY_ROW COMPLEX_ROWS[] = {
    COMPLEX_ROWS_OF("creal", call_real, real_part),
    COMPLEX_ROWS_OF("cimag", call_real, imaginary_part),
    COMPLEX_ROWS_OF("cabs", call_real, std::abs),
    COMPLEX_ROWS_OF("carg", call_real, std::arg),
    COMPLEX_ROWS_OF("conj", call_complex, std::conj),
    COMPLEX_ROWS_OF("cproj", call_complex, std::proj),
    COMPLEX_ROWS_OF("csqrt", call_complex, std::sqrt),
    COMPLEX_ROWS_OF("cexp", call_complex, std::exp),
    COMPLEX_ROWS_OF("clog", call_complex, std::log),
    COMPLEX_ROWS_OF("csin", call_complex, std::sin),
    COMPLEX_ROWS_OF("ccos", call_complex, std::cos),
    COMPLEX_ROWS_OF("ctan", call_complex, std::tan),
    COMPLEX_ROWS_OF("casin", call_complex, std::asin),
    COMPLEX_ROWS_OF("cacos", call_complex, std::acos),
    COMPLEX_ROWS_OF("catan", call_complex, std::atan),
    COMPLEX_ROWS_OF("csinh", call_complex, std::sinh),
    COMPLEX_ROWS_OF("ccosh", call_complex, std::cosh),
    COMPLEX_ROWS_OF("ctanh", call_complex, std::tanh),
    COMPLEX_ROWS_OF("casinh", call_complex, std::asinh),
    COMPLEX_ROWS_OF("cacosh", call_complex, std::acosh),
    COMPLEX_ROWS_OF("catanh", call_complex, std::atanh),
    {"_cpow", call_complex_power<double>, CALL_EFFECT::NONE},
    {"_cpowl", call_complex_power<double>, CALL_EFFECT::NONE},
    {"_cpowf", call_complex_power<float>, CALL_EFFECT::NONE},
    {"___mulsc3", call_product<float>, CALL_EFFECT::NONE},
    {"___muldc3", call_product<double>, CALL_EFFECT::NONE},
    {"___divsc3", call_quotient<float>, CALL_EFFECT::NONE},
    {"___divdc3", call_quotient<double>, CALL_EFFECT::NONE},
};

} // namespace

std::span<const LIBRARY_ROW> complex_functions() { return COMPLEX_ROWS; }

} // namespace pelorus
