// Time, which passes by itself only: every question about it takes a millisecond, and sleeping takes as long
// as is asked for. So a program does the same on every run, and one that waits for the clock comes to an end.
#include <cerrno>
#include <ctime>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

using namespace std::string_view_literals;

constexpr uint64_t BEGIN = 1000000000; // seconds; 2001-09-09 01:46:40
constexpr uint64_t MICROSECONDS = 1000000;

// The machine's `struct tm`.
struct GUEST_TM {
    int32_t seconds, minutes, hours, day, month, year, weekday, yearday, summer;
    int32_t offset; // from Greenwich, where the machine is
    ADDRESS zone;
};

// Microseconds since the run began.
uint64_t ask_clock(LIBRARY& library) { return library.microseconds += 1000; }

int32_t seconds_at(uint64_t microseconds) {
    return static_cast<int32_t>(BEGIN + microseconds / MICROSECONDS);
}

void call_time(GUEST_CALL& call) {
    const int32_t now = seconds_at(ask_clock(call.library));
    const ADDRESS place = word_argument(call, 0);
    if (place) store(call.machine, place, now);
    give(call, now);
}

void call_clock(GUEST_CALL& call) { give(call, static_cast<int32_t>(ask_clock(call.library))); }

// Seconds and a fraction, in `unit`s a second.
void store_time(GUEST_CALL& call, uint32_t index, uint64_t unit) {
    const uint64_t now = ask_clock(call.library);
    const ADDRESS place = word_argument(call, index);
    const auto fraction = static_cast<int32_t>(now % MICROSECONDS * (unit / MICROSECONDS));
    store(call.machine, place, seconds_at(now));
    store(call.machine, place + 4, fraction);
    give(call, 0);
}

void call_gettimeofday(GUEST_CALL& call) { store_time(call, 0, MICROSECONDS); }
void call_clock_gettime(GUEST_CALL& call) { store_time(call, 1, MICROSECONDS * 1000); }

void call_sleep(GUEST_CALL& call) {
    call.library.microseconds += word_argument(call, 0) * MICROSECONDS;
    give(call, 0);
}

void call_usleep(GUEST_CALL& call) {
    call.library.microseconds += word_argument(call, 0);
    give(call, 0);
}

void call_nanosleep(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0);
    const auto seconds = load<uint32_t>(call.machine, place), rest = load<uint32_t>(call.machine, place + 4);
    call.library.microseconds += seconds * MICROSECONDS + rest / 1000;
    give(call, 0);
}

void call_difftime(GUEST_CALL& call) {
    give_real(call, static_cast<double>(int_argument(call, 0)) - int_argument(call, 1));
}

// --- Calendar ---

ADDRESS zone_name(LIBRARY& library) { return library_object(library, "the time zone's name", "GMT\0"sv, 1); }

GUEST_TM guest_tm(LIBRARY& library, const tm& host) {
    return {host.tm_sec,
            host.tm_min,
            host.tm_hour,
            host.tm_mday,
            host.tm_mon,
            host.tm_year,
            host.tm_wday,
            host.tm_yday,
            0,
            0,
            zone_name(library)};
}

tm host_tm(MACHINE& machine, ADDRESS place) {
    const auto guest = load<GUEST_TM>(machine, place);
    tm host = {};
    host.tm_sec = guest.seconds;
    host.tm_min = guest.minutes;
    host.tm_hour = guest.hours;
    host.tm_mday = guest.day;
    host.tm_mon = guest.month;
    host.tm_year = guest.year;
    host.tm_wday = guest.weekday;
    host.tm_yday = guest.yearday;
    host.tm_isdst = guest.summer;
    host.tm_zone = "GMT";
    return host;
}

tm calendar_of(int32_t seconds) {
    const time_t time = seconds;
    tm host = {};
    gmtime_r(&time, &host);
    return host;
}

void store_calendar(GUEST_CALL& call, ADDRESS place) {
    const auto seconds = load<int32_t>(call.machine, word_argument(call, 0));
    store(call.machine, place, guest_tm(call.library, calendar_of(seconds)));
    give(call, place);
}

void call_gmtime(GUEST_CALL& call) {
    store_calendar(call, library_object(call.library, "the result of gmtime", zeros(sizeof(GUEST_TM)), 4));
}

void call_gmtime_r(GUEST_CALL& call) { store_calendar(call, word_argument(call, 1)); }

// Also brings the fields into their ranges.
void call_mktime(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0);
    tm host = host_tm(call.machine, place);
    const time_t seconds = timegm(&host);
    store(call.machine, place, guest_tm(call.library, host));
    give(call, static_cast<int32_t>(seconds));
}

void give_date(GUEST_CALL& call, const tm& host) {
    char text[100] = "";
    if (host.tm_mon < 0 || host.tm_mon > 11 || host.tm_wday < 0 || host.tm_wday > 6)
        trap(call.machine, "asctime: not a date");
    strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y\n", &host);
    const ADDRESS place = library_object(call.library, "the result of asctime", zeros(100), 1);
    write_text(call.machine, place, text);
    give(call, place);
}

void call_asctime(GUEST_CALL& call) { give_date(call, host_tm(call.machine, word_argument(call, 0))); }

void call_ctime(GUEST_CALL& call) {
    give_date(call, calendar_of(load<int32_t>(call.machine, word_argument(call, 0))));
}

void call_strftime(GUEST_CALL& call) {
    const uint32_t room = word_argument(call, 1);
    const std::string format(read_text(call.machine, word_argument(call, 2)));
    const tm host = host_tm(call.machine, word_argument(call, 3));
    std::string text(format.size() * 40 + 100, '\0');
    text.resize(strftime(text.data(), text.size(), format.c_str(), &host));
    if (text.size() >= room) return give(call, 0);
    write_text(call.machine, word_argument(call, 0), text);
    give(call, static_cast<int64_t>(text.size()));
}

const LIBRARY_ROW TIME_ROWS[] = {
    {"_time", call_time, CALL_EFFECT::INSIDE},
    {"_clock", call_clock, CALL_EFFECT::INSIDE},
    {"_gettimeofday", call_gettimeofday, CALL_EFFECT::INSIDE},
    {"_clock_gettime", call_clock_gettime, CALL_EFFECT::INSIDE},
    {"_sleep", call_sleep, CALL_EFFECT::INSIDE},
    {"_usleep", call_usleep, CALL_EFFECT::INSIDE},
    {"_nanosleep", call_nanosleep, CALL_EFFECT::INSIDE},
    {"_difftime", call_difftime, CALL_EFFECT::NONE},
    {"_gmtime", call_gmtime, CALL_EFFECT::INSIDE},
    {"_localtime", call_gmtime, CALL_EFFECT::INSIDE},
    {"_gmtime_r", call_gmtime_r, CALL_EFFECT::INSIDE},
    {"_localtime_r", call_gmtime_r, CALL_EFFECT::INSIDE},
    {"_mktime", call_mktime, CALL_EFFECT::INSIDE},
    {"_timegm", call_mktime, CALL_EFFECT::INSIDE},
    {"_asctime", call_asctime, CALL_EFFECT::INSIDE},
    {"_ctime", call_ctime, CALL_EFFECT::INSIDE},
    {"_strftime", call_strftime, CALL_EFFECT::INSIDE},
};

} // namespace

std::span<const LIBRARY_ROW> time_functions() { return TIME_ROWS; }

} // namespace pelorus
