// math.h, by the host's library. The machine's long double is its double, so that each function of double has
// two names; those of float are computed in float.
#include <cerrno>
#include <cmath>
#include <limits>
#include <math.h>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

// Calls a function of the host and hands on the error that it reports.
template <typename FUNCTION>
auto with_errno(GUEST_CALL& call, const FUNCTION& function) {
    errno = 0;
    const auto result = function();
    if (errno) set_errno(call.library, errno);
    return result;
}

template <typename T>
T real(GUEST_CALL& call, uint32_t index) {
    return static_cast<T>(real_argument(call, index));
}

// Gives the result of an operation on `operands`. A NaN that comes of numbers is positive here, whatever sign
// the host's processor gives it.
template <typename T, typename... OPERANDS>
void give_result(GUEST_CALL& call, T result, OPERANDS... operands) {
    const bool is_made = std::isnan(result) && !(std::isnan(operands) || ...);
    give_real(call, static_cast<double>(is_made ? std::numeric_limits<T>::quiet_NaN() : result));
}

// One template a form of function: R a floating-point number, I an int, L a long, P a place for a result.

template <typename T, T (*F)(T)>
void call_r(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    give_result(call, with_errno(call, [&] { return F(x); }), x);
}

template <typename T, T (*F)(T, T)>
void call_rr(GUEST_CALL& call) {
    const T x = real<T>(call, 0), y = real<T>(call, 1);
    give_result(call, with_errno(call, [&] { return F(x, y); }), x, y);
}

template <typename T, T (*F)(T, T, T)>
void call_rrr(GUEST_CALL& call) {
    const T x = real<T>(call, 0), y = real<T>(call, 1), z = real<T>(call, 2);
    give_result(call, with_errno(call, [&] { return F(x, y, z); }), x, y, z);
}

template <typename T, T (*F)(T, int)>
void call_ri(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    const int n = int_argument(call, 1);
    give_result(call, with_errno(call, [&] { return F(x, n); }), x);
}

template <typename T, T (*F)(int, T)>
void call_ir(GUEST_CALL& call) {
    const int n = int_argument(call, 0);
    const T x = real<T>(call, 1);
    give_result(call, with_errno(call, [&] { return F(n, x); }), x);
}

template <typename T, int (*F)(T)>
void call_r_to_int(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    give(call, with_errno(call, [&] { return F(x); }));
}

// A result that a long of 32 bits cannot hold is no certain number: the machine's library gives the nearest
// one.
template <typename T, long long (*F)(T)>
void call_r_to_long(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    const long long exact = with_errno(call, [&] { return F(x); });
    const bool fits = exact == static_cast<int32_t>(exact);
    give(call, fits    ? exact
               : x > 0 ? std::numeric_limits<int32_t>::max()
                       : std::numeric_limits<int32_t>::min());
}

template <typename T, long long (*F)(T)>
void call_r_to_wide(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    give(call, with_errno(call, [&] { return F(x); }));
}

template <typename T>
void call_frexp(GUEST_CALL& call) {
    int exponent = 0;
    const T fraction = std::frexp(real<T>(call, 0), &exponent);
    store(call.machine, word_argument(call, 1), exponent);
    give_real(call, static_cast<double>(fraction));
}

template <typename T>
void call_modf(GUEST_CALL& call) {
    T whole = 0;
    const T fraction = std::modf(real<T>(call, 0), &whole);
    store(call.machine, word_argument(call, 1), whole);
    give_real(call, static_cast<double>(fraction));
}

template <typename T>
void call_remquo(GUEST_CALL& call) {
    int quotient = 0;
    const T x = real<T>(call, 0), y = real<T>(call, 1);
    const T rest = with_errno(call, [&] { return std::remquo(x, y, &quotient); });
    store(call.machine, word_argument(call, 2), quotient);
    give_result(call, rest, x, y);
}

template <typename T>
void call_sincos(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    const T sine = with_errno(call, [&] { return std::sin(x); });
    const bool is_made = std::isinf(x);
    store(call.machine, word_argument(call, 1), is_made ? std::numeric_limits<T>::quiet_NaN() : sine);
    store(call.machine, word_argument(call, 2), is_made ? std::numeric_limits<T>::quiet_NaN() : std::cos(x));
}

template <typename T>
void call_lgamma(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    const T result = with_errno(call, [&] { return std::lgamma(x); });
    store(call.machine, find_library_variable(call.library, "_signgam"), ::signgam);
    give_real(call, static_cast<double>(result));
}

template <typename T>
void call_lgamma_r(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    int sign = 0;
    const T result = with_errno(call, [&] {
        if constexpr (sizeof(T) == 4)
            return ::lgammaf_r(x, &sign);
        else
            return ::lgamma_r(x, &sign);
    });
    store(call.machine, word_argument(call, 1), sign);
    give_real(call, static_cast<double>(result));
}

template <typename T>
void call_nan(GUEST_CALL& call) {
    const std::string text(read_text(call.machine, word_argument(call, 0)));
    if constexpr (sizeof(T) == 4)
        give_real(call, static_cast<double>(::nanf(text.c_str())));
    else
        give_real(call, ::nan(text.c_str()));
}

// --- Classes of numbers ---

template <typename T>
void call_isnan(GUEST_CALL& call) {
    give(call, std::isnan(real<T>(call, 0)));
}
template <typename T>
void call_finite(GUEST_CALL& call) {
    give(call, std::isfinite(real<T>(call, 0)));
}
template <typename T>
void call_signbit(GUEST_CALL& call) {
    give(call, std::signbit(real<T>(call, 0)));
}
template <typename T>
void call_fpclassify(GUEST_CALL& call) {
    give(call, std::fpclassify(real<T>(call, 0)));
}
template <typename T>
void call_isinf(GUEST_CALL& call) {
    const T x = real<T>(call, 0);
    give(call, !std::isinf(x) ? 0 : x > 0 ? 1 : -1);
}

// A row for double, long double and float each. FORM is the template, F the host's function.
// NOLINTBEGIN(bugprone-macro-parentheses): names of templates and functions stand in none.
#define ROWS_OF(NAME, FORM, F)                                                                               \
    {"_" NAME, FORM<double, ::F>, CALL_EFFECT::NONE}, {"_" NAME "l", FORM<double, ::F>, CALL_EFFECT::NONE},  \
    {                                                                                                        \
        "_" NAME "f", FORM<float, ::F##f>, CALL_EFFECT::NONE                                                 \
    }
#define ROWS_OF_NAME(F, FORM) ROWS_OF(#F, FORM, F)
#define ROWS_OF_TYPES(NAME, FUNCTION, EFFECT)                                                                \
    {"_" NAME, FUNCTION<double>, CALL_EFFECT::EFFECT},                                                       \
        {"_" NAME "l", FUNCTION<double>, CALL_EFFECT::EFFECT}, {                                             \
        "_" NAME "f", FUNCTION<float>, CALL_EFFECT::EFFECT                                                   \
    }
// NOLINTEND(bugprone-macro-parentheses)

const LIBRARY_ROW MATH_ROWS[] = {
    ROWS_OF_NAME(sin, call_r),
    ROWS_OF_NAME(cos, call_r),
    ROWS_OF_NAME(tan, call_r),
    ROWS_OF_NAME(asin, call_r),
    ROWS_OF_NAME(acos, call_r),
    ROWS_OF_NAME(atan, call_r),
    ROWS_OF_NAME(sinh, call_r),
    ROWS_OF_NAME(cosh, call_r),
    ROWS_OF_NAME(tanh, call_r),
    ROWS_OF_NAME(asinh, call_r),
    ROWS_OF_NAME(acosh, call_r),
    ROWS_OF_NAME(atanh, call_r),
    ROWS_OF_NAME(exp, call_r),
    ROWS_OF_NAME(exp2, call_r),
    ROWS_OF_NAME(exp10, call_r),
    ROWS_OF("pow10", call_r, exp10),
    ROWS_OF_NAME(expm1, call_r),
    ROWS_OF_NAME(log, call_r),
    ROWS_OF_NAME(log2, call_r),
    ROWS_OF_NAME(log10, call_r),
    ROWS_OF_NAME(log1p, call_r),
    ROWS_OF_NAME(logb, call_r),
    ROWS_OF_NAME(sqrt, call_r),
    ROWS_OF_NAME(cbrt, call_r),
    ROWS_OF_NAME(fabs, call_r),
    ROWS_OF_NAME(floor, call_r),
    ROWS_OF_NAME(ceil, call_r),
    ROWS_OF_NAME(trunc, call_r),
    ROWS_OF_NAME(round, call_r),
    ROWS_OF_NAME(rint, call_r),
    ROWS_OF_NAME(nearbyint, call_r),
    ROWS_OF_NAME(erf, call_r),
    ROWS_OF_NAME(erfc, call_r),
    ROWS_OF_NAME(tgamma, call_r),
    ROWS_OF_NAME(significand, call_r),
    ROWS_OF_NAME(j0, call_r),
    ROWS_OF_NAME(j1, call_r),
    ROWS_OF_NAME(y0, call_r),
    ROWS_OF_NAME(y1, call_r),
    ROWS_OF_NAME(pow, call_rr),
    ROWS_OF_NAME(atan2, call_rr),
    ROWS_OF_NAME(fmod, call_rr),
    ROWS_OF_NAME(remainder, call_rr),
    ROWS_OF("drem", call_rr, remainder),
    ROWS_OF_NAME(hypot, call_rr),
    ROWS_OF_NAME(fmax, call_rr),
    ROWS_OF_NAME(fmin, call_rr),
    ROWS_OF_NAME(fdim, call_rr),
    ROWS_OF_NAME(copysign, call_rr),
    ROWS_OF_NAME(nextafter, call_rr),
    ROWS_OF_NAME(scalb, call_rr),
    ROWS_OF_NAME(fma, call_rrr),
    ROWS_OF_NAME(ldexp, call_ri),
    ROWS_OF_NAME(scalbn, call_ri),
    ROWS_OF("scalbln", call_ri, scalbn),
    ROWS_OF_NAME(jn, call_ir),
    ROWS_OF_NAME(yn, call_ir),
    ROWS_OF_NAME(ilogb, call_r_to_int),
    ROWS_OF("lrint", call_r_to_long, llrint),
    ROWS_OF("lround", call_r_to_long, llround),
    ROWS_OF("llrint", call_r_to_wide, llrint),
    ROWS_OF("llround", call_r_to_wide, llround),
    ROWS_OF_TYPES("frexp", call_frexp, INSIDE),
    ROWS_OF_TYPES("modf", call_modf, INSIDE),
    ROWS_OF_TYPES("remquo", call_remquo, INSIDE),
    ROWS_OF_TYPES("sincos", call_sincos, INSIDE),
    ROWS_OF_TYPES("lgamma", call_lgamma, INSIDE),
    ROWS_OF_TYPES("gamma", call_lgamma, INSIDE),
    {"_lgamma_r", call_lgamma_r<double>, CALL_EFFECT::INSIDE},
    {"_lgammal_r", call_lgamma_r<double>, CALL_EFFECT::INSIDE},
    {"_lgammaf_r", call_lgamma_r<float>, CALL_EFFECT::INSIDE},
    {"_nexttoward", call_rr<double, ::nextafter>, CALL_EFFECT::NONE},
    {"_nexttowardl", call_rr<double, ::nextafter>, CALL_EFFECT::NONE},
    ROWS_OF_TYPES("nan", call_nan, NONE),
    ROWS_OF_TYPES("isnan", call_isnan, NONE),
    ROWS_OF_TYPES("__isnan", call_isnan, NONE),
    ROWS_OF_TYPES("isinf", call_isinf, NONE),
    ROWS_OF_TYPES("__isinf", call_isinf, NONE),
    ROWS_OF_TYPES("finite", call_finite, NONE),
    ROWS_OF_TYPES("__finite", call_finite, NONE),
    ROWS_OF_TYPES("__signbit", call_signbit, NONE),
    ROWS_OF_TYPES("__fpclassify", call_fpclassify, NONE),
};

} // namespace

std::span<const LIBRARY_ROW> math_functions() { return MATH_ROWS; }

} // namespace pelorus
